// Messages that are generated, so that the receiver can tell a lost or spoiled one: the first four bytes are the
// message's number, big-endian, and every later byte follows from number and place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace text {

std::vector<std::uint8_t> patternMessage(std::uint32_t number, std::size_t size);

// The number of a message that was made so; none where a byte is wrong or where it is shorter than its number.
std::optional<std::uint32_t> patternNumber(const std::vector<std::uint8_t>& message);

}  // namespace text
