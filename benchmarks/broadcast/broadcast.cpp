#include "benchmarks/broadcast/broadcast.h"

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

#include "benchmarks/support/clock.h"
#include "benchmarks/support/quantiles.h"

namespace bench {
namespace {

// Long enough for 20 receivers on one processor.
constexpr useconds_t kPause = 300;

}  // namespace

void BroadcastPage::expect(std::uint32_t receivers) {
  if (arrived_.load() != expected_.load()) {
    throw std::runtime_error("a message has come twice");
  }
  arrived_.store(0);
  expected_.store(receivers);
}

void BroadcastPage::arrive(unsigned int index) {
  times_[index].store(now());
  if (++arrived_ == expected_.load()) {
    wakeAll(arrived_);
  }
}

std::int64_t BroadcastPage::waitForAll() {
  const std::uint32_t expected = expected_.load();
  for (std::uint32_t arrived = arrived_.load(); arrived != expected; arrived = arrived_.load()) {
    sleepWhile(arrived_, arrived);
  }
  std::int64_t last = 0;
  for (const std::atomic<std::int64_t>& time : times_) {
    last = std::max(last, time.load());
  }
  return last;
}

void BroadcastSender::prepareMessage() {
  usleep(kPause);
  message_.front() = job_.plan.isForOne ? static_cast<unsigned char>(number_ % job_.plan.receivers) : kForAll;
  message_[1] = static_cast<unsigned char>(number_);
  message_.back() = message_[1];
  ++number_;
  page_.expect(job_.plan.isForOne ? 1 : job_.plan.receivers);
  beginCpu_ = nanosecondsOf(CLOCK_PROCESS_CPUTIME_ID);
  beginTime_ = now();
}

void BroadcastSender::account() {
  const std::int64_t last = page_.waitForAll();
  senderCpu_ += static_cast<double>(nanosecondsOf(CLOCK_PROCESS_CPUTIME_ID) - beginCpu_) / 1000;
  untilAll_.push_back(static_cast<double>(last - beginTime_) / 1000);
}

void BroadcastSender::begin() {
  untilAll_.clear();
  untilAll_.reserve(job_.count);
  senderCpu_ = 0;
  beginUsage_ = page_.crew.usage();
}

void BroadcastSender::end() {
  const Usage cost = page_.crew.usage() - beginUsage_;
  page_.figures = {quantile(untilAll_, 0.5), senderCpu_ / job_.count, cost.cpuMicroseconds / job_.count,
                   cost.switches / job_.count};
}

bool isWhole(const BroadcastJob& job, const unsigned char* data, std::size_t size) {
  return size == job.bytes && data[size - 1] == data[1];
}

}  // namespace bench
