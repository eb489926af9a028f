#include "demo/child.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <system_error>

namespace demo {
namespace {

constexpr int kEndPatienceMs = 10000;

struct Pipe {
  int readEnd;
  int writeEnd;
};

Pipe makePipe() {
  int ends[2] = {-1, -1};
  if (pipe2(ends, O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "pipe");
  }
  return {ends[0], ends[1]};
}

// In the new process, where only simple calls are allowed.
[[noreturn]] void becomeRole(pid_t director, const std::string& program, const std::vector<char*>& arguments,
                             const Pipe& input, const Pipe& output) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);  // the director's death ends its processes
  if (getppid() != director) {
    _exit(127);  // it died before
  }
  signal(SIGINT, SIG_IGN);  // Ctrl-C reaches every process of the terminal; the director alone answers it
  dup2(input.readEnd, STDIN_FILENO);
  dup2(output.writeEnd, STDOUT_FILENO);
  execv(program.c_str(), arguments.data());
  _exit(127);
}

}  // namespace

Child::Child(const std::string& name, const std::vector<std::string>& arguments, const std::string& program)
    : name_(name) {
  std::vector<std::string> words = {"linkapp"};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  pointers.reserve(words.size() + 1);
  for (std::string& word : words) {
    pointers.push_back(word.data());
  }
  pointers.push_back(nullptr);

  const Pipe input = makePipe();
  const Pipe output = makePipe();
  const pid_t director = getpid();
  pid_ = fork();
  if (pid_ == 0) {
    becomeRole(director, program, pointers, input, output);
  }
  close(input.readEnd);
  close(output.writeEnd);
  input_ = input.writeEnd;
  output_ = output.readEnd;
  fcntl(output_, F_SETFL, O_NONBLOCK);
  if (pid_ == -1) {
    throw std::system_error(errno, std::generic_category(), "fork");
  }
}

Child::~Child() {
  close(input_);
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    reap();
  }
  close(output_);
}

void Child::tell(const std::string& command) const {
  const std::string line = command + '\n';
  if (write(input_, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
    throw std::runtime_error(name_ + " does not listen any more");
  }
}

bool Child::readLines(std::vector<std::string>& lines) {
  char buffer[4096];
  ssize_t count = 0;
  while ((count = read(output_, buffer, sizeof buffer)) > 0) {
    partial_.append(buffer, static_cast<std::size_t>(count));
  }
  std::size_t end = 0;
  while ((end = partial_.find('\n')) != std::string::npos) {
    lines.push_back(partial_.substr(0, end));
    partial_.erase(0, end + 1);
  }
  return count != 0;
}

std::string Child::end(std::vector<std::string>& lines) {
  const ssize_t told = write(input_, "quit\n", 5);
  static_cast<void>(told);  // where it has gone already its exit code tells
  // Its output ends with it.
  pollfd ending = {output_, POLLIN, 0};
  bool hasEnded = false;
  while (!hasEnded && poll(&ending, 1, kEndPatienceMs) > 0) {
    hasEnded = !readLines(lines);
  }
  if (!hasEnded) {
    kill(pid_, SIGKILL);
  }
  reap();
  if (WIFSIGNALED(status_)) {
    return "was ended by signal " + std::to_string(WTERMSIG(status_)) + (hasEnded ? "" : ": it did not end by itself");
  }
  return WEXITSTATUS(status_) == 0 ? "" : "ended with code " + std::to_string(WEXITSTATUS(status_));
}

void Child::reap() {
  while (waitpid(pid_, &status_, 0) == -1 && errno == EINTR) {
  }
  pid_ = -1;
}

}  // namespace demo
