// VQSharedMemNotifier: wakes other processes and hands them a copy of a small message.
//
// A message is (identifier, payload copy, size). Every observer that is registered for the identifier, in every
// process, the sender's own included, is called once, in one order that is the same for all processes and identifiers.
//
// Threads: any thread may call any operation. Observers run on one delivery thread per process, never inside
// NotifyDataUpdate. The thread exists while something is registered and a moment longer, and blocks all signals but
// those of faults.
// Locks: no lock is held while an observer runs. NotifyDataUpdate may be called with named locks held
// (VQSharedSyncObject): the message is in the log when it returns, sleepers are woken at the outermost unlock.
//
// In the reference framework the delivery thread stays awake for up to 50 µs where messages come close together.
// VQ_NOTIFIER_POLL=off in the environment forbids it; auto is the default.
#pragma once

#include "VQFramework/Observer/VQObserver.h"
#include "VQFramework/VQFrameworkExport.h"

class VQ_FRAMEWORK_API VQSharedMemNotifier {
 public:
  // Longest payload that every host framework must carry, in bytes: the largest message of the channel, rounded up.
  static constexpr unsigned int kMaxPayload = 352;

  // `ownThread` false: observers run on the process's common delivery thread. True is reserved and does the same.
  explicit VQSharedMemNotifier(bool ownThread);

  // Takes every registration back, like RemoveObserver for each. Allowed on the delivery thread too, but not inside
  // a call that this very notifier makes.
  ~VQSharedMemNotifier();

  VQSharedMemNotifier(const VQSharedMemNotifier&) = delete;
  VQSharedMemNotifier& operator=(const VQSharedMemNotifier&) = delete;

  // Registers `observer` for the `count` identifiers at `ids` (copied). Nothing that is posted after this has returned
  // is missed; nothing posted before is delivered. An observer that is added twice is called twice.
  // False, and nothing changes, for a null observer, a null or empty list, where the shared log is unusable or no
  // thread can be started, and in a forked child.
  bool AddObserver(VQObserver_* observer, const unsigned int* ids, unsigned int count);

  // Takes every registration of `observer` back. When it returns no call of it is running, except a call that the
  // caller itself is inside of, and except where two threads would wait for each other. False when it was not known.
  bool RemoveObserver(VQObserver_* observer);

  // Posts a message. `data` may be null only where `size` is 0. Never waits for a receiver, however slow or dead.
  // The observer gets the payload aligned for any type and followed by at least 512 zero bytes; it must not write to
  // it or keep it. False, with a log line, when `size` exceeds kMaxPayload or `data` is null with a size; with one
  // for each new reason, when the shared log is unusable; without one in a forked child.
  bool NotifyDataUpdate(unsigned int id, const void* data, unsigned int size);

 private:
  struct State;
  State* const state_;
};
