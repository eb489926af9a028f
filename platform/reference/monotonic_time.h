// The clock by which messages of the log are dated.
#pragma once

#include <time.h>

#include <cstdint>

namespace vqframework {

// CLOCK_MONOTONIC: the same for all processes of the machine.
inline std::uint64_t monotonicNanoseconds() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000U + static_cast<std::uint64_t>(now.tv_nsec);
}

}  // namespace vqframework
