// The demo's command line.
#pragma once

#include <string>
#include <vector>

namespace demo {

struct Options {
  unsigned int messages = 1000;
  bool isJson = false;
  bool isHelp = false;
};

// An empty text, or what is wrong with the arguments.
std::string parseOptions(const std::vector<std::string>& arguments, Options& options);

void printHelp();

}  // namespace demo
