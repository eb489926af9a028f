#include <stdexcept>

#include "benchmarks/roundtrip/round_trip.h"
#include "benchmarks/support/quantiles.h"

namespace bench {

Stopwatch::Stopwatch(const RoundTripJob& job)
    : warmUp_(job.warmUp), total_(job.warmUp + job.count), message_(job.bytes, 0x5A) {
  microseconds_.reserve(job.count);
}

void Stopwatch::end(const void* data, std::size_t size) {
  const std::int64_t end = now();
  const auto* const bytes = static_cast<const unsigned char*>(data);
  if (size != message_.size() || bytes[0] != message_.front() || bytes[size - 1] != message_.back()) {
    throw std::runtime_error("message " + std::to_string(number_) + " did not come back");
  }
  if (number_ >= warmUp_) {
    microseconds_.push_back(static_cast<double>(end - begin_) / 1000);
  }
  ++number_;
}

RoundTripFigures Stopwatch::figures(const Usage& cost) const {
  return {quantile(microseconds_, 0.5), quantile(microseconds_, 0.99), quantile(microseconds_, 0.999),
          cost.cpuMicroseconds / total_, cost.switches / total_};
}

}  // namespace bench
