// Counts the messages that this process was too slow for, of its own identifiers only.
//
// A receiver that is overtaken by other identifiers' messages has lost nothing. Every message carries how many of its
// identifier came before; a gap in these numbers is a loss, and nothing else is.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/reference/message_log.h"

namespace vqframework {

class LossCounter {
 public:
  struct Followed {
    std::uint32_t id;
    std::uint32_t next;  // number of the next message of this identifier, modulo 2^32
  };

  // From now on exactly these identifiers count. Those that it followed already keep their numbers.
  void follow(const std::vector<Followed>& wanted);
  std::vector<std::uint32_t> identifiers() const;

  void onMessage(const Message& message);

  // The reader was overtaken; this is how the log stood then. What follows, up to there, is one burst.
  void onSkip(const MessageLog::Snapshot& snapshot);

  // The losses of a burst, once the reader has passed its end; 0 otherwise.
  std::uint64_t takeFinishedBurst(std::uint64_t position) {
    return inBurst_ && position >= burst_.head ? finishBurst() : 0;
  }

 private:
  [[gnu::cold]] std::uint64_t finishBurst();
  bool countUpTo(Followed& followed, std::uint32_t number);

  std::vector<Followed> followed_;
  bool inBurst_ = false;
  MessageLog::Snapshot burst_ = {};  // numbers in the order of followed_
  std::uint64_t lost_ = 0;
};

}  // namespace vqframework
