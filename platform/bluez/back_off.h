// How long to wait before the next try: 1, 2, 4 ... 60 seconds.
#pragma once

#include <algorithm>
#include <chrono>

namespace vqbluez {

using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;

class BackOff {
 public:
  static constexpr std::chrono::seconds kFirst{1};
  static constexpr std::chrono::seconds kLongest{60};

  std::chrono::seconds next() {
    const std::chrono::seconds wait = wait_;
    wait_ = std::min(2 * wait_, kLongest);
    return wait;
  }
  void reset() { wait_ = kFirst; }

 private:
  std::chrono::seconds wait_ = kFirst;
};

}  // namespace vqbluez
