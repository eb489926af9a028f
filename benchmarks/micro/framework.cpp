// Locks, subject and notifier, alone.
#include <memory>
#include <vector>

#include "VQFramework/Observer/VQObserver.h"
#include "VQFramework/Observer/VQSubject.h"
#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "VQFramework/SharedMemory/VQSharedSyncObject.h"
#include "VQFramework/Sync/VQSync.h"
#include "benchmarks/micro/steps.h"

namespace bench {
namespace {

constexpr const char* kLockName = "bench_micro";
// Nobody listens to it.
constexpr unsigned int kNotifyId = 201;

void lockAndUnlock(benchmark::State& state) {
  const VQSharedSyncObject lock(kLockName);
  repeat(state, [&lock] {
    lock.lock();
    lock.unlock();
  });
}

// The analysis does not know of locks that may be taken twice.
void lockAgainAndUnlock(benchmark::State& state) VQ_NO_THREAD_SAFETY_ANALYSIS {
  const VQSharedSyncObject lock(kLockName);
  lock.lock();
  repeat(state, [&lock]() VQ_NO_THREAD_SAFETY_ANALYSIS {
    lock.lock();
    lock.unlock();
  });
  lock.unlock();
}

void syncPair(benchmark::State& state) {
  VQSync sync;
  repeat(state, [&sync] {
    if (sync.Lock()) {
      sync.Unlock();
    }
  });
}

class Listener {
 public:
  Listener() : observer_(this, &Listener::hear) {}
  VQObserver_* observer() { return &observer_; }
  std::uint64_t heard() const { return heard_; }

 private:
  unsigned int hear(unsigned int /*id*/, void* /*data*/, unsigned int /*size*/) {
    ++heard_;
    return 0;
  }

  std::uint64_t heard_ = 0;
  VQObserver<Listener> observer_;
};

void notify(benchmark::State& state, std::size_t observers) {
  VQSubject subject;
  std::vector<std::unique_ptr<Listener>> listeners;
  for (std::size_t i = 0; i < observers; ++i) {
    listeners.push_back(std::make_unique<Listener>());
    mustHold(subject.AddObserver(listeners.back()->observer()), "a subject takes no observer");
  }
  unsigned int record = 0;
  repeat(state, [&] { subject.NotifyObserver(1, &record, sizeof record, 0); });
  for (const std::unique_ptr<Listener>& listener : listeners) {
    mustHold(listener->heard() == static_cast<std::uint64_t>(state.iterations()), "an observer was not called");
  }
}

void post(benchmark::State& state, unsigned int bytes) {
  VQSharedMemNotifier notifier(false);
  const std::vector<unsigned char> payload(bytes, 0x5A);
  bool isPosted = true;
  repeat(state, [&] { isPosted = notifier.NotifyDataUpdate(kNotifyId, payload.data(), bytes) && isPosted; });
  mustHold(isPosted, "a message was refused");
}

// Bounds what a data message pays for the ring's lock: one pair to write it, two for each process that reads it.
BENCHMARK(lockAndUnlock)->Name("named lock and unlock");
// Bounds what nested guards cost, as where an operation under the lock calls another that takes it, too.
BENCHMARK(lockAgainAndUnlock)->Name("named lock and unlock, held already");
// Bounds each look at a client's lists and half of each look into a server's table.
BENCHMARK(syncPair)->Name("VQSync lock and unlock");
// Bound the relays inside a process, two for each message that arrives (endpoint to client, client to its user): what a
// relay costs that nobody listens to, one with one listener as usual, and one with 20.
BENCHMARK_CAPTURE(notify, none, 0)->Name("notify 0 observers");
BENCHMARK_CAPTURE(notify, one, 1)->Name("notify 1 observer");
BENCHMARK_CAPTURE(notify, many, 20)->Name("notify 20 observers");
// Bound a post without its wake-up: the announcement of data, and a status message.
BENCHMARK_CAPTURE(post, announcement, 12)->Name("post 12 B, nobody asleep");
BENCHMARK_CAPTURE(post, status, 304)->Name("post 304 B, nobody asleep");

}  // namespace
}  // namespace bench
