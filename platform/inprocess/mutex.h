// The standard mutex and condition variable with thread-safety annotations, which libstdc++ lacks.
#pragma once

#include <condition_variable>
#include <mutex>

#include "VQFramework/Sync/VQThreadSafety.h"
#include "platform/inprocess/fork_state.h"

namespace vqframework {

class VQ_CAPABILITY("mutex") Mutex {
 public:
  // In a forked child nobody else is there, and the copy of a lock that the parent held would never open.
  void lock() VQ_ACQUIRE() {
    if (!isForkedChild()) {
      mutex_.lock();
    }
  }
  void unlock() VQ_RELEASE() {
    if (!isForkedChild()) {
      mutex_.unlock();
    }
  }

 private:
  friend class Condition;
  std::mutex mutex_;
};

// Holds a Mutex for a scope; `unlock` and `lock` open a gap in it.
class VQ_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) VQ_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  ~MutexLock() VQ_RELEASE() {
    if (held_) {
      mutex_.unlock();
    }
  }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

  void unlock() VQ_RELEASE() {
    mutex_.unlock();
    held_ = false;
  }
  void lock() VQ_ACQUIRE() {
    mutex_.lock();
    held_ = true;
  }

 private:
  Mutex& mutex_;
  bool held_ = true;
};

class Condition {
 public:
  // Wakes for no reason too: call it in a loop.
  void wait(Mutex& mutex) VQ_REQUIRES(mutex) {
    std::unique_lock<std::mutex> held(mutex.mutex_, std::adopt_lock);
    condition_.wait(held);
    held.release();
  }
  void notifyAll() { condition_.notify_all(); }

 private:
  std::condition_variable condition_;
};

}  // namespace vqframework
