#include <string.h>

#include <cstdint>
#include <map>
#include <thread>
#include <utility>

#include "VQFramework/SharedMemory/VQSharedSyncObject.h"
#include "platform/fake/FakeFramework.h"
#include "platform/fake/fake_state.h"
#include "platform/inprocess/fork_state.h"
#include "platform/inprocess/mutex.h"

using vqframework::Condition;
using vqframework::Mutex;
using vqframework::MutexLock;

namespace {

struct Lock {
  std::thread::id owner;  // nobody = free
  unsigned int depth = 0;
  unsigned int count = 0;   // outermost acquisitions since reset
  std::uint64_t order = 0;  // when it was taken, among all locks
};

// One mutex guards every lock: nobody needs them to be fast here.
struct Locks {
  Mutex mutex;
  Condition released;
  std::map<std::string, Lock> named VQ_GUARDED_BY(mutex);  // entries stay, so their addresses do
  std::uint64_t acquisitions VQ_GUARDED_BY(mutex) = 0;
  vqfake::LockHook afterUnlock VQ_GUARDED_BY(mutex);
};

// Never destroyed: late destructors lock too.
Locks& locks() {
  static Locks* const instance = new Locks;
  return *instance;
}

// Names that no segment can have share nothing.
std::string usableName(const char* name) {
  return name == nullptr || strlen(name) > VQSharedSyncObject::kMaxNameLength ? "" : name;
}

// What the hook does to locks does not call it again.
void callHook(const std::string& name) {
  static thread_local bool isInHook = false;
  vqfake::LockHook hook;
  {
    MutexLock lock(locks().mutex);
    hook = locks().afterUnlock;
  }
  if (!hook || isInHook) {
    return;
  }
  isInHook = true;
  hook(name);
  isInHook = false;
}

}  // namespace

struct VQSharedSyncObject::State {
  const std::string name;  // empty = private to the object
  Lock own;
  Lock& lock;

  State(std::string usable, Lock* shared) : name(std::move(usable)), lock(shared == nullptr ? own : *shared) {}
};

VQSharedSyncObject::VQSharedSyncObject(const char* name)
    : state_([name] {
        const std::string usable = usableName(name);
        if (!usable.empty()) {
          vqframework::noteSharedUse();
        }
        MutexLock lock(locks().mutex);
        return new State(usable, usable.empty() ? nullptr : &locks().named[usable]);
      }()) {}

VQSharedSyncObject::~VQSharedSyncObject() {
  delete state_;
}

void VQSharedSyncObject::lock() const {
  const std::thread::id self = std::this_thread::get_id();
  MutexLock guard(locks().mutex);
  Lock& lock = state_->lock;
  while (lock.depth != 0 && lock.owner != self) {
    locks().released.wait(locks().mutex);
  }
  lock.owner = self;
  if (++lock.depth == 1) {
    ++lock.count;
    lock.order = ++locks().acquisitions;
  }
}

void VQSharedSyncObject::unlock() const {
  const std::string name = state_->name;
  {
    MutexLock guard(locks().mutex);
    Lock& lock = state_->lock;
    if (lock.depth == 0 || lock.owner != std::this_thread::get_id() || --lock.depth != 0) {
      return;
    }
    lock.owner = std::thread::id();
    locks().released.notifyAll();
  }
  if (!name.empty()) {
    callHook(name);
  }
}

namespace vqfake {

unsigned int lockDepth(const std::string& name) {
  MutexLock lock(locks().mutex);
  const auto found = locks().named.find(name);
  return found == locks().named.end() ? 0 : found->second.depth;
}

unsigned int lockCount(const std::string& name) {
  MutexLock lock(locks().mutex);
  const auto found = locks().named.find(name);
  return found == locks().named.end() ? 0 : found->second.count;
}

void setAfterUnlock(LockHook hook) {
  MutexLock lock(locks().mutex);
  locks().afterUnlock = std::move(hook);
}

std::vector<std::string> locksHeldByThisThread() {
  std::map<std::uint64_t, std::string> held;
  MutexLock lock(locks().mutex);
  for (const auto& entry : locks().named) {
    if (entry.second.depth != 0 && entry.second.owner == std::this_thread::get_id()) {
      held[entry.second.order] = entry.first;
    }
  }
  std::vector<std::string> names;
  names.reserve(held.size());
  for (const auto& entry : held) {
    names.push_back(entry.second);
  }
  return names;
}

void resetLocks() {
  MutexLock lock(locks().mutex);
  locks().afterUnlock = nullptr;
  for (auto& entry : locks().named) {
    entry.second.count = 0;
  }
}

}  // namespace vqfake
