// The bytes that phones send, and check where they are told to: whoever has a part of the stream knows its place in it.
#pragma once

#include <cstdint>

namespace bluez_sim {

// Byte number `index` of a stream.
constexpr std::uint8_t patternByte(std::uint64_t index) {
  return static_cast<std::uint8_t>(index * 167 + (index >> 8) * 13 + (index >> 16) * 59);
}

}  // namespace bluez_sim
