// The standard mutex and condition variable with thread-safety annotations, which libstdc++ lacks.
#pragma once

#include <condition_variable>
#include <mutex>

#include "VQFramework/Sync/VQThreadSafety.h"

namespace platform {

inline bool never() {
  return false;
}

// Opens at once, and closes for nobody, where `isPointless` says so: it may become true while a thread holds it.
template <bool (*isPointless)()>
class VQ_CAPABILITY("mutex") Mutex {
 public:
  void lock() VQ_ACQUIRE() {
    if (!isPointless()) {
      mutex_.lock();
    }
  }
  void unlock() VQ_RELEASE() {
    if (!isPointless()) {
      mutex_.unlock();
    }
  }

 private:
  friend class Condition;
  std::mutex mutex_;
};

// Holds a Mutex for a scope.
template <class HeldMutex>
class VQ_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(HeldMutex& mutex) VQ_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  ~MutexLock() VQ_RELEASE() { mutex_.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  HeldMutex& mutex_;
};

class Condition {
 public:
  // Wakes for no reason too: call it in a loop. Not where the mutex is pointless.
  template <class HeldMutex>
  void wait(HeldMutex& mutex) VQ_REQUIRES(mutex) {
    std::unique_lock<std::mutex> held(mutex.mutex_, std::adopt_lock);
    condition_.wait(held);
    held.release();
  }
  void notifyAll() { condition_.notify_all(); }

 private:
  std::condition_variable condition_;
};

}  // namespace platform
