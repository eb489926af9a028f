// Every call of the C library that the framework and the segments make and that can fail, with the errors to try.
//
// The list is complete: imports.sh compares it with what the built libraries import.
#pragma once

#include <string>
#include <vector>

namespace faults {

// Stands among the errors of `read` and `write`: one byte, and no error.
constexpr int kShort = -1;

struct Call {
  const char* name;         // as tests and tables name it
  const char* symbol;       // what a library imports for it; of the C++ library where that makes the call
  std::vector<int> errors;  // the plausible ones
};

const std::vector<Call>& calls();

// Ends the process for a call that is not listed.
const Call& callOf(const std::string& name);

// "ENOSPC"; "short" for kShort.
std::string nameOf(int error);

}  // namespace faults
