#include "platform/reference/named_lock.h"

#include <map>
#include <utility>

#include "VQFramework/Debug/VQDbgOutput.h"
#include "platform/inprocess/fork_state.h"
#include "platform/inprocess/mutex.h"
#include "platform/inprocess/thread_number.h"
#include "platform/reference/process_id.h"
#include "platform/reference/robust_mutex.h"
#include "platform/reference/wake_debt.h"

namespace vqframework {
namespace {

constexpr const char* kLogFile = "VQFramework/SharedMemory/VQSharedSyncObject";
constexpr const char* kLogFunction = "VQSharedSyncObject";

int initializeLockObject(void* object) {
  return initializeRobustMutex(static_cast<LockObject*>(object)->mutex);
}

constexpr SharedObjectKind kLockKind = {kLockMagic, kLockVersion, sizeof(LockObject), &initializeLockObject};

struct Registry {
  Mutex mutex;  // held while an object is set up, so that one thread at a time works on a name
  std::map<std::string, std::weak_ptr<NamedLock>> locks VQ_GUARDED_BY(mutex);
};

Registry& registry() {
  static Registry* const instance = new Registry;  // never destroyed: late destructors give locks back
  return *instance;
}

}  // namespace

std::shared_ptr<NamedLock> NamedLock::forName(const std::string& name) {
  if (name.empty()) {
    return std::shared_ptr<NamedLock>(new NamedLock(name));
  }
  MutexLock lock(registry().mutex);
  std::weak_ptr<NamedLock>& entry = registry().locks[name];
  std::shared_ptr<NamedLock> existing = entry.lock();
  if (existing == nullptr) {
    existing = std::shared_ptr<NamedLock>(new NamedLock(name));
    entry = existing;
  }
  return existing;
}

NamedLock::NamedLock(const std::string& name) : name_(name) {
  std::string error;
  if (!name.empty()) {
    object_ = static_cast<LockObject*>(mapObject(name + ".lock", kLockKind, error));
  }
  if (object_ == nullptr) {
    usePrivateObject();
  }
  if (!error.empty()) {
    VQDbgOutput::DbgPrint(kLogFile, kLogFunction, 0, 1, "lock \"%s\" cannot be shared with other processes: %s\n",
                          name.c_str(), error.c_str());
  }
}

NamedLock::~NamedLock() {
  if (privateObject_ != nullptr) {
    pthread_mutex_destroy(&privateObject_->mutex);
  } else {
    unmapObject(object_, sizeof(LockObject));
  }
}

void NamedLock::usePrivateObject() {
  privateObject_ = std::make_unique<LockObject>();
  object_ = privateObject_.get();
  // Where that fails the zeros are a mutex that threads of this process can share: all that is needed of it here.
  static_cast<void>(initializeLockObject(object_));
}

void NamedLock::lock() {
  if (isForkedChild()) {
    return;
  }
  const std::uint64_t self = threadNumber();
  if (ownerThread_.load(std::memory_order_relaxed) == self) {
    ++depth_;
    namedLockEntered();
    return;
  }
  const Taken taken = lockRobustMutex(object_->mutex);
  if (taken != Taken::kDamaged) {
    object_->holderPid.store(processId(), std::memory_order_relaxed);
  } else {
    lockOwn();
  }
  ownerThread_.store(self, std::memory_order_relaxed);
  depth_ = 1;
  namedLockEntered();  // before anything is logged, which must not wait from here on
  if (taken != Taken::kFree) {
    noteTrouble(taken);
  }
}

void NamedLock::unlock() {
  if (isForkedChild() || ownerThread_.load(std::memory_order_relaxed) != threadNumber()) {
    return;
  }
  if (--depth_ == 0) {
    ownerThread_.store(0, std::memory_order_relaxed);
    if (isOwnHeld_) {
      unlockOwn();
    } else {
      object_->holderPid.store(0, std::memory_order_relaxed);
      unlockRobustMutex(object_->mutex);
    }
  }
  namedLockLeft();
}

// The analysis cannot follow a lock whose holder is found out at run time.
void NamedLock::lockOwn() VQ_NO_THREAD_SAFETY_ANALYSIS {
  own_.lock();
  isOwnHeld_ = true;
}

void NamedLock::unlockOwn() VQ_NO_THREAD_SAFETY_ANALYSIS {
  isOwnHeld_ = false;
  own_.unlock();
}

void NamedLock::noteTrouble(Taken taken) {
  if (taken == Taken::kContended) {
    object_->contendedAcquisitions.fetch_add(1, std::memory_order_relaxed);
    return;
  }
  if (taken == Taken::kOwnerDied) {
    VQDbgOutput::DbgPrint(kLogFile, "lock", 0, 1, "lock \"%s\": its holder died; taken over\n", name_.c_str());
  } else if (!std::exchange(isDamageTold_, true)) {
    VQDbgOutput::DbgPrint(kLogFile, "lock", 0, 1,
                          "lock \"%s\" is damaged and works inside this process only; stop every process that uses it "
                          "and remove /dev/shm/%s.lock\n",
                          name_.c_str(), name_.c_str());
  }
}

}  // namespace vqframework
