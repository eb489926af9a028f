// Makes one report of many losses that come together: what is lost is lost by the hundred.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <tuple>
#include <vector>

#include "inspect/losses.h"

namespace monitor {

// Losses of one kind, one app, one process, one ring.
struct Burst {
  inspect::Loss first;  // its `count` is that of all
  std::uint64_t lastSequence = 0;
  std::uint64_t lastTime = 0;   // nanoseconds of the monotonic clock: when it was last added to
  std::uint64_t beginTime = 0;  // when it was begun
};

class Bursts {
 public:
  static constexpr std::uint64_t kSilence = 300'000'000;    // nanoseconds without a loss that end a burst
  static constexpr std::uint64_t kLongest = 5'000'000'000;  // one that goes on is told so often

  void add(const inspect::Loss& loss, std::uint64_t now);
  // Those that are over. Each once.
  std::vector<Burst> takeOver(std::uint64_t now);
  // All; for the end.
  std::vector<Burst> takeAll();

 private:
  using Key = std::tuple<inspect::LossKind, std::uint32_t, std::uint32_t, std::optional<inspect::RingId>>;

  std::map<Key, Burst> open_;
};

}  // namespace monitor
