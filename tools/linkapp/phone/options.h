// Arguments of `linkapp phone`.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "cli/manual.h"

namespace phone {

struct Options {
  std::vector<std::pair<std::string, std::string>> programs;  // launch string and command
  std::vector<std::string> commands;                          // obeyed at the start
  std::string control;                                        // path of the socket
  std::string scenario;                                       // file
  bool isJson = false;
  unsigned int slowness = 1;
};

const cli::Manual& manual();

// None to go on, else the exit code: help and version were shown, or a mistake was told.
int parseOptions(const std::vector<std::string>& arguments, Options& options, bool& isOver);

}  // namespace phone
