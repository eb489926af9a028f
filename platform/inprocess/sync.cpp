#include "VQFramework/Sync/VQSync.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "VQFramework/Debug/VQDbgOutput.h"
#include "platform/inprocess/fork_state.h"
#include "platform/inprocess/thread_number.h"

namespace {

constexpr const char* kLogFile = "VQFramework/Sync/VQSync";

}  // namespace

// One word says who holds the lock and whether somebody waits. Free and unwatched, it is taken and given back by one
// exchange each; whoever must wait does so on a mutex and a condition variable. (Not a timed mutex: the sanitizers
// report false errors on those.) While the waiters' bit is set every change goes through the mutex, so that a thread
// that gives the lock back is out of the object before the next holder can have it, and may destroy it.
struct VQSync::State {
  static constexpr std::uintptr_t kHasWaiters = 1;

  // Of the number there is room for 31 bits at least: no program has as many threads, one after the other.
  static std::uintptr_t self() { return static_cast<std::uintptr_t>(vqframework::threadNumber()) << 1; }

  bool take();
  bool wait(unsigned int timeout);
  void giveBack();

  std::atomic<std::uintptr_t> word{0};  // the holder, 0 = free; lowest bit: kHasWaiters
  std::mutex mutex;
  std::condition_variable released;
  unsigned int waiting = 0;  // under the mutex
};

// Under the mutex. Where it is held, makes sure that its holder will come to the mutex, too.
bool VQSync::State::take() {
  std::uintptr_t now = word.load(std::memory_order_relaxed);
  for (;;) {
    const bool isFree = (now & ~kHasWaiters) == 0;
    const bool isWatched = !isFree || waiting > 1;  // by others than this thread
    const std::uintptr_t next = (isFree ? self() : now & ~kHasWaiters) | (isWatched ? kHasWaiters : 0);
    if (word.compare_exchange_weak(now, next, std::memory_order_acquire, std::memory_order_relaxed)) {
      return isFree;
    }
  }
}

bool VQSync::State::wait(unsigned int timeout) {
  std::unique_lock<std::mutex> lock(mutex);
  ++waiting;
  bool isTaken = true;
  if (timeout == kWaitForever) {
    released.wait(lock, [this] { return take(); });
  } else {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout);
    isTaken = released.wait_until(lock, end, [this] { return take(); });
  }
  --waiting;
  return isTaken;
}

// For a holder that finds the waiters' bit set.
void VQSync::State::giveBack() {
  std::uintptr_t now = 0;
  do {
    const std::lock_guard<std::mutex> lock(mutex);
    if (waiting != 0) {
      word.store(kHasWaiters, std::memory_order_release);
      released.notify_one();
      return;
    }
    // All have given up. The word is the last thing to be touched, then: nobody is kept from the lock by the mutex.
    now = self();
    word.store(now, std::memory_order_relaxed);
  } while (!word.compare_exchange_strong(now, 0, std::memory_order_release, std::memory_order_relaxed));
}

VQSync::VQSync() : state_(new State) {}

VQSync::~VQSync() {
  delete state_;
}

bool VQSync::Lock(unsigned int timeout) {
  if (vqframework::isForkedChild()) {
    return true;
  }
  const std::uintptr_t self = State::self();
  std::uintptr_t now = 0;
  if (state_->word.compare_exchange_strong(now, self, std::memory_order_acquire, std::memory_order_relaxed)) {
    return true;
  }
  if ((now & ~State::kHasWaiters) == self) {
    VQDbgOutput::DbgPrint(kLogFile, "Lock", 0, 1, "locked again by its holder; refused\n");
    return false;
  }
  return state_->wait(timeout);
}

bool VQSync::Unlock() {
  if (vqframework::isForkedChild()) {
    return true;
  }
  std::uintptr_t now = State::self();
  if (state_->word.compare_exchange_strong(now, 0, std::memory_order_release, std::memory_order_relaxed)) {
    return true;
  }
  if (now == (State::self() | State::kHasWaiters)) {
    state_->giveBack();
    return true;
  }
  VQDbgOutput::DbgPrint(kLogFile, "Unlock", 0, 1, "unlocked by a thread that does not hold it; refused\n");
  return false;
}
