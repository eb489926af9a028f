#include "platform/reference/polling.h"

#include <sched.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "VQFramework/Debug/VQDbgOutput.h"
#include "platform/reference/monotonic_time.h"
#include "platform/reference/pause.h"
#include "platform/reference/process_id.h"

namespace vqframework {
namespace {

// A sender that is waited for asleep needs some 40 µs for its answer between two processors: so much must count as
// soon, or polling would never begin.
constexpr std::uint64_t kSoonNanoseconds = 100'000;
// Less than what the scheduler gives somebody else, more than a whole batch of messages that waits its turn.
constexpr std::uint64_t kLateNanoseconds = 500'000;
// Enough for an answer whose sender must be woken once; what a wrong guess costs.
constexpr std::uint64_t kPollNanoseconds = 50'000;
constexpr unsigned int kMostNeeded = 1U << 16;
// A wrong guess burns 50 µs once; a right one saves 20 µs of waiting between processors.
constexpr unsigned int kHitsThatPay = 4;
constexpr unsigned int kOwnToCount = 16;
constexpr std::uint32_t kMostSleepers = 1;
constexpr int kLooksPerClock = 16;
constexpr unsigned int kMostLooks = 500;  // more than anybody takes in 50 µs

bool isWanted() {
  const char* const choice = getenv("VQ_NOTIFIER_POLL");
  if (choice == nullptr || strcmp(choice, "auto") == 0) {
    return true;
  }
  if (strcmp(choice, "off") != 0) {
    VQDbgOutput::DbgPrint("VQFramework/SharedMemory/VQSharedMemNotifier", "deliver", 0, 1,
                          "VQ_NOTIFIER_POLL=%s is neither \"auto\" nor \"off\"; taken as auto\n", choice);
    return true;
  }
  return false;
}

std::uint32_t processorCount() {
  static const std::uint32_t count = static_cast<std::uint32_t>(std::max(sysconf(_SC_NPROCESSORS_ONLN), 1L));
  return count;
}

bool changesWhileLooking(const MessageLog& log, std::uint32_t posted) {
  for (int look = 0; look < kLooksPerClock; ++look) {
    if (log.posted() != posted) {
      return true;
    }
    pauseBriefly();
  }
  return false;
}

}  // namespace

Polling::Polling() : Polling(isWanted(), &sched_getcpu, &monotonicNanoseconds) {}

void Polling::onMessage(const Message& message) {
  if (!isOn_) {
    return;
  }
  const bool isSoon = message.time - lastTime_ < kSoonNanoseconds;
  lastTime_ = message.time;
  const bool isForeign = message.pid != processId();
  sinceForeign_ = isForeign ? 0 : sinceForeign_ + 1;
  if (!isForeign && sinceForeign_ < kOwnToCount) {
    return;  // this process's answers say nothing of when others send
  }
  senderProcessor_ = message.processor;
  // (Copies of this process's own messages have time.)
  const bool isLate = isForeign && hasBridged_ && clock_() - message.time > kLateNanoseconds;
  hasBridged_ = false;
  if (isLate) {
    stop();
  } else if (!hasBegun()) {
    soon_ = isSoon ? soon_ + 1 : 0;
  }
}

bool Polling::mayLook(const MessageLog& log, bool isOnSendersProcessor) const {
  return log.sleeperCount() <= kMostSleepers && (isOnSendersProcessor || log.receiverCount() <= processorCount() + 1);
}

// Until something is posted or the time is up. The clock is asked only where the first look was in vain. One that goes
// back ends it too, and one that stands still does not keep it up for ever.
bool Polling::waitsAwake(const MessageLog& log, std::uint32_t posted, bool isOnSendersProcessor) const {
  std::uint64_t begin = 0;
  for (unsigned int look = 0; look < kMostLooks; ++look) {
    if (isOnSendersProcessor) {
      log.markYield();
      sched_yield();
    }
    if (isOnSendersProcessor ? log.posted() != posted : changesWhileLooking(log, posted)) {
      return true;
    }
    const std::uint64_t now = clock_();
    if (look == 0) {
      begin = now;
    } else if (now - begin > kPollNanoseconds) {
      return false;
    }
  }
  return false;
}

bool Polling::bridges(const MessageLog& log, std::uint32_t posted) {
  if (!isOn_ || !hasBegun()) {
    return false;
  }
  const bool isOnSendersProcessor = senderProcessor_ == processor_.now();
  if (!mayLook(log, isOnSendersProcessor)) {
    return false;
  }
  if (!waitsAwake(log, posted, isOnSendersProcessor)) {
    stop();
    return false;
  }
  ++hits_;
  hasBridged_ = true;
  return true;
}

void Polling::stop() {
  needed_ = hits_ < kHitsThatPay ? std::min(needed_ * 2, kMostNeeded) : kFewestNeeded;
  soon_ = 0;
  hits_ = 0;
}

}  // namespace vqframework
