#include "platform/inprocess/observer_list.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <new>
#include <utility>

#include "platform/inprocess/observer.h"
#include "platform/inprocess/wait_graph.h"

namespace vqframework {
namespace {

constexpr std::size_t kSpareSnapshots = 8;  // a fence is dearer than a few hundred bytes

std::uint64_t bitsOf(const std::vector<unsigned int>& ids) {
  std::uint64_t bits = 0;
  for (const unsigned int id : ids) {
    bits |= std::uint64_t{1} << (id % 64);
  }
  return ids.empty() ? ~std::uint64_t{0} : bits;
}

// Calls `visit(thread, frame)` for every frame of every thread until it returns true; whether it did.
template <class Visit>
bool anyFrame(const Visit& visit) {
  for (ThreadNode* thread = newestThreadNode(); thread != nullptr; thread = thread->older) {
    const CallFrame* frame = &thread->bottom;
    for (; frame != nullptr; frame = frame->above.load(std::memory_order_acquire)) {
      if (visit(*thread, *frame)) {
        return true;
      }
    }
  }
  return false;
}

}  // namespace

bool ObserverList::Registration::lists(unsigned int id) const {
  return std::find(ids.begin(), ids.end(), id) != ids.end();
}

ObserverList::~ObserverList() = default;

void ObserverList::add(VQObserver_* observer, const void* owner, std::vector<unsigned int> ids, std::uint64_t from) {
  VQObserverLinks::of(*observer).add(shared_from_this());
  auto entry = std::make_shared<Entry>();
  entry->idBits = bitsOf(ids);
  entry->bitsTell = std::all_of(ids.begin(), ids.end(), [](unsigned int id) { return id < 64; });
  entry->what = {observer, owner, std::move(ids), from};
  MutexLock lock(mutex_);
  auto next = copyOfAlive();
  next->push_back(std::move(entry));
  replaceSnapshot(std::move(next));
  if (snapshots_.size() > kSpareSnapshots) {
    freeUnusedSnapshots();
  }
}

bool ObserverList::remove(const VQObserver_* observer, const void* owner) {
  return observer != nullptr && removeMatching({observer, owner, false});
}

bool ObserverList::removeFromEveryOwner(const VQObserver_* observer) {
  return observer != nullptr && removeMatching({observer, nullptr, true});
}

bool ObserverList::removeOwner(const void* owner) {
  return removeMatching({nullptr, owner, false});
}

bool ObserverList::removeMatching(const Match& match) {
  bool found = false;
  {
    MutexLock lock(mutex_);
    found = killMatching(match);
    if (found) {
      dropDead();
    }
    heavyFence();
    // Waits also where nothing was found: another thread may have removed it a moment ago.
    if (!isForkedChild()) {
      waitForCalls(match);
    }
    freeUnusedSnapshots();
  }
  if (found) {
    afterRemoval();
  }
  return found;
}

// Whether there was one.
bool ObserverList::killMatching(const Match& match) {
  bool found = false;
  if (const Snapshot* const now = snapshot_.load(std::memory_order_relaxed)) {
    for (const std::shared_ptr<Entry>& entry : *now) {
      if (match.covers(entry->what) && entry->isAlive.exchange(false, std::memory_order_acq_rel)) {
        found = true;
      }
    }
  }
  return found;
}

std::unique_ptr<ObserverList::Snapshot> ObserverList::copyOfAlive() const {
  auto copy = std::make_unique<Snapshot>();
  if (const Snapshot* const now = snapshot_.load(std::memory_order_relaxed)) {
    copy->reserve(now->size() + 1);
    std::copy_if(now->begin(), now->end(), std::back_inserter(*copy), isAlive);
  }
  return copy;
}

// Destructors remove observers, so this must not fail: where there is no memory the dead stay in the snapshot, and
// nobody calls them.
void ObserverList::dropDead() {
  const Snapshot* const now = snapshot_.load(std::memory_order_relaxed);
  if (std::none_of(now->begin(), now->end(), isAlive)) {
    snapshot_.store(nullptr, std::memory_order_release);
    return;
  }
  try {
    replaceSnapshot(copyOfAlive());
  } catch (const std::bad_alloc&) {  // they stay
  }
}

void ObserverList::replaceSnapshot(std::unique_ptr<const Snapshot> next) {
  const Snapshot* const address = next.get();
  snapshots_.push_back(std::move(next));  // first: this may find no memory
  snapshot_.store(address, std::memory_order_release);
}

// At most one snapshot stays for each walk that is going on.
void ObserverList::freeUnusedSnapshots() {
  // A fence of its own: others may have replaced snapshots since the last one, while this thread waited.
  heavyFence();
  const auto isUnused = [this](const std::unique_ptr<const Snapshot>& snapshot) {
    const void* const address = snapshot.get();
    return address != snapshot_.load(std::memory_order_relaxed) &&
           !anyFrame([address](const ThreadNode& /*thread*/, const CallFrame& frame) {
             return frame.snapshot.load(std::memory_order_acquire) == address;
           });
  };
  snapshots_.erase(std::remove_if(snapshots_.begin(), snapshots_.end(), isUnused), snapshots_.end());
}

void ObserverList::waitForCalls(const Match& match) {
  std::vector<const CallFrame*> passed;  // calls whose thread waits for this one
  for (;;) {
    const RunningCall call = callToWaitFor(match, passed);
    if (call.thread == nullptr) {
      return;
    }
    if (enterWait(currentThread(), call.thread)) {
      waitForEnd(call);
    } else {
      passed.push_back(call.frame);
    }
  }
}

void ObserverList::waitForEnd(const RunningCall& call) {
  Waiter waiter{currentThread(), call.frame, false, waiters_};
  waiters_ = &waiter;
  waiterCount_.fetch_add(1, std::memory_order_release);
  heavyFence();
  // From here on the end of the call is seen there, or the waiter is seen by the call's thread.
  while (!waiter.done && call.frame->registration.load(std::memory_order_acquire) == call.registration) {
    callEnded_.wait(mutex_);
  }
  waiterCount_.fetch_sub(1, std::memory_order_relaxed);
  if (!waiter.done) {
    Waiter** place = &waiters_;
    while (*place != &waiter) {
      place = &(*place)->next;
    }
    *place = waiter.next;
    leaveWait(waiter.thread);
  }
}

ObserverList::RunningCall ObserverList::callToWaitFor(const Match& match,
                                                      const std::vector<const CallFrame*>& passed) const {
  const ThreadNode* const self = threadNode;  // one that has none yet calls nobody
  RunningCall found;
  anyFrame([&](ThreadNode& thread, const CallFrame& frame) {
    if (&thread == self || frame.list.load(std::memory_order_acquire) != this) {
      return false;
    }
    const void* const registration = frame.registration.load(std::memory_order_acquire);
    if (!isMeant(registration, match) || std::find(passed.begin(), passed.end(), &frame) != passed.end()) {
      return false;
    }
    found = {&thread, &frame, registration};
    return true;
  });
  return found;
}

// Whether what a frame shows is one that matches; those that were removed and are being called included. (The snapshots
// of running calls are kept while this thread holds the lock, see freeUnusedSnapshots.)
bool ObserverList::isMeant(const void* registration, const Match& match) const {
  const auto isIt = [registration, &match](const std::shared_ptr<Entry>& entry) {
    return entry.get() == registration && match.covers(entry->what);
  };
  return std::any_of(snapshots_.begin(), snapshots_.end(), [&isIt](const std::unique_ptr<const Snapshot>& snapshot) {
    return std::any_of(snapshot->begin(), snapshot->end(), isIt);
  });
}

void ObserverList::call(unsigned int id, void* data, unsigned int size, std::uint64_t sequence) {
  OpenFrame frame(this);
  const Snapshot* const snapshot = protectSnapshot(*frame);
  if (snapshot == nullptr) {
    return;
  }
  for (const std::shared_ptr<Entry>& entry : *snapshot) {
    if (entry->takes(id) && entry->what.from <= sequence) {
      makeCall(*frame, *entry, id, data, size);
    }
  }
}

// The present snapshot. It is there until the frame is closed.
inline const ObserverList::Snapshot* ObserverList::protectSnapshot(CallFrame& frame) const {
  const Snapshot* snapshot = snapshot_.load(std::memory_order_acquire);
  for (;;) {
    frame.snapshot.store(snapshot, std::memory_order_release);
    lightFence();
    const Snapshot* const now = snapshot_.load(std::memory_order_acquire);
    if (now == snapshot) {
      return snapshot;
    }
    snapshot = now;
  }
}

// Of a call that returns, and of one that ends its thread: whoever waits for it goes on.
class ObserverList::EndOfCall {
 public:
  EndOfCall(ObserverList& list, CallFrame& frame) : list_(list), frame_(frame) {}
  ~EndOfCall() {
    frame_.isInside.store(false, std::memory_order_relaxed);
    frame_.registration.store(nullptr, std::memory_order_release);
    lightFence();
    if (list_.waiterCount_.load(std::memory_order_acquire) != 0) {
      list_.wakeWaiters(frame_);
    }
  }
  EndOfCall(const EndOfCall&) = delete;
  EndOfCall& operator=(const EndOfCall&) = delete;

 private:
  ObserverList& list_;
  CallFrame& frame_;
};

inline void ObserverList::makeCall(CallFrame& frame, const Entry& entry, unsigned int id, void* data,
                                   unsigned int size) {
  const EndOfCall end(*this, frame);
  frame.registration.store(&entry, std::memory_order_release);
  lightFence();
  if (entry.isAlive.load(std::memory_order_acquire)) {
    frame.isInside.store(true, std::memory_order_relaxed);
    entry.what.observer->Update(id, data, size);
  }
}

void ObserverList::wakeWaiters(const CallFrame& frame) {
  MutexLock lock(mutex_);
  for (Waiter** waiter = &waiters_; *waiter != nullptr;) {
    if ((*waiter)->frame == &frame) {
      leaveWait((*waiter)->thread);
      (*waiter)->done = true;
      *waiter = (*waiter)->next;
    } else {
      waiter = &(*waiter)->next;
    }
  }
  callEnded_.notifyAll();
}

// In an observer; a thread that is only about to find out that a registration is dead does not count.
bool ObserverList::isCallRunning() const {
  return anyFrame([this](const ThreadNode& /*thread*/, const CallFrame& frame) {
    return frame.list.load(std::memory_order_acquire) == this && frame.isInside.load(std::memory_order_acquire);
  });
}

std::vector<ObserverList::Registration> ObserverList::registrations() const {
  MutexLock lock(mutex_);
  std::vector<Registration> result;
  if (const Snapshot* const now = snapshot_.load(std::memory_order_relaxed)) {
    for (const std::shared_ptr<Entry>& entry : *now) {
      if (isAlive(entry)) {
        result.push_back(entry->what);
      }
    }
  }
  return result;
}

}  // namespace vqframework
