#include <algorithm>
#include <stdexcept>

#include "benchmarks/roundtrip/round_trip.h"
#include "benchmarks/support/quantiles.h"

namespace bench {

Stopwatch::Stopwatch(const RoundTripJob& job)
    : warmUp_(job.warmUp),
      total_(job.total()),
      burst_(job.tripsOfBurst()),
      message_(job.bytes, 0x5A),
      microseconds_(job.count) {}

void Stopwatch::end(const void* data, std::size_t size) {
  const std::int64_t end = now();
  const auto* const bytes = static_cast<const unsigned char*>(data);
  if (size != message_.size() || bytes[0] != message_.front() || bytes[size - 1] != message_.back()) {
    throw std::runtime_error("message " + std::to_string(number_) + " did not come back");
  }
  if (number_ >= warmUp_) {
    microseconds_[number_ - warmUp_] = static_cast<double>(end - begin_) / 1000;
  }
  ++number_;
}

RoundTripFigures Stopwatch::figures(const Usage& cost) const {
  const auto edge = static_cast<std::ptrdiff_t>(std::min<std::size_t>(burst_, microseconds_.size()));
  const std::vector<double> first(microseconds_.begin(), microseconds_.begin() + edge);
  const std::vector<double> last(microseconds_.end() - edge, microseconds_.end());
  return {quantile(microseconds_, 0.5), quantile(microseconds_, 0.99), quantile(microseconds_, 0.999),
          quantile(first, 0.5),         quantile(last, 0.5),           cost.cpuMicroseconds / total_,
          cost.switches / total_};
}

}  // namespace bench
