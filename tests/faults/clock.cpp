#include "tests/faults/clock.h"

#include <atomic>

#include "tests/faults/plan.h"

namespace faults {
namespace {

std::atomic<long> ahead{0};
std::atomic<bool> stands{false};
std::atomic<bool> wasAnother{false};

}  // namespace

void bendClock(long seconds) {
  ahead = seconds;
  stands = false;
}

void stopClock() {
  stands = true;
}

bool wasAnotherClockUsed() {
  return wasAnother;
}

void noteClock(clockid_t clock) {
  if (isWatched() && clock != CLOCK_MONOTONIC) {
    wasAnother = true;
  }
}

void bend(clockid_t clock, timespec& time) {
  if (clock != CLOCK_MONOTONIC || !isWatched()) {
    return;
  }
  time.tv_sec += ahead.load();
  if (time.tv_sec < 0 || stands) {
    time = {};
  }
}

}  // namespace faults
