// VQSharedSyncObject: a lock that all processes share by its name.
//
// Re-entrant for its holding thread, also across several objects of the same name. Survives its holder's death.
// Threads: any. Lifetime: an object may go at any time, but not while the caller's thread holds the lock through it
// alone. The named lock itself outlives every process.
//
//   what happens                          | effect
//   lock, free                            | taken
//   lock, held by this thread             | taken once more; as many unlocks are needed
//   lock, held by another                 | waits; the holder inherits the waiter's priority
//   lock, its holder has died             | taken, one log line; the data it guards may be half written
//   unlock, held by this thread           | given back; at the outermost unlock of all named locks the thread pays
//                                         | the wake-ups that it owes for notifications (VQSharedMemNotifier.h)
//   unlock, not held by this thread       | nothing
//
// A null, empty or over-long name gives a lock that works inside this process only. So does an object that cannot be
// opened; that is told in one log line.
#pragma once

#include "VQFramework/Sync/VQThreadSafety.h"
#include "VQFramework/VQFrameworkExport.h"

class VQ_FRAMEWORK_API VQ_CAPABILITY("named lock") VQSharedSyncObject {
 public:
  // Segment names may have this many characters at most.
  static constexpr unsigned int kMaxNameLength = 248;

  // `name` is the segment's name without a leading slash. Never fails outright, but the lock may then work inside this
  // process only.
  explicit VQSharedSyncObject(const char* name);

  // The order of the virtual operations is part of the interface: classes that derive from this one share its table.
  virtual ~VQSharedSyncObject();
  // Waits as long as it takes. The table tells the cases.
  virtual void lock() const VQ_ACQUIRE();
  // On the thread that locked. The table tells the cases.
  virtual void unlock() const VQ_RELEASE();

  VQSharedSyncObject(const VQSharedSyncObject&) = delete;
  VQSharedSyncObject& operator=(const VQSharedSyncObject&) = delete;

 private:
  struct State;
  State* const state_;
};
