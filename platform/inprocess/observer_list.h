// The list of observers behind a VQSubject and behind the notifier: calls them in order of addition with no lock held,
// lets them come and go meanwhile, and makes sure that a removed observer is not being called any more.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "VQFramework/Observer/VQObserver.h"
#include "platform/inprocess/mutex.h"
#include "platform/inprocess/wait_graph.h"

namespace vqframework {

class ObserverList : public std::enable_shared_from_this<ObserverList> {
 public:
  struct Registration {
    VQObserver_* observer;
    const void* owner;              // the notifier it was made through; null for a subject's
    std::vector<unsigned int> ids;  // identifiers it takes; empty = all
    std::uint64_t from;             // sequence number of the first message it takes
    std::uint64_t serial;           // place in the order of addition
    std::uint64_t idBits;           // of `ids` modulo 64; all bits for all identifiers

    // Most registrations of a process are for other identifiers than a message's: one look at the bits tells.
    bool takes(unsigned int id) const { return (idBits >> (id % 64) & 1) != 0 && (ids.empty() || lists(id)); }
    bool lists(unsigned int id) const;
  };

  ObserverList() = default;
  virtual ~ObserverList() = default;
  ObserverList(const ObserverList&) = delete;
  ObserverList& operator=(const ObserverList&) = delete;

  void add(VQObserver_* observer, const void* owner = nullptr, std::vector<unsigned int> ids = {},
           std::uint64_t from = 0);

  // Takes every matching registration back and waits until no matching call is running, see VQSubject::RemoveObserver.
  // True when there was one.
  bool remove(const VQObserver_* observer, const void* owner = nullptr);
  bool removeFromEveryOwner(const VQObserver_* observer);
  bool removeOwner(const void* owner);

  // Calls every observer that was there when the call began, is still there when its turn comes, and takes `id` and
  // `sequence`.
  void call(unsigned int id, void* data, unsigned int size, std::uint64_t sequence = 0);

  bool isEmpty() const;
  bool isCallRunning() const;
  std::vector<Registration> registrations() const;

 private:
  // One call of an observer, on the stack of the thread that makes it.
  struct RunningCall {
    const VQObserver_* observer;
    const void* owner;
    ThreadNode* thread;
    RunningCall* next;
  };

  // One thread that waits for the end of a call, on its own stack.
  struct Waiter {
    ThreadNode* thread;
    const RunningCall* call;
    bool done;
    Waiter* next;
  };

  // Which registrations and calls an operation means. A null observer means all of the owner's.
  struct Match {
    const VQObserver_* observer;
    const void* owner;
    bool everyOwner;
    bool covers(const VQObserver_* otherObserver, const void* otherOwner) const {
      return (observer == nullptr || observer == otherObserver) && (everyOwner || owner == otherOwner);
    }
  };

  // Called with no lock held after registrations were taken back.
  virtual void afterRemoval() {}

  bool removeMatching(const Match& match);
  void waitForCalls(const Match& match) VQ_REQUIRES(mutex_);
  const RunningCall* callToWaitFor(const Match& match, const std::vector<const RunningCall*>& passed) const
      VQ_REQUIRES(mutex_);
  void makeCall(MutexLock& lock, const Registration& registration, unsigned int id, void* data,
                unsigned int size) VQ_NO_THREAD_SAFETY_ANALYSIS;
  void endCall(const RunningCall& call) VQ_REQUIRES(mutex_);
  std::size_t indexAfter(std::uint64_t serial) const VQ_REQUIRES(mutex_);

  mutable Mutex mutex_;  // never held while an observer runs
  Condition callEnded_;
  std::vector<Registration> registrations_ VQ_GUARDED_BY(mutex_);
  std::uint64_t nextSerial_ VQ_GUARDED_BY(mutex_) = 1;
  std::uint64_t removals_ VQ_GUARDED_BY(mutex_) = 0;  // so far; a delivery finds its place anew after one
  RunningCall* runningCalls_ VQ_GUARDED_BY(mutex_) = nullptr;
  Waiter* waiters_ VQ_GUARDED_BY(mutex_) = nullptr;
};

}  // namespace vqframework
