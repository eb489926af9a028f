#include "tests/tool/terminal_tool.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>

#include "tests/tool/tool_process.h"

namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void becomeTool(const std::vector<std::string>& arguments,
                             const std::vector<std::pair<std::string, std::string>>& environment) {
  setenv("TERM", "xterm", 1);
  for (const auto& [name, value] : environment) {
    value.empty() ? unsetenv(name.c_str()) : setenv(name.c_str(), value.c_str(), 1);
  }
  std::vector<char*> words;
  std::string tool = LINKAPP_TOOL;
  words.push_back(tool.data());
  for (const std::string& argument : arguments) {
    words.push_back(const_cast<char*>(argument.c_str()));
  }
  words.push_back(nullptr);
  execv(words[0], words.data());
  _exit(127);
}

}  // namespace

TerminalTool::TerminalTool(const std::vector<std::string>& arguments,
                           const std::vector<std::pair<std::string, std::string>>& environment) {
  struct winsize size = {};
  size.ws_row = 24;
  size.ws_col = 80;
  pid_ = forkpty(&fd_, nullptr, nullptr, &size);
  if (pid_ == 0) {
    becomeTool(arguments, environment);
  }
}

TerminalTool::~TerminalTool() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  hangUp();
}

void TerminalTool::hangUp() {
  if (fd_ != -1) {
    close(fd_);
    fd_ = -1;
  }
}

void TerminalTool::signal(int number) const {
  EXPECT_EQ(kill(pid_, number), 0);
}

void TerminalTool::resize(unsigned short rows, unsigned short columns) const {
  struct winsize size = {};
  size.ws_row = rows;
  size.ws_col = columns;
  EXPECT_EQ(ioctl(fd_, TIOCSWINSZ, &size), 0);
}

void TerminalTool::type(const std::string& keys) const {
  EXPECT_EQ(write(fd_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
}

bool TerminalTool::await(const std::string& text) {
  const Clock::time_point latest = Clock::now() + patience();
  for (;;) {
    const std::size_t found = screen_.find(text, awaited_);
    if (found != std::string::npos) {
      awaited_ = found + text.size();
      return true;
    }
    if (Clock::now() >= latest || !readMore(100)) {
      ADD_FAILURE() << "no " << testing::PrintToString(text) << " in "
                    << testing::PrintToString(screen_.substr(awaited_));
      return false;
    }
  }
}

std::optional<int> TerminalTool::awaitEnd() {
  const Clock::time_point latest = Clock::now() + patience();
  while (Clock::now() < latest) {
    readMore(20);
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
    }
  }
  return std::nullopt;
}

// False at the end.
bool TerminalTool::readMore(int milliseconds) {
  struct pollfd entry = {fd_, POLLIN, 0};
  if (poll(&entry, 1, milliseconds) <= 0) {
    return true;
  }
  char buffer[4096];
  const ssize_t count = read(fd_, buffer, sizeof buffer);
  if (count > 0) {
    screen_.append(buffer, static_cast<std::size_t>(count));
  }
  return count > 0;
}
