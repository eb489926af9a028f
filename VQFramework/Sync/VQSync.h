// VQSync: a mutex for the threads of one process, with a time-out.
//
// Threads: any. Lifetime: must outlive every thread that waits for it; destroyed unlocked.
// Not re-entrant: a holder that locks again is refused with a log line instead of hanging.
//
//   state        | Lock by holder   | Lock by another          | Unlock by holder | Unlock by another
//   free         | -                | taken, true              | -                | log line, false
//   taken        | log line, false  | waits; false on time-out | free, true       | log line, false
#pragma once

#include "VQFramework/Sync/VQThreadSafety.h"
#include "VQFramework/VQFrameworkExport.h"

class VQ_FRAMEWORK_API VQ_CAPABILITY("mutex") VQSync {
 public:
  // The wait value that means "as long as it takes".
  static constexpr unsigned int kWaitForever = 0xFFFFFFFFU;

  VQSync();
  ~VQSync();
  VQSync(const VQSync&) = delete;
  VQSync& operator=(const VQSync&) = delete;

  // Takes the lock, waiting at most `timeout` milliseconds (monotonic time).
  // True when the caller holds it now; false after the time-out, or when the caller held it already.
  bool Lock(unsigned int timeout = kWaitForever) VQ_TRY_ACQUIRE(true);

  // Gives the lock back. False, and nothing changes, when the caller does not hold it.
  bool Unlock() VQ_RELEASE();

 private:
  struct State;
  State* const state_;
};
