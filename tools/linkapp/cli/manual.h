// What there is to know about one subcommand: its help, its manual page and the shell's completion all read this.
#pragma once

#include <string>
#include <vector>

#include "command/command.h"
#include "talk/event.h"

namespace CLI {
class App;
}

namespace cli {

struct Example {
  std::string command;
  std::string meaning;
};

struct ExitCode {
  int code;
  std::string meaning;
};

struct Manual {
  std::string name;         // "phone"
  std::string purpose;      // one line, without a full stop
  std::string description;  // sentences
  std::vector<Example> examples;
  std::vector<ExitCode> exitCodes;
  std::string more;                                      // what does not fit above; lines
  const command::Table* commands = nullptr;              // what it can be told
  const std::vector<talk::EventKind>* events = nullptr;  // what it tells
  // Its options, for whoever only looks at them.
  void (*describe)(CLI::App& app) = nullptr;
};

}  // namespace cli
