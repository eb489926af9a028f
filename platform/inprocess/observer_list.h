// The list of observers behind a VQSubject and behind the notifier: calls them in order of addition with no lock held,
// lets them come and go meanwhile, and makes sure that a removed observer is not being called any more.
//
// Life of a removal: under the list's lock a registration is marked as dead and a new snapshot without it is put in
// place, where there is memory for one; then a heavy fence. From there on every thread that looks at the registration
// sees that it is dead, and a thread that was faster has written down that it is calling it: for its end the remover
// waits.
// A thread that calls takes no lock. It writes down the snapshot that it walks through, and each registration before it
// asks whether that is alive.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "VQFramework/Observer/VQObserver.h"
#include "platform/inprocess/mutex.h"
#include "platform/inprocess/thread_node.h"

namespace vqframework {

class ObserverList : public std::enable_shared_from_this<ObserverList> {
 public:
  struct Registration {
    VQObserver_* observer;
    const void* owner;              // the notifier it was made through; null for a subject's
    std::vector<unsigned int> ids;  // identifiers it takes; empty = all
    std::uint64_t from;             // sequence number of the first message it takes

    bool lists(unsigned int id) const;
  };

  ObserverList() = default;
  virtual ~ObserverList();
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

  bool isEmpty() const { return snapshot_.load(std::memory_order_acquire) == nullptr; }
  bool isCallRunning() const;
  std::vector<Registration> registrations() const;

 private:
  struct Entry {
    Registration what;
    std::uint64_t idBits;  // of its identifiers modulo 64; all bits for all identifiers
    bool bitsTell;         // no identifier is above 63
    std::atomic<bool> isAlive{true};

    // Most registrations of a process are for other identifiers than a message's: one look at the bits tells.
    bool takes(unsigned int id) const {
      return (idBits >> (id % 64) & 1) != 0 && ((bitsTell && id < 64) || what.ids.empty() || what.lists(id));
    }
  };
  using Snapshot = std::vector<std::shared_ptr<Entry>>;

  // One thread that waits for the end of a call, on its own stack.
  struct Waiter {
    ThreadNode* thread;
    const CallFrame* frame;
    bool done;
    Waiter* next;
  };

  // A call that some thread is making.
  struct RunningCall {
    ThreadNode* thread = nullptr;  // null: there is none
    const CallFrame* frame = nullptr;
    const void* registration = nullptr;
  };

  // Which registrations and calls an operation means. A null observer means all of the owner's.
  struct Match {
    const VQObserver_* observer;
    const void* owner;
    bool everyOwner;
    bool covers(const Registration& other) const {
      return (observer == nullptr || observer == other.observer) && (everyOwner || owner == other.owner);
    }
  };

  // Called with no lock held after registrations were taken back.
  virtual void afterRemoval() {}

  bool removeMatching(const Match& match);
  static bool isAlive(const std::shared_ptr<Entry>& entry) { return entry->isAlive.load(std::memory_order_relaxed); }
  bool killMatching(const Match& match) VQ_REQUIRES(mutex_);
  std::unique_ptr<Snapshot> copyOfAlive() const VQ_REQUIRES(mutex_);
  void dropDead() VQ_REQUIRES(mutex_);
  void replaceSnapshot(std::unique_ptr<const Snapshot> next) VQ_REQUIRES(mutex_);
  void freeUnusedSnapshots() VQ_REQUIRES(mutex_);
  void waitForCalls(const Match& match) VQ_REQUIRES(mutex_);
  void waitForEnd(const RunningCall& call) VQ_REQUIRES(mutex_);
  RunningCall callToWaitFor(const Match& match, const std::vector<const CallFrame*>& passed) const VQ_REQUIRES(mutex_);
  // Under the lock as well; the analysis cannot follow it into the visit of a frame.
  bool isMeant(const void* registration, const Match& match) const VQ_NO_THREAD_SAFETY_ANALYSIS;

  class EndOfCall;

  const Snapshot* protectSnapshot(CallFrame& frame) const;
  void makeCall(CallFrame& frame, const Entry& entry, unsigned int id, void* data, unsigned int size);
  [[gnu::cold]] void wakeWaiters(const CallFrame& frame);

  mutable Mutex mutex_;  // of changes; never held while an observer runs
  Condition callEnded_;
  std::atomic<const Snapshot*> snapshot_{nullptr};                                // null: empty
  std::vector<std::unique_ptr<const Snapshot>> snapshots_ VQ_GUARDED_BY(mutex_);  // the present one and those in use
  Waiter* waiters_ VQ_GUARDED_BY(mutex_) = nullptr;
  std::atomic<unsigned int> waiterCount_{0};
};

}  // namespace vqframework
