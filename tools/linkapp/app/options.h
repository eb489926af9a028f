// Arguments of `linkapp app`.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "app/sender.h"
#include "app/setup.h"
#include "cli/manual.h"
#include "text/duration.h"

namespace app {

struct Options {
  Setup setup;
  bool isJson = false;
  bool isQuiet = false;               // no callbacks
  bool takesCommands = true;          // else it sends, and ends
  std::vector<std::string> commands;  // obeyed at the start
  std::string control;                // path of the socket

  // What it sends without commands: these texts, else this file, else that many numbered messages, else its input.
  std::vector<std::string> texts;
  std::string file;
  std::uint32_t count = 0;
  std::size_t size = 0;  // 0 = as suits: 64 numbered, 4096 of a file
  Pace pace;
  std::uint64_t expected = 0;                          // messages that must come before it ends
  text::Duration patience = std::chrono::seconds(10);  // without any callback
};

const cli::Manual& manual();

// None to go on, else the exit code: help and version were shown, or a mistake was told.
int parseOptions(const std::vector<std::string>& arguments, Options& options, bool& isOver);

}  // namespace app
