// The standard mutex and condition variable with thread-safety annotations, which libstdc++ lacks.
#pragma once

#include <condition_variable>
#include <mutex>

#include "VQFramework/Sync/VQThreadSafety.h"

namespace vqbluez {

class VQ_CAPABILITY("mutex") Mutex {
 public:
  void lock() VQ_ACQUIRE() { mutex_.lock(); }
  void unlock() VQ_RELEASE() { mutex_.unlock(); }

 private:
  friend class Condition;
  std::mutex mutex_;
};

// Holds a Mutex for a scope.
class VQ_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) VQ_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  ~MutexLock() VQ_RELEASE() { mutex_.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& mutex_;
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

}  // namespace vqbluez
