#include "loop/signals.h"

#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <system_error>
#include <utility>
#include <vector>

namespace loop {
namespace {

sigset_t watchedSignals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : {SIGCHLD, SIGINT, SIGTERM, SIGHUP}) {
    sigaddset(&set, signal);
  }
  return set;
}

}  // namespace

Signals::Signals(Loop& loop, std::function<void(int signal)> onInterrupt)
    : loop_(loop), onInterrupt_(std::move(onInterrupt)) {
  signal(SIGPIPE, SIG_IGN);
  const sigset_t set = watchedSignals();
  sigprocmask(SIG_BLOCK, &set, nullptr);
  fd_ = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
  if (fd_ == -1) {
    throw std::system_error(errno, std::generic_category(), "signalfd");
  }
  loop_.watch(fd_, POLLIN, [this](short) { receive(); });
}

Signals::~Signals() {
  loop_.forget(fd_);
  close(fd_);
}

Signals::Id Signals::onChild(std::function<void()> check) {
  checks_.emplace(++last_, std::move(check));
  return last_;
}

void Signals::forget(Id id) {
  checks_.erase(id);
}

void Signals::receive() {
  signalfd_siginfo info = {};
  bool hasChildEnded = false;
  while (read(fd_, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
    if (info.ssi_signo == SIGCHLD) {
      hasChildEnded = true;
    } else {
      onInterrupt_(static_cast<int>(info.ssi_signo));
    }
  }
  if (!hasChildEnded) {
    return;
  }
  std::vector<Id> ids;  // a check may forget itself or others
  for (const auto& entry : checks_) {
    ids.push_back(entry.first);
  }
  for (const Id id : ids) {
    const auto found = checks_.find(id);
    if (found != checks_.end()) {
      const std::function<void()> check = found->second;
      check();
    }
  }
}

}  // namespace loop
