#include "tests/crash/forked.h"

#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

namespace crash {
namespace {

// An exception must not reach the frames that were the parent's.
int run(const std::function<void()>& body) {
  try {
    body();
    return 0;
  } catch (const std::exception& error) {
    fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}

bool endsWithin(pid_t pid, double seconds) {
  const int fd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
  if (fd == -1) {
    throw std::runtime_error(std::string("pidfd_open: ") + strerror(errno));
  }
  pollfd ending = {fd, POLLIN, 0};
  const int count = poll(&ending, 1, static_cast<int>(seconds * 1000));
  close(fd);
  return count == 1;
}

}  // namespace

Forked::Forked(const std::function<void()>& body) {
  const pid_t parent = getpid();
  pid_ = fork();
  if (pid_ == -1) {
    throw std::runtime_error(std::string("fork: ") + strerror(errno));
  }
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // The parent may have died before it could be watched.
    _exit(getppid() == parent ? run(body) : 1);
  }
}

Forked::~Forked() {
  kill();
}

bool Forked::endsWell(double seconds) {
  if (!isAlive() || !endsWithin(pid_, seconds)) {
    return false;
  }
  int status = -1;
  const pid_t waited = waitpid(pid_, &status, 0);
  const bool isWell = waited == pid_ && status == 0;
  pid_ = -1;
  return isWell;
}

void Forked::kill() {
  if (isAlive()) {
    ::kill(pid_, SIGKILL);
    int status = 0;
    while (waitpid(pid_, &status, __WALL) == pid_ && WIFSTOPPED(status)) {
    }
    pid_ = -1;
  }
}

}  // namespace crash
