#include "loop/process.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <system_error>

namespace loop {
namespace {

[[noreturn]] void become(const Process::Start& start, std::vector<char*>& argv, int input, int output, int failure,
                         pid_t parent) {
  dup2(input, STDIN_FILENO);
  dup2(output, STDOUT_FILENO);
  setpgid(0, 0);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  ::signal(SIGPIPE, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  for (const auto& [name, value] : start.environment) {
    setenv(name.c_str(), value.c_str(), 1);
  }
  if (getppid() == parent) {  // it may have died before it could be watched
    execvp(argv[0], argv.data());
  }
  const int error = errno;
  const ssize_t written = ::write(failure, &error, sizeof error);
  static_cast<void>(written);
  _exit(127);
}

struct Pipe {
  int end[2] = {-1, -1};
  Pipe() {
    if (pipe2(end, O_CLOEXEC) != 0) {
      throw std::system_error(errno, std::generic_category(), "pipe");
    }
  }
  ~Pipe() {
    closeEnd(0);
    closeEnd(1);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  void closeEnd(int which) {
    if (end[which] != -1) {
      close(end[which]);
      end[which] = -1;
    }
  }
  int take(int which) {
    const int fd = end[which];
    end[which] = -1;
    fcntl(fd, F_SETFL, O_NONBLOCK);
    return fd;
  }
};

}  // namespace

std::string Ending::text() const {
  return signal != 0 ? "signal " + std::to_string(signal) : "exit code " + std::to_string(code);
}

Process::Process(Loop& loop, Signals& signals, const Start& start, Listener& listener)
    : loop_(loop), signals_(signals), listener_(listener) {
  std::vector<char*> argv;
  for (const std::string& argument : start.arguments) {
    argv.push_back(const_cast<char*>(argument.c_str()));  // execvp leaves them as they are
  }
  argv.push_back(nullptr);
  Pipe input;
  Pipe output;
  Pipe failure;
  const pid_t parent = getpid();
  pid_ = fork();
  if (pid_ == 0) {
    become(start, argv, input.end[0], output.end[1], failure.end[1], parent);
  }
  if (pid_ == -1) {
    throw std::system_error(errno, std::generic_category(), "fork");
  }
  setpgid(pid_, pid_);  // here too: a signal to the group may come before the child has run
  failure.closeEnd(1);
  int error = 0;
  if (::read(failure.end[0], &error, sizeof error) == static_cast<ssize_t>(sizeof error)) {
    waitpid(pid_, nullptr, 0);
    throw std::system_error(error, std::generic_category(), start.arguments[0]);
  }
  input_ = input.take(1);
  output_ = output.take(0);
  loop_.watch(input_, 0, [this](short) { flush(); });
  loop_.watch(output_, POLLIN, [this](short) { read(); });
  childId_ = signals_.onChild([this] { reap(); });
}

Process::~Process() {
  signals_.forget(childId_);
  loop_.cancel(patience_);
  if (!hasEnded_) {
    kill();
    while (waitpid(pid_, nullptr, 0) == -1 && errno == EINTR) {
    }
  }
  closeInputNow();
  closeOutput();
}

void Process::write(const std::string& data) {
  if (input_ == -1 || isClosing_) {
    return;
  }
  pending_ += data;
  flush();
}

void Process::flush() {
  while (!pending_.empty() && input_ != -1) {
    const ssize_t written = ::write(input_, pending_.data(), pending_.size());
    if (written == -1) {
      if (errno == EINTR) {
        continue;
      }
      if (errno != EAGAIN) {
        closeInputNow();
        return;
      }
      break;
    }
    taken_ += static_cast<std::size_t>(written);
    pending_.erase(0, static_cast<std::size_t>(written));
  }
  if (pending_.empty() && isClosing_) {
    closeInputNow();
  } else if (input_ != -1) {
    loop_.watchFor(input_, pending_.empty() ? short{0} : short{POLLOUT});
  }
}

void Process::closeInput() {
  isClosing_ = true;
  flush();
}

void Process::setReading(bool isReading) {
  isReading_ = isReading;
  if (output_ != -1) {
    loop_.watchFor(output_, isReading ? short{POLLIN} : short{0});
  }
}

void Process::signal(int number) const {
  if (!hasEnded_) {
    ::kill(-pid_, number);
  }
}

void Process::kill() const {
  signal(SIGKILL);
}

void Process::end(std::chrono::microseconds patience) {
  closeInput();
  loop_.cancel(patience_);
  patience_ = loop_.after(patience, [this, patience] {
    signal(SIGTERM);
    signal(SIGCONT);
    patience_ = loop_.after(patience, [this] { kill(); });
  });
}

// One buffer a turn, so that a process that floods does not keep the others waiting.
void Process::read() {
  char buffer[16384];
  const ssize_t count = ::read(output_, buffer, sizeof buffer);
  if (count > 0) {
    listener_.onOutput(buffer, static_cast<std::size_t>(count));
  } else if (count == 0 || (errno != EAGAIN && errno != EINTR)) {
    closeOutput();
    reportEndIfOver();
  }
}

void Process::reap() {
  int status = 0;
  if (hasEnded_ || waitpid(pid_, &status, WNOHANG) != pid_) {
    return;
  }
  hasEnded_ = true;
  ending_ = WIFSIGNALED(status) ? Ending{0, WTERMSIG(status)} : Ending{WEXITSTATUS(status), 0};
  loop_.cancel(patience_);
  closeInputNow();
  setReading(true);
  // Its own children may hold its output open.
  patience_ = loop_.after(std::chrono::seconds(1), [this] {
    closeOutput();
    reportEndIfOver();
  });
  reportEndIfOver();
}

void Process::reportEndIfOver() {
  if (hasEnded_ && output_ == -1 && !isReported_) {
    isReported_ = true;
    loop_.cancel(patience_);
    listener_.onEnded(ending_);  // it may destroy this object
  }
}

void Process::closeOutput() {
  if (output_ != -1) {
    loop_.forget(output_);
    close(output_);
    output_ = -1;
  }
}

void Process::closeInputNow() {
  pending_.clear();
  if (input_ != -1) {
    loop_.forget(input_);
    close(input_);
    input_ = -1;
  }
}

}  // namespace loop
