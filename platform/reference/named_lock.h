// The lock behind every VQSharedSyncObject of one name in this process.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "platform/inprocess/mutex.h"
#include "platform/reference/robust_mutex.h"
#include "platform/reference/shared_object.h"

namespace vqframework {

constexpr std::uint32_t kLockMagic = 0x4B4C5156U;  // "VQLK"
constexpr std::uint32_t kLockVersion = 2;

// What lies in the object "/<segment name>.lock". Others may look at holder and count at any time, also those of
// another word size, who cannot share the mutex: it has 24 to 48 bytes, and what follows lies at one place for all.
struct LockObject {
  SharedHeader header;
  union {
    pthread_mutex_t mutex;
    unsigned char roomOfMutex[48];
  };
  std::atomic<std::uint32_t> holderPid;              // 0 = free; a dead holder's stands until the next one comes
  std::atomic<std::uint64_t> contendedAcquisitions;  // acquisitions that did not get it at the first try
};
static_assert(offsetof(LockObject, mutex) == 32 && offsetof(LockObject, holderPid) == 80, "layout");
static_assert(offsetof(LockObject, contendedAcquisitions) == 88 && sizeof(LockObject) == 96, "layout");

class NamedLock {
 public:
  // The one object of this name in the process, made where there is none. An empty name gives a new private lock.
  static std::shared_ptr<NamedLock> forName(const std::string& name);

  ~NamedLock();
  NamedLock(const NamedLock&) = delete;
  NamedLock& operator=(const NamedLock&) = delete;

  void lock();
  // Nothing happens where the calling thread does not hold it.
  void unlock();

 private:
  explicit NamedLock(const std::string& name);
  void usePrivateObject();
  [[gnu::cold]] void lockOwn();
  [[gnu::cold]] void unlockOwn();
  [[gnu::cold]] void noteTrouble(Taken taken);

  const std::string name_;
  LockObject* object_ = nullptr;
  std::unique_ptr<LockObject> privateObject_;  // where no shared one can be had
  std::atomic<std::uint64_t> ownerThread_{0};  // thread of this process that holds it, 0 = none
  // Touched by the holder only.
  unsigned int depth_ = 0;  // its holds
  bool isOwnHeld_ = false;  // `own_` is what it holds
  bool isDamageTold_ = false;
  Mutex own_;  // stands in for a mutex that somebody has damaged
};

}  // namespace vqframework
