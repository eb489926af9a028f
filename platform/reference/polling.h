// Looking again for a while before sleeping, where that pays.
//
// A receiver on another processor than the sender waits some 20 µs for its wake-up; where messages come closer together
// than that, it gets them in under one if it is still up: so it keeps looking. On the sender's own processor it must
// let the sender run; but if it only yields instead of sleeping, the sender has nobody to wake, which saves a system
// call a message.
//
// Whether that pays is seen from what happens. It begins once several messages in a row have come soon; it ends at once
// when nothing came, or when a message was found late, since somebody else needed the processor. Where it ended before
// it had paid, the next time takes twice as many messages to begin. It is never done while several receivers sleep, nor
// on a processor of its own where there are more receivers than processors: others have work to do then. Receivers that
// were killed asleep count as sleeping: two of them end it for everybody until the log is made anew.
//
// VQ_NOTIFIER_POLL=off, or auto, which is the default. Off where power matters more than microseconds.
#pragma once

#include <cstdint>

#include "platform/reference/message_log.h"

namespace vqframework {

class Polling {
 public:
  using Clock = std::uint64_t (*)();

  Polling();
  // `processor` tells on which processor the thread is; `clock` the time, as messages carry it.
  Polling(bool isOn, RecentProcessor::Ask processor, Clock clock) : isOn_(isOn), processor_(processor), clock_(clock) {}

  // For every message that is read, the process's own and those for nobody included.
  void onMessage(const Message& message);

  // When everything is read. True when something was posted since `posted` was loaded; false: time to sleep.
  bool bridges(const MessageLog& log, std::uint32_t posted);

 private:
  bool hasBegun() const { return soon_ >= needed_; }
  bool waitsAwake(const MessageLog& log, std::uint32_t posted, bool isOnSendersProcessor) const;
  bool mayLook(const MessageLog& log, bool isOnSendersProcessor) const;
  [[gnu::cold]] void stop();

  const bool isOn_;
  RecentProcessor processor_;
  const Clock clock_;
  std::uint64_t lastTime_ = 0;         // of the message before
  std::uint32_t senderProcessor_ = 0;  // of the last message of another process, where there are such
  unsigned int sinceForeign_ = 0;      // messages of this process in a row
  unsigned int needed_ = kFewestNeeded;
  unsigned int soon_ = 0;    // messages in a row that were worth waiting for
  unsigned int hits_ = 0;    // since it began
  bool hasBridged_ = false;  // the next message was awaited so

  static constexpr unsigned int kFewestNeeded = 4;
};

}  // namespace vqframework
