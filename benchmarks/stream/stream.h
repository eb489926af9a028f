// What all streams have in common: the batches, their acknowledgement, and the account of both sides.
#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "benchmarks/links/link.h"
#include "benchmarks/links/product.h"
#include "benchmarks/support/futex.h"
#include "benchmarks/support/placement.h"
#include "benchmarks/support/usage.h"

namespace bench {

struct StreamJob {
  Placement placement;
  unsigned int bytes = 0;
  double seconds = 0;
};

struct StreamFigures {
  double messagesPerSecond = 0;
  double megabytesPerSecond = 0;
  // Of all processes and daemons together, per message.
  double cpu = 0;  // microseconds
  double switches = 0;
};

// The sender sends kWindow messages, and the next ones when the receiver has taken all of them. The receiver says so
// here, the same way for every transport.
class StreamPage {
 public:
  Milestone open;
  Milestone counted;
  ProductStart start;
  Crew crew;
  StreamFigures figures;

  void acknowledge(std::uint32_t batches) { batches_.ring(batches); }
  void waitFor(std::uint32_t batches) { batches_.waitWhile(batches - 1); }
  // Before the last batch is sent.
  void announceLast(std::uint32_t batches) { last_ = batches; }
  bool isLast(std::uint32_t batches) const { return last_ == batches; }

 private:
  Bell batches_;
  Word last_;  // 0 = not known yet
};

class StreamReceiver {
 public:
  StreamReceiver(StreamPage& page, unsigned int bytes) : page_(page), bytes_(bytes) {}

  // Throws where it is not the message that comes next.
  void take(const void* data, std::size_t size);
  bool isDone() const { return isDone_; }

 private:
  StreamPage& page_;
  const unsigned int bytes_;
  std::uint32_t taken_ = 0;
  bool isDone_ = false;
};

// Sends until the time is over. `send(data, size)` and `flush()` as a link has them.
class StreamSender {
 public:
  StreamSender(StreamPage& page, const StreamJob& job) : page_(page), job_(job), message_(job.bytes, 0x5A) {}

  template <class Send, class Flush>
  void run(Send send, Flush flush) {
    runFor(job_.seconds / 5, send, flush);
    begin();
    runFor(job_.seconds, send, flush);
    end();
    page_.announceLast(batches_ + 1);
    sendBatch(send, flush);
  }

 private:
  template <class Send, class Flush>
  void runFor(double seconds, Send send, Flush flush) {
    const std::int64_t until = deadlineAfter(seconds);
    do {
      sendBatch(send, flush);
    } while (!isOver(until));
  }

  template <class Send, class Flush>
  void sendBatch(Send send, Flush flush) {
    for (unsigned int i = 0; i < kWindow; ++i) {
      message_.front() = number_;
      message_.back() = number_;
      ++number_;
      send(message_.data(), message_.size());
    }
    flush();
    page_.waitFor(++batches_);
  }

  static std::int64_t deadlineAfter(double seconds);
  static bool isOver(std::int64_t deadline);
  void begin();
  void end();

  StreamPage& page_;
  const StreamJob job_;
  std::vector<unsigned char> message_;
  unsigned char number_ = 0;
  std::uint32_t batches_ = 0;

  // When the measurement began.
  std::int64_t beginTime_ = 0;
  std::uint32_t beginBatches_ = 0;
  Usage beginUsage_;
};

StreamFigures streamOf(const LinkKind& kind, const StreamJob& job);
StreamFigures streamOf(const ProductKind& kind, const StreamJob& job);

}  // namespace bench
