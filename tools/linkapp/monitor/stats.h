// Rates, sizes and lags of a stretch of time.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "inspect/losses.h"
#include "monitor/watch.h"
#include "text/fields.h"

namespace monitor {

// Ring messages whose size could be read; `unread` are those that were overwritten before, or not to be told.
struct Sizes {
  std::uint64_t messages = 0;
  std::uint64_t unread = 0;
  std::uint64_t bytes = 0;
  std::uint32_t least = 0;
  std::uint32_t most = 0;

  void add(const inspect::RingContent& content);
  std::uint64_t mean() const { return messages == unread ? 0 : bytes / (messages - unread); }
};

// From a send to the result that answers it, in nanoseconds. Results are taken for the oldest send of their app.
struct Latency {
  std::uint64_t count = 0;
  std::uint64_t least = 0;
  std::uint64_t mean = 0;
  std::uint64_t median = 0;
  std::uint64_t most = 0;
};

struct AppFigures {
  Sizes sent;
  Sizes received;
  std::uint64_t results = 0;
  std::uint64_t failures = 0;
  Latency latency;
};

struct ReceiverFigures {
  std::uint64_t behind = 0;      // messages, whatever identifier, when it was looked at last
  std::uint64_t mostBehind = 0;  // at any look
};

struct Figures {
  std::uint64_t duration = 0;  // nanoseconds
  std::uint64_t messages = 0;  // those for nobody excepted
  std::map<std::string, std::uint64_t> kinds;
  std::array<Sizes, 2> rings;  // from HU, from device
  std::map<std::uint32_t, AppFigures> apps;
  std::map<std::uint32_t, ReceiverFigures> receivers;  // by pid
  inspect::LossCounts losses;
  std::uint64_t missed = 0;  // by the monitor

  std::uint64_t perSecond(std::uint64_t count) const;
};

class Stats {
 public:
  void add(const inspect::Message& message, const inspect::RingContent& content);
  // Behind each turn.
  void look(const Watch& watch);
  // Ends the stretch of time and begins the next one.
  Figures take(std::uint64_t now);

 private:
  struct Results {
    std::deque<std::uint64_t> sent;  // when, without a result, the oldest first
    std::vector<std::uint64_t> latencies;
  };

  AppFigures* figuresOf(std::uint32_t app);
  void addStatus(const inspect::Message& message, const iosapp_def_::ConnectStatusNotify& status);

  Figures figures_;
  std::map<std::uint32_t, Results> results_;
  std::uint64_t begin_ = 0;
  inspect::LossCounts lossesBefore_;
  std::uint64_t missedBefore_ = 0;
  std::uint64_t lookedAtMissed_ = 0;
  inspect::LossCounts lookedAtLosses_;
};

std::string statsText(const Figures& figures, Watch& watch);
text::Fields statsFields(const Figures& figures, Watch& watch);

// 340 us, 1.2 ms, 3.4 s: for people.
std::string latencyText(std::uint64_t nanoseconds);
// 999, 1.2k, 3.4M.
std::string shortNumber(std::uint64_t number);

}  // namespace monitor
