#include "bluez_sim/console.h"

#include <errno.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

namespace bluez_sim {

// A file, which epoll does not take, is read at once.
Console::Console(Loop& loop, Commands& commands, std::function<void()> onEnd)
    : loop_(loop), commands_(commands), onEnd_(std::move(onEnd)) {
  try {
    watch_ = loop_.watch(STDIN_FILENO, EPOLLIN, [this](std::uint32_t) { read(); });
  } catch (const BusError&) {
    watch_ = loop_.after(0, [this] { read(); });
  }
}

void Console::say(const std::string& line) {
  printf("%s\n", line.c_str());
  fflush(stdout);
}

void Console::read() {
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
  try {
    const std::string answer = commands_.run(line);
    if (!answer.empty()) {
      say("= " + answer);
    }
  } catch (const std::exception& error) {
    say(std::string("= error: ") + error.what());
  }
}

}  // namespace bluez_sim
