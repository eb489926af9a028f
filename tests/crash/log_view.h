// The notifier's log, looked at from outside: read-only, without the library.
#pragma once

#include <sys/types.h>

#include <cstdint>

#include "platform/reference/message_log_layout.h"

namespace crash {

class LogView {
 public:
  // Nothing is there yet, or it is not whole: isWhole is false, and nothing else may be asked.
  LogView();
  ~LogView();
  LogView(const LogView&) = delete;
  LogView& operator=(const LogView&) = delete;

  bool isWhole() const;
  std::uint64_t head() const { return log_->head; }

  // Message `sequence`; there are no more than the log has slots.
  const vqframework::MessageSlot& slot(std::uint64_t sequence) const {
    return log_->slots[sequence % vqframework::kSlotCount];
  }
  static std::uint32_t sizeOf(const vqframework::MessageSlot& slot) { return slot.size & 0xFFFFU; }
  static std::uint32_t hashOf(const vqframework::MessageSlot& slot);
  // Of the channel, and not for nobody.
  static bool isOfTheChannel(const vqframework::MessageSlot& slot);

  // Null where it is not listed.
  const vqframework::AttachedPlace* placeOf(pid_t process) const;
  // Whether it has read what concerns it: messages of the channel, and its own ones for nobody, which wake no other.
  bool hasReadAll(const vqframework::AttachedPlace& place) const;
  // Whether the next poster will wake who sleeps for the channel: somebody owes it, or died under the posting lock.
  bool isWakeOwed() const;
  // Whether exactly so many processes are listed, have read all, and sleep.
  bool areAllAsleep(unsigned int receivers) const;

 private:
  const vqframework::MessageLogObject* log_ = nullptr;
};

}  // namespace crash
