// Whether this process is a forked child of one that uses shared objects of the framework.
//
// Such a child has one thread and copies of the parent's locks, held or not, and of its places in shared memory. It
// must free none of them and wait for nobody: in a child, locks of the framework open at once, and nothing is posted,
// delivered or given back. It may exec or exit. A process that forks before its first use, as daemons do, is no parent
// in this sense.
#pragma once

#include <atomic>

namespace vqframework {

extern std::atomic<bool> forkedChild;

inline bool isForkedChild() {
  return forkedChild.load(std::memory_order_relaxed);
}

// To be called before the first shared object is opened.
void noteSharedUse();

}  // namespace vqframework
