#include "tests/faults/storm.h"

#include <signal.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>

#include "tests/process/shared_page.h"
#include "tests/support/wait_until.h"

namespace storm {
namespace {

constexpr long kPeriod = static_cast<long>(test_support::kSlowness) * 200'000;  // nanoseconds, of each kind

// In /dev/shm, where the test looks at it.
std::atomic<std::uint32_t>* count = nullptr;

void onSignal(int /*number*/) {
  count->fetch_add(1, std::memory_order_relaxed);
}

void handle(int number) {
  struct sigaction action = {};
  action.sa_handler = &onSignal;
  action.sa_flags = 0;  // no SA_RESTART
  sigemptyset(&action.sa_mask);
  sigaction(number, &action, nullptr);
}

void beginTimer(int number, long period) {
  handle(number);
  sigevent event = {};
  event.sigev_notify = SIGEV_SIGNAL;
  event.sigev_signo = number;
  timer_t timer = {};
  const itimerspec times = {{0, period}, {0, period}};
  if (timer_create(CLOCK_MONOTONIC, &event, &timer) != 0 || timer_settime(timer, 0, &times, nullptr) != 0) {
    abort();
  }
}

// Processes that a test has started so are in the storm from their first moment on.
__attribute__((constructor)) void beginWhereTold() {
  if (getenv("LINKAPP_STORM") != nullptr) {
    begin();
  }
}

}  // namespace

std::string countOf(pid_t process) {
  return "storm." + std::to_string(process);
}

void begin() {
  count = static_cast<std::atomic<std::uint32_t>*>(mapSharedPage(countOf(getpid()), sizeof *count));
  if (count == nullptr) {
    abort();
  }
  // Periods without a common measure: the kinds meet in every order.
  beginTimer(SIGUSR1, kPeriod);
  beginTimer(SIGUSR2, kPeriod * 13 / 11);
  beginTimer(SIGRTMIN, kPeriod * 17 / 13);
  beginTimer(SIGALRM, kPeriod * 23 / 19);
  handle(SIGVTALRM);
  const itimerval processor = {{0, 1000}, {0, 1000}};
  setitimer(ITIMER_VIRTUAL, &processor, nullptr);
}

std::uint32_t signals() {
  return count->load(std::memory_order_relaxed);
}

}  // namespace storm
