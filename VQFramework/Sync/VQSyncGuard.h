// VQSyncGuard: holds a lock from construction to the end of the scope.
//
// Works on both kinds of lock: VQSync (threads of one process) and VQSharedSyncObject (all processes).
// The lock must outlive the guard. A guard stays on the thread that made it.
#pragma once

#include "VQFramework/SharedMemory/VQSharedSyncObject.h"
#include "VQFramework/Sync/VQSync.h"
#include "VQFramework/Sync/VQThreadSafety.h"

class VQ_SCOPED_CAPABILITY VQSyncGuard {
 public:
  // Takes the lock, however long it takes. A VQSync that this thread holds already is left to its first holder.
  explicit VQSyncGuard(VQSync& lock) VQ_ACQUIRE(lock) : sync_(lock.Lock() ? &lock : nullptr), shared_(nullptr) {}

  // Takes the lock, once more where this thread holds it already.
  explicit VQSyncGuard(const VQSharedSyncObject& lock) VQ_ACQUIRE(lock) : sync_(nullptr), shared_(&lock) {
    lock.lock();
  }

  ~VQSyncGuard() VQ_RELEASE() { Release(); }

  VQSyncGuard(const VQSyncGuard&) = delete;
  VQSyncGuard& operator=(const VQSyncGuard&) = delete;

 private:
  // The analysis cannot follow a lock through a pointer that may be null.
  void Release() VQ_NO_THREAD_SAFETY_ANALYSIS {
    if (sync_ != nullptr) {
      sync_->Unlock();
    }
    if (shared_ != nullptr) {
      shared_->unlock();
    }
  }

  VQSync* const sync_;
  const VQSharedSyncObject* const shared_;
};
