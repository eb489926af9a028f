#include "platform/inprocess/observer_list.h"

#include <algorithm>
#include <utility>

#include "platform/inprocess/observer.h"

namespace vqframework {
namespace {

std::uint64_t bitsOf(const std::vector<unsigned int>& ids) {
  std::uint64_t bits = 0;
  for (const unsigned int id : ids) {
    bits |= std::uint64_t{1} << (id % 64);
  }
  return ids.empty() ? ~std::uint64_t{0} : bits;
}

}  // namespace

bool ObserverList::Registration::lists(unsigned int id) const {
  return std::find(ids.begin(), ids.end(), id) != ids.end();
}

void ObserverList::add(VQObserver_* observer, const void* owner, std::vector<unsigned int> ids, std::uint64_t from) {
  VQObserverLinks::of(*observer).add(shared_from_this());
  MutexLock lock(mutex_);
  const std::uint64_t idBits = bitsOf(ids);
  registrations_.push_back({observer, owner, std::move(ids), from, nextSerial_++, idBits});
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
    const auto matches = [&match](const Registration& entry) { return match.covers(entry.observer, entry.owner); };
    const auto end = std::remove_if(registrations_.begin(), registrations_.end(), matches);
    found = end != registrations_.end();
    registrations_.erase(end, registrations_.end());
    removals_ += found ? 1 : 0;
    // Waits also where nothing was found: another thread may have removed it a moment ago.
    if (!isForkedChild()) {
      waitForCalls(match);
    }
  }
  if (found) {
    afterRemoval();
  }
  return found;
}

void ObserverList::waitForCalls(const Match& match) {
  std::vector<const RunningCall*> passed;  // calls whose thread waits for this one
  while (const RunningCall* const call = callToWaitFor(match, passed)) {
    if (!enterWait(currentThread(), call->thread)) {
      passed.push_back(call);
      continue;
    }
    Waiter waiter{currentThread(), call, false, waiters_};
    waiters_ = &waiter;
    while (!waiter.done) {
      callEnded_.wait(mutex_);
    }
  }
}

const ObserverList::RunningCall* ObserverList::callToWaitFor(const Match& match,
                                                             const std::vector<const RunningCall*>& passed) const {
  const ThreadNode* const self = currentThread();
  for (const RunningCall* call = runningCalls_; call != nullptr; call = call->next) {
    const bool isOwn = call->thread == self;
    if (!isOwn && match.covers(call->observer, call->owner) &&
        std::find(passed.begin(), passed.end(), call) == passed.end()) {
      return call;
    }
  }
  return nullptr;
}

void ObserverList::call(unsigned int id, void* data, unsigned int size, std::uint64_t sequence) {
  MutexLock lock(mutex_);
  const std::uint64_t end = nextSerial_;
  for (std::size_t i = 0; i < registrations_.size() && registrations_[i].serial < end; ++i) {
    const Registration& registration = registrations_[i];
    if (!registration.takes(id) || registration.from > sequence) {
      continue;
    }
    const std::uint64_t serial = registration.serial;
    const std::uint64_t removals = removals_;
    makeCall(lock, registration, id, data, size);
    if (removals != removals_) {
      i = indexAfter(serial) - 1;
    }
  }
}

// The place of the first registration behind `serial`.
std::size_t ObserverList::indexAfter(std::uint64_t serial) const {
  const auto behind = [](std::uint64_t value, const Registration& entry) { return value < entry.serial; };
  const auto found = std::upper_bound(registrations_.begin(), registrations_.end(), serial, behind);
  return static_cast<std::size_t>(found - registrations_.begin());
}

void ObserverList::makeCall(MutexLock& lock, const Registration& registration, unsigned int id, void* data,
                            unsigned int size) {
  VQObserver_* const observer = registration.observer;
  RunningCall call{observer, registration.owner, currentThread(), runningCalls_};
  runningCalls_ = &call;
  lock.unlock();
  observer->Update(id, data, size);
  lock.lock();
  endCall(call);
}

void ObserverList::endCall(const RunningCall& call) {
  RunningCall** place = &runningCalls_;
  while (*place != &call) {
    place = &(*place)->next;
  }
  *place = call.next;

  bool anybody = false;
  for (Waiter** waiter = &waiters_; *waiter != nullptr;) {
    if ((*waiter)->call == &call) {
      leaveWait((*waiter)->thread);
      (*waiter)->done = true;
      *waiter = (*waiter)->next;
      anybody = true;
    } else {
      waiter = &(*waiter)->next;
    }
  }
  if (anybody) {
    callEnded_.notifyAll();
  }
}

bool ObserverList::isEmpty() const {
  MutexLock lock(mutex_);
  return registrations_.empty();
}

bool ObserverList::isCallRunning() const {
  MutexLock lock(mutex_);
  return runningCalls_ != nullptr;
}

std::vector<ObserverList::Registration> ObserverList::registrations() const {
  MutexLock lock(mutex_);
  return registrations_;
}

}  // namespace vqframework
