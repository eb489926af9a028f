// The channel as it goes on: each new message with what lies behind it, and what is known at that moment.
//
// It follows the log, reads the ring messages that are announced, copies the table of receivers and counts losses. What
// the log still holds when it begins is heard first, so that apps and processes are known; it is shown where that is
// asked for.
// Threads: one.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "inspect/channel_state.h"
#include "inspect/follower.h"
#include "inspect/losses.h"
#include "inspect/ring_contents.h"
#include "inspect/snapshot.h"

namespace monitor {

struct Options {
  inspect::Place place;
  bool isFromStart = false;  // shows what is still in the log, too
};

// A process, as far as it can be told.
struct Who {
  std::uint32_t pid = 0;
  std::string name;  // empty where it is not known
  bool isGone = false;
  bool isStopped = false;
  bool isDeviceSide = false;
  std::vector<std::uint32_t> apps;  // that it was the last to speak for
};

// What one look has brought.
struct Turn {
  std::vector<inspect::Message> messages;
  std::vector<inspect::RingContent> contents;  // one for each
  std::vector<inspect::Loss> losses;
  bool isNewLog = false;
  bool hasMore = false;
  std::string problem;  // why nothing can be read at present
};

class Watch {
 public:
  explicit Watch(const Options& options);

  Turn turn();
  // How long to wait before the next one.
  std::chrono::microseconds pause() const { return follower_.pause(); }

  // Sequence number of the first message that is shown, where the log stays the same.
  std::uint64_t begin() const { return options_.isFromStart ? inspect::LogReader::oldest(begin_) : begin_; }
  // Whether all has been heard that was there already. Losses are counted from then on.
  bool isCaughtUp() const { return isCaughtUp_; }

  // As of the last turn.
  const inspect::ChannelState& state() const { return state_; }
  const inspect::Losses& losses() const { return losses_; }
  const inspect::Log& log() const { return log_; }
  const inspect::Table& table() const { return table_; }
  std::uint64_t now() const { return now_; }  // nanoseconds of the monotonic clock
  // Nanoseconds since 1970 at this moment of the monotonic clock.
  std::int64_t wallTimeOf(std::uint64_t monotonic) const;

  // Empty where the table has no such app.
  std::string appName(std::uint32_t app) const;
  Who who(std::uint32_t pid);
  // Processes that are registered for an identifier, those that have ended excepted.
  std::vector<std::uint32_t> listenersTo(std::uint32_t id);

 private:
  struct Known {
    inspect::Process process;
    std::uint64_t lookedAt = 0;
  };

  void setClock();
  void hear(const inspect::Follower::Batch& batch);
  void keepNews(inspect::Follower::Batch&& batch, std::vector<inspect::RingContent>&& contents, Turn& turn) const;
  void lookAround(std::uint64_t heardUntil);
  void readTableWhereNeeded(bool mustRead);
  const inspect::Process& process(std::uint32_t pid);

  const Options options_;
  std::optional<std::uint64_t> expected_;  // sequence number of the next message
  std::uint64_t begin_ = 0;                // what comes before was there already
  inspect::Follower follower_;
  inspect::RingContents contents_;
  inspect::ChannelState state_;
  inspect::Losses losses_{inspect::Losses::Earlier::kDoesNotCount};
  bool isCaughtUp_ = false;  // everything that was there already has been heard
  inspect::Log log_;
  inspect::Table table_;
  std::uint64_t tableReadAt_ = 0;
  std::uint64_t now_ = 0;
  std::int64_t wallOffset_ = 0;
  std::map<std::uint32_t, Known> processes_;
};

}  // namespace monitor
