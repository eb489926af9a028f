#include "tests/unit/reference/stepped_poster.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <optional>

#include "platform/inprocess/fork_state.h"
#include "tests/conformance/worker.h"

namespace log_access {

SteppedPoster::SteppedPoster(const std::function<void()>& post) : pid_(fork()) {
  if (pid_ == 0) {
    vqframework::forkedChild = false;
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    raise(SIGSTOP);
    post();
    _exit(0);
  }
  int status = 0;
  if (pid_ == -1 || waitpid(pid_, &status, 0) != pid_ || !WIFSTOPPED(status)) {
    ADD_FAILURE() << "no process to be run step by step";
    kill();
    return;
  }
  steps_ = stepsOf(pid_);
}

SteppedPoster::~SteppedPoster() {
  kill();
}

bool SteppedPoster::step() {
  const std::optional<int> status = pid_ == -1 ? std::nullopt : steps_->next();
  if (!status.has_value()) {
    ADD_FAILURE() << "cannot step";
    return false;
  }
  if (!WIFSTOPPED(*status)) {
    EXPECT_EQ(*status, 0);
    pid_ = -1;
  }
  return pid_ != -1;
}

void SteppedPoster::runToItsEnd() {
  if (pid_ != -1) {
    letRun();
    int status = -1;
    waitpid(pid_, &status, 0);
    settle(status);
  }
}

void SteppedPoster::letRun() {
  if (pid_ != -1) {
    steps_->end();
    ptrace(PTRACE_CONT, pid_, nullptr, nullptr);
  }
}

bool SteppedPoster::hasEnded() {
  int status = -1;
  if (pid_ != -1 && waitpid(pid_, &status, WNOHANG) == pid_) {
    settle(status);
  }
  return pid_ == -1;
}

void SteppedPoster::settle(int status) {
  EXPECT_EQ(status, 0);
  if (WIFSTOPPED(status)) {  // by a signal that nobody expected
    kill();
  }
  pid_ = -1;
}

bool SteppedPoster::isAsleep() const {
  return conformance::isAsleep(pid_);
}

void SteppedPoster::kill() {
  if (pid_ != -1) {
    ::kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }
}

}  // namespace log_access
