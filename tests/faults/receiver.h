// Receiver: counts the messages of one identifier.
#pragma once

#include <atomic>
#include <cstring>

#include "VQFramework/Observer/VQObserver.h"
#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "platform/reference/message_log.h"
#include "tests/faults/plan.h"
#include "tests/support/wait_until.h"

namespace faults {

class Receiver {
 public:
  VQObserver_* observer() { return &observer_; }
  unsigned int count() const { return count_; }
  // Of the last message; 0 where it was shorter than that.
  unsigned int number() const { return number_; }
  [[nodiscard]] bool waitFor(unsigned int count) const {
    return test_support::waitUntil([this, count] { return count_ >= count; });
  }

 private:
  unsigned int update(unsigned int /*id*/, void* data, unsigned int size) {
    unsigned int number = 0;
    if (size >= sizeof number) {
      memcpy(&number, data, sizeof number);
    }
    number_ = number;
    ++count_;
    return 0;
  }

  std::atomic<unsigned int> number_{0};
  std::atomic<unsigned int> count_{0};
  VQObserver<Receiver> observer_{this, &Receiver::update};
};

// Messages come in one order: once this one has come, what was posted before has come, or never will.
class Marker {
 public:
  Marker() { notifier_.AddObserver(receiver_.observer(), &kId, 1); }
  ~Marker() { notifier_.RemoveObserver(receiver_.observer()); }
  Marker(const Marker&) = delete;
  Marker& operator=(const Marker&) = delete;

  [[nodiscard]] bool pass() {
    const unsigned int before = receiver_.count();
    return notifier_.NotifyDataUpdate(kId, nullptr, 0) && receiver_.waitFor(before + 1);
  }

 private:
  static constexpr unsigned int kId = 0x7D000003U;
  VQSharedMemNotifier notifier_{false};
  Receiver receiver_;
};

// Until somebody sleeps for messages of this identifier, and a message has to wake him.
[[nodiscard]] inline bool waitForSleep(unsigned int id) {
  return test_support::waitUntil([id] {
    vqframework::MessageLog* const log = vqframework::MessageLog::opened();
    return log != nullptr && (log->object().sleepers & vqframework::MessageLog::groupOf(id)) != 0;
  });
}

}  // namespace faults
