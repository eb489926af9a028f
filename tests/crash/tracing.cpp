#include "tests/crash/tracing.h"

#include <errno.h>
#include <signal.h>
#include <string.h>
#include <sys/time.h>
#include <sys/wait.h>

#include "tests/crash/stepper.h"
#include "tests/support/wait_until.h"

namespace crash {
namespace {

void onAlarm(int /*signal*/) {
  // Is there to interrupt waitpid.
}

}  // namespace

double secondsToTarget() {
  return 20 * test_support::slownessOfTool();
}

void failTracing(const std::string& what) {
  throw SteppingFailed(what + ": " + strerror(errno));
}

void checkTracing(long result, const char* what) {
  if (result == -1) {
    failTracing(what);
  }
}

Deadline::Deadline(double seconds) {
  struct sigaction action = {};
  action.sa_handler = &onAlarm;  // without SA_RESTART
  sigaction(SIGALRM, &action, nullptr);
  set({{0, 100000}, {static_cast<time_t>(seconds), 0}});
}

Deadline::~Deadline() {
  set({});
}

void Deadline::set(const itimerval& times) {
  setitimer(ITIMER_REAL, &times, nullptr);
}

int statusOf(pid_t thread) {
  int status = 0;
  if (waitpid(thread, &status, __WALL) != thread) {
    failTracing(errno == EINTR ? "the stepped thread does not come on" : "waiting for the stepped thread");
  }
  return status;
}

void expectStop(pid_t thread, int event, const char* where) {
  const Deadline deadline(secondsToTarget());
  const int status = statusOf(thread);
  if (!WIFSTOPPED(status) || status >> 16 != event) {
    throw SteppingFailed(std::string("the victim does not stop ") + where + ", status " + std::to_string(status));
  }
}

void killTraced(pid_t process, pid_t thread, bool hasThreadEnded) {
  ::kill(process, SIGKILL);
  int status = 0;
  // First the thread: while it is traced and not waited for, its process is not gone.
  if (thread != process && !hasThreadEnded) {
    while (waitpid(thread, &status, __WALL) == thread && WIFSTOPPED(status)) {
    }
  }
  while (waitpid(process, &status, __WALL) == process && WIFSTOPPED(status)) {
  }
}

}  // namespace crash
