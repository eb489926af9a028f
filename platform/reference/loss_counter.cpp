#include "platform/reference/loss_counter.h"

#include <algorithm>

namespace vqframework {

void LossCounter::follow(const std::vector<Followed>& wanted) {
  std::vector<Followed> now = wanted;
  std::vector<std::uint32_t> burstNumbers;
  for (Followed& entry : now) {
    std::uint32_t burstNumber = entry.next;
    for (std::size_t i = 0; i < followed_.size(); ++i) {
      if (followed_[i].id == entry.id) {
        entry.next = followed_[i].next;
        burstNumber = inBurst_ ? burst_.numbers[i] : entry.next;
      }
    }
    burstNumbers.push_back(burstNumber);
  }
  followed_ = now;
  burst_.numbers = burstNumbers;
}

std::vector<std::uint32_t> LossCounter::identifiers() const {
  std::vector<std::uint32_t> ids;
  for (const Followed& entry : followed_) {
    ids.push_back(entry.id);
  }
  return ids;
}

void LossCounter::onMessage(const Message& message) {
  for (Followed& entry : followed_) {
    if (entry.id == message.id) {
      if (countUpTo(entry, message.number)) {
        entry.next = message.number + 1;
      }
      return;
    }
  }
}

void LossCounter::onSkip(const MessageLog::Snapshot& snapshot) {
  burst_ = snapshot;
  inBurst_ = true;
}

std::uint64_t LossCounter::finishBurst() {
  inBurst_ = false;
  for (std::size_t i = 0; i < followed_.size(); ++i) {
    countUpTo(followed_[i], burst_.numbers[i]);
  }
  const std::uint64_t lost = lost_;
  lost_ = 0;
  return lost;
}

// False, and nothing changes, for a number from before: a message that was posted before its identifier was followed.
// Numbers wrap around; less than half the range ahead means ahead.
bool LossCounter::countUpTo(Followed& followed, std::uint32_t number) {
  const std::uint32_t gap = number - followed.next;
  if (gap >= 0x80000000U) {
    return false;
  }
  lost_ += gap;
  followed.next = number;
  return true;
}

}  // namespace vqframework
