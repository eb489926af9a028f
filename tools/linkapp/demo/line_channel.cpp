#include "demo/line_channel.h"

#include <unistd.h>

#include <iostream>

namespace demo {

void report(const std::string& word, const std::string& text) {
  const std::string line = word + ' ' + text + '\n';
  // One write is one line. Nobody is left to read it when the director has gone; then this process goes too.
  if (write(STDOUT_FILENO, line.data(), line.size()) == -1) {
    _exit(1);
  }
}

std::string nextCommand() {
  std::string line;
  return std::getline(std::cin, line) ? line : "quit";
}

Line splitLine(const std::string& line) {
  const std::size_t space = line.find(' ');
  if (space == std::string::npos) {
    return {line, ""};
  }
  return {line.substr(0, space), line.substr(space + 1)};
}

}  // namespace demo
