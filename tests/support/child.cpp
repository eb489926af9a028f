#include "tests/support/child.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "tests/support/private_shm.h"
#include "tests/support/roles.h"

namespace test_support {
namespace {

void closeIfOpen(int& fd) {
  if (fd != -1) {
    close(fd);
    fd = -1;
  }
}

}  // namespace

Child::Child(const std::string& role, const std::vector<std::string>& args) : name_(role) {
  ::signal(SIGPIPE, SIG_IGN);  // a child that died shows in its answers
  std::vector<std::string> arguments = {pathOfThisProgram(), "--role=" + role};
  arguments.insert(arguments.end(), args.begin(), args.end());

  int input[2] = {-1, -1};
  int output[2] = {-1, -1};
  log_ = memfd_create("log", MFD_CLOEXEC);
  fcntl(log_, F_SETFL, O_APPEND);  // several threads of the child write it
  if (log_ == -1 || pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0) {
    ADD_FAILURE() << "no pipes for role " << role << ": " << strerror(errno);
    return;
  }
  const pid_t parent = getpid();
  pid_ = fork();
  if (pid_ == 0) {
    becomeRole(arguments, input[0], output[1], parent);
  }
  close(input[0]);
  close(output[1]);
  input_ = input[1];
  output_ = output[0];
  if (pid_ == -1) {
    ADD_FAILURE() << "no process for role " << role << ": " << strerror(errno);
  }
}

void Child::becomeRole(const std::vector<std::string>& arguments, int input, int output, pid_t parent) const {
  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  for (const std::string& argument : arguments) {
    argv.push_back(const_cast<char*>(argument.c_str()));  // execv leaves them as they are
  }
  argv.push_back(nullptr);
  dup2(input, STDIN_FILENO);
  dup2(output, STDOUT_FILENO);
  dup2(log_, STDERR_FILENO);
  ::signal(SIGPIPE, SIG_DFL);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() == parent) {  // it may have died before it could be watched
    execv(argv[0], argv.data());
  }
  _exit(127);
}

Child::~Child() {
  kill();
  if (testing::Test::HasFailure()) {
    while (readMore(0)) {
    }
    const std::string end = end_ ? std::to_string(*end_) : "none";
    fprintf(stderr, "---- %s (process %d, end %s) said\n%s%s---- and logged\n%s----\n", name_.c_str(), pid_,
            end.c_str(), transcript_.c_str(), unsorted_.c_str(), log().c_str());
  }
  closeIfOpen(input_);
  closeIfOpen(output_);
  closeIfOpen(log_);
}

void Child::tell(const std::string& line) {
  const std::string whole = line + "\n";
  if (write(input_, whole.data(), whole.size()) != static_cast<ssize_t>(whole.size())) {
    ADD_FAILURE() << name_ << " is gone and cannot be told: " << line;
  }
}

// False at the end of the child's output, or when nothing came in time.
bool Child::readMore(double seconds) {
  pollfd waiting = {output_, POLLIN, 0};
  if (output_ == -1 || poll(&waiting, 1, static_cast<int>(seconds * 1000)) <= 0) {
    return false;
  }
  char buffer[4096];
  const ssize_t count = read(output_, buffer, sizeof buffer);
  if (count <= 0) {
    return false;
  }
  unsorted_.append(buffer, static_cast<std::size_t>(count));
  sortLines();
  return true;
}

void Child::sortLines() {
  const std::string mark = kAnswerMark;
  for (std::size_t end = unsorted_.find('\n'); end != std::string::npos; end = unsorted_.find('\n')) {
    const std::string line = unsorted_.substr(0, end);
    unsorted_.erase(0, end + 1);
    transcript_ += line + "\n";
    if (line.compare(0, mark.size(), mark) == 0) {
      answers_.push_back(line.substr(mark.size()));
    } else {
      said_.push_back(line);
    }
  }
}

std::optional<std::string> Child::next(std::deque<std::string>& lines, double seconds) {
  const double end = monotonicSeconds() + seconds;
  while (lines.empty()) {
    if (!readMore(std::max(0.0, end - monotonicSeconds()))) {
      return std::nullopt;
    }
  }
  const std::string line = lines.front();
  lines.pop_front();
  return line;
}

std::optional<std::string> Child::nextLine(double seconds) {
  return next(said_, seconds);
}

bool Child::isNext(std::deque<std::string>& lines, const char* verb, const std::string& line, double seconds) {
  const std::optional<std::string> got = next(lines, seconds);
  if (got != line) {
    ADD_FAILURE() << name_ << " should " << verb << " \"" << line << "\", what came is "
                  << (got ? "\"" + *got + "\"" : "nothing");
    return false;
  }
  return true;
}

bool Child::expect(const std::string& line, double seconds) {
  return isNext(said_, "say", line, seconds);
}

bool Child::expectAnswer(const std::string& line, double seconds) {
  return isNext(answers_, "answer", line, seconds);
}

bool Child::hasAnswered() {
  while (readMore(0)) {
  }
  return !answers_.empty();
}

std::string Child::ask(const std::string& line) {
  tell(line);
  const std::optional<std::string> answer = next(answers_, kDeadline);
  if (!answer) {
    ADD_FAILURE() << name_ << " does not answer \"" << line << "\"";
  }
  return answer.value_or("");
}

std::string Child::log() const {
  std::string text;
  char buffer[4096];
  for (;;) {
    const ssize_t count = pread(log_, buffer, sizeof buffer, static_cast<off_t>(text.size()));
    if (count <= 0) {
      return text;
    }
    text.append(buffer, static_cast<std::size_t>(count));
  }
}

unsigned int Child::countInLog(const std::string& text) const {
  const std::string all = log();
  unsigned int count = 0;
  for (std::size_t at = all.find(text); at != std::string::npos; at = all.find(text, at + text.size())) {
    ++count;
  }
  return count;
}

bool Child::waitForLog(const std::string& text, double seconds) const {
  return waitUntil([&] { return countInLog(text) != 0; }, seconds);
}

bool Child::isAsleep() const {
  int unread = 0;
  if (ioctl(input_, FIONREAD, &unread) != 0 || unread != 0) {
    return false;  // it sleeps until it can read this
  }
  std::ifstream file("/proc/" + std::to_string(pid_) + "/stat");
  std::string line;
  std::getline(file, line);
  return line.find(") S ") != std::string::npos;
}

void Child::signal(int number) const {
  if (pid_ > 0 && !end_) {
    ::kill(pid_, number);
  }
}

void Child::stop() const {
  signal(SIGSTOP);
  siginfo_t info = {};
  while (waitid(P_PID, static_cast<id_t>(pid_), &info, WSTOPPED) == -1 && errno == EINTR) {
  }
}

void Child::proceed() const {
  signal(SIGCONT);
}

void Child::kill() {
  signal(SIGKILL);
  reap(0);
}

void Child::release() {
  closeIfOpen(input_);
}

void Child::reap(int options) {
  if (pid_ <= 0 || end_) {
    return;
  }
  int status = 0;
  pid_t result = 0;
  do {
    result = waitpid(pid_, &status, options);
  } while (result == -1 && errno == EINTR);
  if (result == pid_) {
    end_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
}

std::optional<int> Child::wait(double seconds) {
  const bool hasEnded = waitUntil(
      [this] {
        reap(WNOHANG);
        return end_.has_value();
      },
      seconds);
  if (!hasEnded) {
    ADD_FAILURE() << name_ << " does not end";
  }
  return end_;
}

std::optional<int> Child::finish(double seconds) {
  release();
  return wait(seconds);
}

}  // namespace test_support
