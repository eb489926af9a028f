// The demo's command line.
#pragma once

#include <string>
#include <vector>

#include "cli/manual.h"

namespace demo {

struct Options {
  unsigned int messages = 1000;
  bool isJson = false;
};

const cli::Manual& manual();

// False where there is nothing to run: help or version was shown, or a mistake was told.
bool parseOptions(const std::vector<std::string>& arguments, Options& options, int& code);

}  // namespace demo
