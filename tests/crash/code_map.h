// Where the instructions of this program's libraries lie in memory: of those that are looked into, by their files'
// tables of symbols. Only 32-bit ARM, whose instructions have 2 or 4 bytes, with data in between.
#pragma once

#include <cstdint>
#include <map>

namespace crash {

struct Instruction {
  std::uint8_t bytes;  // 2 or 4
  bool isThumb;
};

// By address. The libraries of the channel, as this process has loaded them.
const std::map<std::uint32_t, Instruction>& instructionsOfTheLibraries();

}  // namespace crash
