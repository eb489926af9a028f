// Where and when figures were taken.
#pragma once

#include <string>

namespace bench {

// Processor, how many of them, kernel, whether it is virtual.
std::string machine();
// Compiler and build type of this program.
std::string buildOfThis();
// Year-month-day.
std::string today();

}  // namespace bench
