// The framework's lock objects, seen from outside. None is taken.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "inspect/object.h"

namespace inspect {

// The kernel's word in a mutex, as the GNU C library and the kernel's protocol for priority-inheriting locks use it.
// This is how that library happens to be built, not a promise of it: good as a hint.
struct LockWord {
  std::uint32_t thread = 0;   // kernel's number of the holding thread, 0 = free
  bool hasWaiters = false;    // somebody sleeps for it
  bool hasOwnerDied = false;  // its holder died; the next locker is told
};

struct Lock {
  ObjectFacts object;            // named SEGMENT.lock
  std::string problem;           // why its content is not told; empty where it is
  std::uint32_t holderPid = 0;   // 0 = free; a dead holder's stands until the next one comes
  std::uint64_t contended = 0;   // acquisitions that did not get it at the first try
  std::optional<LockWord> word;  // none with another C library
  bool isChanging = false;       // taken and given back while it was looked at
};

Lock readLock(const std::string& folder, const std::string& segment);

// From the bytes of a mutex, as they were copied.
std::optional<LockWord> lockWordOf(const Bytes& bytes, std::size_t offset);

}  // namespace inspect
