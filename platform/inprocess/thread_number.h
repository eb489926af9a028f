// Threads by numbers that are never used again, unlike addresses and the kernel's numbers: a lock that a thread took to
// its grave is not mistaken for a new thread's own.
#pragma once

#include <cstdint>

namespace vqframework {

// 0 until first asked for. The compiler's own kind of thread-local, as in thread_node.h.
extern __thread std::uint64_t ownThreadNumber;

[[gnu::cold]] std::uint64_t takeThreadNumber();

// Of the calling thread; from 1.
inline std::uint64_t threadNumber() {
  return ownThreadNumber != 0 ? ownThreadNumber : takeThreadNumber();
}

}  // namespace vqframework
