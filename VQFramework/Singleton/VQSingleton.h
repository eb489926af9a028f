// VQSingleton<T>: one instance of T per process, made at the first use.
//
// Threads: any. Beside T's own header stands `extern template class VQSingleton<T>;`, and the one library in which T
// lives defines it with default visibility. So there is one instance even where several libraries use it.
// Lifetime: ended by VQSingletonFinalizer. A destructor that runs after that asks `peekInstance`, never `getInstance`.
#pragma once

#include <atomic>

#include "VQFramework/Singleton/VQSingletonFinalizer.h"
#include "VQFramework/Sync/VQSync.h"
#include "VQFramework/Sync/VQSyncGuard.h"
#include "VQFramework/VQFrameworkExport.h"

template <class T>
class VQ_FRAMEWORK_API VQSingleton {
 public:
  // The instance, made with T's default constructor at the first call. T's constructor must not ask for it.
  // (Never inlined: a copy of these functions in a user's library would bring the static lock along.)
  __attribute__((noinline)) static T* getInstance() VQ_NO_THREAD_SAFETY_ANALYSIS {
    T* instance = instance_.load(std::memory_order_acquire);
    if (instance != nullptr) {
      return instance;
    }
    const VQSyncGuard guard(sync());  // opened again also where T's constructor throws
    instance = instance_.load(std::memory_order_relaxed);
    if (instance == nullptr) {
      instance = new T();
      instance_.store(instance, std::memory_order_release);
      VQSingletonFinalizer::addDestroyFunc(&VQSingleton<T>::destroy);
    }
    return instance;
  }

  // The instance, or null where there is none (any more).
  // (Never inlined: a program that reads the pointer itself may move it into its own data, and a plug-in that is bound
  // to its own libraries first would look at the place that it left.)
  __attribute__((noinline)) static T* peekInstance() { return instance_.load(std::memory_order_acquire); }

  // Deletes the instance. The pointer is cleared under the lock; T's destructor runs outside of it.
  __attribute__((noinline)) static void destroy() VQ_NO_THREAD_SAFETY_ANALYSIS {
    sync().Lock(VQSync::kWaitForever);
    T* instance = instance_.exchange(nullptr, std::memory_order_acq_rel);
    sync().Unlock();
    delete instance;
  }

 private:
  // Never destroyed: a late destructor may still come by.
  __attribute__((noinline)) static VQSync& sync() {
    static VQSync* const lock = new VQSync;
    return *lock;
  }

  static std::atomic<T*> instance_;
};

template <class T>
std::atomic<T*> VQSingleton<T>::instance_{nullptr};
