// The command line.
#pragma once

#include <string>
#include <vector>

namespace bluez_sim {

struct Options {
  std::string bus;  // address; empty with hasOwnBus
  bool hasOwnBus = false;
  bool sharesConnection = false;
  bool stays = false;
  bool isQuiet = false;
  bool isJson = false;
  bool isHelp = false;
  bool isVersion = false;
  int sendBuffer = 12288;
};

// An empty text, or what is wrong with the arguments.
std::string parseOptions(const std::vector<std::string>& arguments, Options& options);

void printHelp();

}  // namespace bluez_sim
