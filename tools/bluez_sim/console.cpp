#include "bluez_sim/console.h"

#include <errno.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

#include "bluez_sim/json_lines.h"

namespace bluez_sim {

Console::Console(Loop& loop, Commands& commands, bool isJson, std::function<void()> onEnd)
    : loop_(loop), commands_(commands), isJson_(isJson), onEnd_(std::move(onEnd)) {
  try {
    watch_ = loop_.watch(STDIN_FILENO, EPOLLIN, [this](std::uint32_t) { read(); });
  } catch (const BusError&) {
    isFile_ = true;
    readFileOn();
  }
}

// A file, which epoll does not take, has always something to read: a piece at a time, until its end.
void Console::readFileOn() {
  watch_ = loop_.after(0, [this] { read(); });
}

void Console::say(const std::string& line) {
  printf("%s\n", line.c_str());
  fflush(stdout);
}

void Console::read() {
  if (isFile_) {
    readFileOn();
  }
  char buffer[4096];
  const ssize_t count = ::read(STDIN_FILENO, buffer, sizeof buffer);
  if (count == -1 && (errno == EAGAIN || errno == EINTR)) {
    return;
  }
  rest_.append(buffer, count > 0 ? static_cast<std::size_t>(count) : 0);
  if (count <= 0 && !rest_.empty()) {
    rest_ += '\n';
  }
  for (std::size_t end = rest_.find('\n'); end != std::string::npos; end = rest_.find('\n')) {
    const std::string line = rest_.substr(0, end);
    rest_.erase(0, end + 1);
    obey(line);
  }
  if (count <= 0) {
    watch_ = Watch();
    onEnd_();
  }
}

void Console::obey(const std::string& line) {
  const std::string name = nameIn(line);
  try {
    const std::string text = commands_.run(line);
    if (!text.empty()) {
      answer(name, text);
    }
  } catch (const std::exception& error) {
    refuse(name, error.what());
  }
}

void Console::answer(const std::string& command, const std::string& text) const {
  say(isJson_ ? replyLine(command, text) : "= " + text);
}

void Console::refuse(const std::string& command, const std::string& reason) const {
  say(isJson_ ? refusalLine(command, reason) : "= error: " + reason);
}

}  // namespace bluez_sim
