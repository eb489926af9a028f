#include "benchmarks/stream/stream.h"

#include <stdexcept>
#include <string>

#include "benchmarks/support/clock.h"

namespace bench {

void StreamReceiver::take(const void* data, std::size_t size) {
  const auto* const bytes = static_cast<const unsigned char*>(data);
  const auto number = static_cast<unsigned char>(taken_);
  if (size != bytes_ || bytes[0] != number || bytes[size - 1] != number) {
    throw std::runtime_error("message " + std::to_string(taken_) + " is lost or damaged");
  }
  ++taken_;
  if (taken_ % kWindow == 0) {
    const std::uint32_t batches = taken_ / kWindow;
    isDone_ = page_.isLast(batches);
    page_.acknowledge(batches);
  }
}

std::int64_t StreamSender::deadlineAfter(double seconds) {
  return now() + static_cast<std::int64_t>(seconds * 1e9);
}

bool StreamSender::isOver(std::int64_t deadline) {
  return now() >= deadline;
}

void StreamSender::begin() {
  beginBatches_ = batches_;
  beginUsage_ = page_.crew.usage();
  beginTime_ = now();
}

void StreamSender::end() {
  const double seconds = static_cast<double>(now() - beginTime_) / 1e9;
  const double messages = static_cast<double>(batches_ - beginBatches_) * kWindow;
  const Usage cost = page_.crew.usage() - beginUsage_;
  page_.figures = {messages / seconds, messages * job_.bytes / seconds / 1e6, cost.cpuMicroseconds / messages,
                   cost.switches / messages};
}

}  // namespace bench
