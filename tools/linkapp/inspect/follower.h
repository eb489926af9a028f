// Follows the notifier's log: every notification once, in the one order that all processes see.
//
//   inspect::Follower follower(inspect::kSharedMemory, inspect::Follower::Start::kNow);
//   loop:  const inspect::Follower::Batch batch = follower.poll();   // never waits
//          ... batch.messages; a gap in `sequence` is where messages are missing
//          loop.after(follower.pause(), ...)                         // or at once where batch.hasMore
//
// It polls, since waiting on the word that receivers sleep on would not be harmless: every wake-up of a receiver would
// wake this process, too, in the sender's system call. A poll without news is a few system calls of this process alone
// (log_reader.h says why nobody else notices). The log holds 8192 messages, so nothing is missed while fewer are posted
// between two polls: 400,000 a second at the idle pause of 20 ms. What is missed is counted.
// Threads: one.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "inspect/log_reader.h"
#include "inspect/message.h"

namespace inspect {

struct Pace {
  std::chrono::microseconds busy{1000};   // while messages come
  std::chrono::microseconds idle{20000};  // the longest pause; it doubles from `busy` on while nothing comes
};

class Follower {
 public:
  enum class Start {
    kNow,     // what is posted from now on
    kOldest,  // what is still in the log, first
  };

  struct Batch {
    std::vector<Message> messages;  // messages for nobody, too
    std::uint64_t overwritten = 0;  // posted, but gone before they could be seen; before or between the messages
    std::uint64_t damaged = 0;      // places in the log that hold something else than they should
    bool isNewLog = false;          // another log than before, or it was set back: sequence numbers begin anew
    bool hasMore = false;           // poll again at once
    std::string problem;            // why nothing can be read at present, in words; it goes on trying
    // By identifier, 64 of them at most: how many messages were gone, as far as it can be known by now. A message tells
    // by its number how many of its identifier came before it, so a loss shows with the next one of the identifier.
    std::map<std::uint32_t, std::uint64_t> missed;
  };

  Follower(std::string folder, Start start, Pace pace = {});

  // What has come since the last call, 2048 messages at most.
  Batch poll();

  // How long to wait before the next poll.
  std::chrono::microseconds pause() const { return pause_; }

  // Sequence number behind the last message that was given.
  std::uint64_t position() const { return position_; }
  // The log it reads. For whoever must look further than the batch (ring_contents.h).
  const LogReader& log() const { return log_; }

 private:
  // What is known of an identifier's messages.
  struct Seen {
    std::uint32_t next = 0;      // number of the next one
    std::uint64_t goneThen = 0;  // of all identifiers, when the last one was seen
  };

  void findLog(Batch& batch);
  void begin(Batch& batch, LogReader&& log);
  void take(Batch& batch);
  void countMissed(const Message& message, Batch& batch);
  void setPause(bool isBusy);
  void forgetNumbers(bool isKnownFromZero);

  const std::string folder_;
  const Start start_;
  const Pace pace_;
  LogReader log_;
  bool hasBegun_ = false;  // with any log
  bool wasLooking_ = false;
  std::uint64_t position_ = 0;
  std::uint64_t gone_ = 0;  // overwritten or damaged so far, up to `position_`
  std::map<std::uint32_t, Seen> seen_;
  bool isKnownFromZero_ = false;  // an identifier that is not in `seen_` had no message when this began
  std::uint64_t goneAtBegin_ = 0;
  std::chrono::microseconds pause_;
};

}  // namespace inspect
