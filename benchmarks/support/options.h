// What all programs understand.
#pragma once

#include <string>
#include <vector>

namespace bench {

struct Options {
  unsigned int rounds = 9;
  double effort = 1;                     // share of the usual number of messages
  unsigned int seconds = 60;             // how long a program watches that watches
  std::string placement = "both";        // same, cross, both
  std::string json;                      // file for the results; empty = none
  std::vector<std::string> only;         // transports to measure beside bare; empty = all
  std::vector<std::string> productWith;  // "NAME=VALUE": measure the product once more in this environment
  std::string command;                   // as it was typed
};

// Ends the program at --help and at what it does not know.
Options parseOptions(int argc, char** argv, const char* purpose);

bool isWanted(const Options& options, const std::string& transport);

}  // namespace bench
