#include "demo/tally.h"

#include <algorithm>

#include "demo/pattern.h"

namespace demo {
namespace {

double percentile(const std::vector<double>& sorted, unsigned int percent) {
  return sorted.empty() ? 0.0 : sorted[(sorted.size() - 1) * percent / 100];
}

}  // namespace

void Tally::begin() {
  const std::lock_guard<std::mutex> lock(mutex_);
  delivered_ = undelivered_ = echoed_ = corrupted_ = 0;
  echoedBytes_ = 0;
  partial_.clear();
  sendTimes_.clear();
  roundTrips_.clear();
}

std::vector<std::uint8_t> Tally::nextMessage() {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto number = static_cast<unsigned int>(sendTimes_.size());
  sendTimes_.push_back(Clock::now());
  return makeMessage(app_, number);
}

void Tally::noteResult(bool isDelivered) {
  const std::lock_guard<std::mutex> lock(mutex_);
  ++(isDelivered ? delivered_ : undelivered_);
  changed_.notify_one();
}

void Tally::noteEcho(const std::uint8_t* data, std::size_t size) {
  const Clock::time_point now = Clock::now();
  const std::lock_guard<std::mutex> lock(mutex_);
  const std::vector<std::uint8_t> expected = makeMessage(app_, echoed_);
  const bool isSame = size == expected.size() && std::equal(expected.begin(), expected.end(), data);
  corrupted_ += isSame ? 0 : 1;
  if (echoed_ < sendTimes_.size()) {
    roundTrips_.push_back(std::chrono::duration<double, std::micro>(now - sendTimes_[echoed_]).count());
  }
  ++echoed_;
  echoedBytes_ += size;
  changed_.notify_one();
}

// The application on the phone sends back what it got, so the sizes are known.
void Tally::noteStream(const std::uint8_t* data, std::size_t size) {
  std::vector<std::vector<std::uint8_t>> messages;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    partial_.insert(partial_.end(), data, data + size);
    for (unsigned int next = echoed_;; ++next) {
      const std::size_t length = makeMessage(app_, next).size();
      if (partial_.size() < length) {
        break;
      }
      const auto end = partial_.begin() + static_cast<std::ptrdiff_t>(length);
      messages.emplace_back(partial_.begin(), end);
      partial_.erase(partial_.begin(), end);
    }
  }
  for (const std::vector<std::uint8_t>& message : messages) {
    noteEcho(message.data(), message.size());
  }
}

bool Tally::waitForAll(std::chrono::seconds patience) {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, patience, [this] {
    return delivered_ + undelivered_ >= sendTimes_.size() && echoed_ >= sendTimes_.size();
  });
}

std::string Tally::callbacks() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return "onSendResult: " + std::to_string(delivered_) + " delivered, " + std::to_string(undelivered_) +
         " not; onReceivedMsg: " + std::to_string(echoed_) + " messages, " + std::to_string(echoedBytes_) + " bytes";
}

std::string Tally::total() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  std::vector<double> sorted = roundTrips_;
  std::sort(sorted.begin(), sorted.end());
  return std::to_string(sendTimes_.size()) + " " + std::to_string(echoed_) + " " + std::to_string(corrupted_) + " " +
         std::to_string(percentile(sorted, 50)) + " " + std::to_string(percentile(sorted, 99));
}

}  // namespace demo
