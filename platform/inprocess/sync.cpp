#include "VQFramework/Sync/VQSync.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "VQFramework/Debug/VQDbgOutput.h"
#include "platform/inprocess/fork_state.h"

namespace {

constexpr const char* kLogFile = "VQFramework/Sync/VQSync";

}  // namespace

// A mutex and a condition variable, not a timed mutex: the sanitizers report false errors on those.
struct VQSync::State {
  std::mutex mutex;
  std::condition_variable released;
  std::thread::id owner;  // nobody = free
  unsigned int waiting = 0;
};

VQSync::VQSync() : state_(new State) {}

VQSync::~VQSync() {
  delete state_;
}

bool VQSync::Lock(unsigned int timeout) {
  if (vqframework::isForkedChild()) {
    return true;
  }
  const std::thread::id self = std::this_thread::get_id();
  const auto isFree = [this] { return state_->owner == std::thread::id(); };
  std::unique_lock<std::mutex> lock(state_->mutex);
  if (state_->owner == self) {
    lock.unlock();
    VQDbgOutput::DbgPrint(kLogFile, "Lock", 0, 1, "locked again by its holder; refused\n");
    return false;
  }
  if (!isFree()) {
    ++state_->waiting;
    if (timeout == kWaitForever) {
      state_->released.wait(lock, isFree);
    } else {
      state_->released.wait_until(lock, std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout), isFree);
    }
    --state_->waiting;
    if (!isFree()) {
      return false;
    }
  }
  state_->owner = self;
  return true;
}

bool VQSync::Unlock() {
  if (vqframework::isForkedChild()) {
    return true;
  }
  {
    const std::lock_guard<std::mutex> lock(state_->mutex);
    if (state_->owner == std::this_thread::get_id()) {
      state_->owner = std::thread::id();
      if (state_->waiting != 0) {
        state_->released.notify_one();
      }
      return true;
    }
  }
  VQDbgOutput::DbgPrint(kLogFile, "Unlock", 0, 1, "unlocked by a thread that does not hold it; refused\n");
  return false;
}
