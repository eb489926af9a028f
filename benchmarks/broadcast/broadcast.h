// What all broadcasts have in common: who has the message since when, and the sender's account.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "benchmarks/broadcast/fanout.h"
#include "benchmarks/links/product.h"
#include "benchmarks/support/futex.h"
#include "benchmarks/support/placement.h"
#include "benchmarks/support/usage.h"

namespace bench {

struct BroadcastJob {
  Placement placement;
  FanoutPlan plan;
  unsigned int bytes = 0;
  unsigned int warmUp = 0;
  unsigned int count = 0;
};

// Microseconds, per message.
struct BroadcastFigures {
  double untilAll = 0;  // from before it is sent until the last one for whom it is has it: median
  double senderCpu =
      0;              // of the sending process, all its threads, from before it is sent until it knows that all have it
  double allCpu = 0;  // of all processes and daemons, the pauses between messages included
  double switches = 0;  // the same; two of them are the sender's own sleeps
};

class BroadcastPage {
 public:
  static constexpr unsigned int kMostReceivers = 32;

  Milestone open;
  Milestone connected;  // product: statuses count from now on
  ProductStart start;
  Crew crew;
  BroadcastFigures figures;

  // The sender, before it sends: so many will have it. Throws where somebody has had the last one twice.
  void expect(std::uint32_t receivers);
  // Receiver `index` has it.
  void arrive(unsigned int index);
  // Asleep until all have it; returns when the last one got it.
  std::int64_t waitForAll();

 private:
  Word arrived_;
  Word expected_;
  std::atomic<std::int64_t> times_[kMostReceivers];
};

// Sends all messages, one after the other, each when all receivers had time to fall asleep. `send(message)`.
class BroadcastSender {
 public:
  BroadcastSender(BroadcastPage& page, const BroadcastJob& job) : page_(page), job_(job), message_(job.bytes) {}

  template <class Send>
  void run(Send send) {
    for (unsigned int i = 0; i < job_.warmUp; ++i) {
      sendOne(send);
    }
    begin();
    for (unsigned int i = 0; i < job_.count; ++i) {
      sendOne(send);
    }
    end();
  }

 private:
  template <class Send>
  void sendOne(Send send) {
    prepareMessage();
    send(static_cast<const std::vector<unsigned char>&>(message_));
    account();
  }

  void prepareMessage();
  void account();
  void begin();
  void end();

  BroadcastPage& page_;
  const BroadcastJob job_;
  std::vector<unsigned char> message_;
  unsigned int number_ = 0;
  std::int64_t beginTime_ = 0;  // of this message
  std::int64_t beginCpu_ = 0;
  std::vector<double> untilAll_;
  double senderCpu_ = 0;
  Usage beginUsage_;
};

// Whether these are the bytes of some message that a BroadcastSender makes.
bool isWhole(const BroadcastJob& job, const unsigned char* data, std::size_t size);

BroadcastFigures broadcastOf(const FanoutKind& kind, const BroadcastJob& job);
BroadcastFigures broadcastOf(const ProductKind& kind, const BroadcastJob& job);

}  // namespace bench
