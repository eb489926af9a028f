// One application's count of what it sends and what comes back, every byte of it checked.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace demo {

// Operations from any thread.
class Tally {
 public:
  explicit Tally(const std::string& app) : app_(app) {}

  // Counts anew, with message 0.
  void begin();

  // The next message to send; it counts as sent.
  std::vector<std::uint8_t> nextMessage();
  void noteResult(bool isDelivered);
  // Echoes come in the order in which the messages were sent.
  void noteEcho(const std::uint8_t* data, std::size_t size);
  // The same for a link that keeps no borders between messages: bytes as they came.
  void noteStream(const std::uint8_t* data, std::size_t size);

  // False where a result or an echo is missing after `patience`.
  bool waitForAll(std::chrono::seconds patience);

  // For people, by the callbacks that told it.
  std::string callbacks() const;
  // For the director: sent, echoed, corrupted, median and 99th percentile of the round trips in microseconds.
  std::string total() const;

 private:
  using Clock = std::chrono::steady_clock;

  const std::string app_;
  mutable std::mutex mutex_;  // guards what follows
  std::condition_variable changed_;
  unsigned int delivered_ = 0;
  unsigned int undelivered_ = 0;
  unsigned int echoed_ = 0;
  unsigned int corrupted_ = 0;
  std::uint64_t echoedBytes_ = 0;
  std::vector<std::uint8_t> partial_;         // the beginning of a message that comes as a stream
  std::vector<Clock::time_point> sendTimes_;  // one per message sent
  std::vector<double> roundTrips_;            // microseconds
};

}  // namespace demo
