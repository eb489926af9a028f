// Counts the system calls of processes, by a process that watches them (ptrace).
//
// Each call stops its thread before it begins. Threads that wake each other meet in another order than otherwise: how
// often they sleep and wake is not what it would be, everything else is.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <vector>

#include "benchmarks/support/futex.h"

namespace bench {

// One watched process. Lies in shared memory; all zero is a fresh one.
struct WatchedProcess {
  std::atomic<pid_t> pid;
  std::atomic<bool> isCounting;  // said by the process itself
  std::atomic<std::uint64_t> calls;
};

// What watcher and watched meet at. All zero is a fresh one.
struct Watch {
  Milestone here;  // processes that want to be watched
  Milestone begun;
};

// In the process to be watched, while it has one thread: returns when each call is seen.
void letWatch(WatchedProcess& self, Watch& watch);

// In the watcher: until all of `processes` have ended.
void watchCalls(const std::vector<WatchedProcess*>& processes, Watch& watch);

}  // namespace bench
