// What one process spends on the messages of a measurement, counted between two of them.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>

#include "benchmarks/support/call_watch.h"

namespace bench {

// What a process does at a moment: it is inside a call that sends, or it does anything else, which is to receive. Its
// own copies of what it has sent count as received.
enum class Doing : unsigned int { kReceive, kSend };

// By what it does.
using Counts = std::atomic<std::uint64_t>[2];

// Lies in shared memory; all zero is a fresh one. Open while `watched.isCounting`.
struct Account {
  std::atomic<Doing> doing;
  Counts allocations;
  Counts calls;  // through the C library's syscall()
  std::atomic<std::uint64_t> instructions;
  WatchedProcess watched;  // system calls of every origin

  void add(Counts& counts) { ++counts[static_cast<unsigned int>(doing.load(std::memory_order_relaxed))]; }
};

// Counts the messages of this process, and opens and closes its account between two of them, so that exactly `count`
// are on it, however long it took to start.
class Bookkeeper {
 public:
  // `atBegin` and `atEnd` run outside of what is counted.
  Bookkeeper(Account& account, std::uint32_t warmUp, std::uint32_t count, std::function<void()> atBegin = nullptr,
             std::function<void()> atEnd = nullptr)
      : account_(account),
        first_(warmUp),
        last_(warmUp + count),
        atBegin_(std::move(atBegin)),
        atEnd_(std::move(atEnd)) {}

  // At the same point of each message's way.
  void nextMessage() {
    ++number_;
    if (number_ == first_) {
      open();
    } else if (number_ == last_) {
      close();
    }
  }

  template <class Send>
  void sending(Send send) {
    account_.doing.store(Doing::kSend, std::memory_order_relaxed);
    send();
    account_.doing.store(Doing::kReceive, std::memory_order_relaxed);
  }

 private:
  void open();
  void close();

  Account& account_;
  const std::uint32_t first_;
  const std::uint32_t last_;
  std::uint32_t number_ = 0;
  const std::function<void()> atBegin_;
  const std::function<void()> atEnd_;
};

}  // namespace bench
