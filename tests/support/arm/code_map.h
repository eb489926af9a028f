// Where the instructions of this process's code lie in memory, by the tables of symbols of the files that it is loaded
// from. Only 32-bit ARM, whose instructions have 2 or 4 bytes, with data in between.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace test_support {

struct Instruction {
  std::uint8_t bytes;  // 2 or 4
  bool isThumb;
};

// By address.
using CodeMap = std::map<std::uint32_t, Instruction>;

// Everything in the loaded libraries whose paths contain one of `names`.
CodeMap codeOfLibraries(const std::vector<std::string>& names);

// Of the program itself, the functions that are wanted, by the names that the linker knows them by.
CodeMap codeOfProgram(const std::function<bool(const std::string&)>& isWanted);

}  // namespace test_support
