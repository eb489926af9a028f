#include "demo/line_channel.h"

#include <unistd.h>

#include <iostream>
#include <sstream>

namespace demo {
namespace {

using Clock = std::chrono::steady_clock;

// "word rest of the line" -> "word" and "rest of the line".
Command splitAtSpace(const std::string& line) {
  const std::size_t space = line.find(' ');
  if (space == std::string::npos) {
    return {line, ""};
  }
  return {line.substr(0, space), line.substr(space + 1)};
}

}  // namespace

void report(const std::string& word, const std::string& text) {
  const std::string line = std::to_string(Clock::now().time_since_epoch().count()) + ' ' + word + ' ' + text + '\n';
  // One write is one line. Nobody is left to read it when the director has gone; then this process goes too.
  if (write(STDOUT_FILENO, line.data(), line.size()) == -1) {
    _exit(1);
  }
}

Report parseReport(const std::string& line) {
  std::istringstream stream(line);
  Clock::rep ticks = 0;
  std::string rest;
  if (!(stream >> ticks) || stream.get() != ' ' || !std::getline(stream, rest)) {
    return {Clock::now(), "problem", "said \"" + line + "\", which is no report"};
  }
  const Command parts = splitAtSpace(rest);
  return {Clock::time_point(Clock::duration(ticks)), parts.word, parts.argument};
}

Command nextCommand() {
  std::string line;
  return splitAtSpace(std::getline(std::cin, line) ? line : "quit");
}

}  // namespace demo
