// Nanoseconds of the clock that all processes share.
#pragma once

#include <time.h>

#include <cstdint>

namespace bench {

inline std::int64_t nanosecondsOf(clockid_t clock) {
  timespec now = {};
  clock_gettime(clock, &now);
  return std::int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

inline std::int64_t now() {
  return nanosecondsOf(CLOCK_MONOTONIC);
}

}  // namespace bench
