// What all round trips have in common.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "benchmarks/links/link.h"
#include "benchmarks/links/product.h"
#include "benchmarks/support/clock.h"
#include "benchmarks/support/placement.h"
#include "benchmarks/support/usage.h"

namespace bench {

struct RoundTripJob {
  Placement placement;
  unsigned int bytes = 0;
  unsigned int warmUp = 0;
  unsigned int count = 0;
  // Trips without a break, of those that warm up, too; 0 = all of them.
  unsigned int burst = 0;
  // In the client's main thread after each burst, when nothing is under way.
  std::function<void(const Crew&)> afterBurst;

  unsigned int total() const { return warmUp + count; }
  unsigned int tripsOfBurst() const { return burst != 0 ? burst : total(); }
};

struct RoundTripFigures {
  // Microseconds.
  double p50 = 0;
  double p99 = 0;
  double p999 = 0;
  // Of the first and the last burst.
  double firstP50 = 0;
  double lastP50 = 0;
  // Of all processes and daemons together, per trip; those that warm up count, too.
  double cpu = 0;
  double switches = 0;
};

// The client's account: makes each message, times its way there and back, and looks at what came back.
class Stopwatch {
 public:
  explicit Stopwatch(const RoundTripJob& job);

  // The next message, whose time begins now.
  const void* begin() {
    const auto mark = static_cast<unsigned char>(number_);
    message_.front() = mark;
    message_.back() = mark;
    begin_ = now();
    return message_.data();
  }
  // Throws where it is not the message that was sent.
  void end(const void* data, std::size_t size);
  bool isBurstOver() const { return number_ % burst_ == 0 || isDone(); }
  bool isDone() const { return number_ == total_; }
  // `cost` is what all trips cost together.
  RoundTripFigures figures(const Usage& cost) const;

 private:
  const std::uint32_t warmUp_;
  const std::uint32_t total_;
  const std::uint32_t burst_;
  std::uint32_t number_ = 0;
  std::int64_t begin_ = 0;
  std::vector<unsigned char> message_;
  std::vector<double> microseconds_;
};

RoundTripFigures roundTripOf(const LinkKind& kind, const RoundTripJob& job);
RoundTripFigures roundTripOf(const ProductKind& kind, const RoundTripJob& job);

}  // namespace bench
