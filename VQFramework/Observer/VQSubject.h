// VQSubject: an in-process list of observers that are called one after the other.
//
// Threads: any thread may call any operation, also from within a call that the subject makes.
// Lifetime: the subject forgets its observers when it goes. A callback may destroy other objects, never the subject
// that is calling it.
// Locks: no lock of the subject is held while an observer runs; callers of NotifyObserver should hold none either.
#pragma once

#include "VQFramework/Observer/VQObserver.h"
#include "VQFramework/VQFrameworkExport.h"

class VQ_FRAMEWORK_API VQSubject {
 public:
  VQSubject();
  virtual ~VQSubject();
  VQSubject(const VQSubject&) = delete;
  VQSubject& operator=(const VQSubject&) = delete;

  // Appends `observer`. One that is added twice is called twice. False, and nothing changes, for null.
  // An observer that is added during a call is called from the next notification on.
  bool AddObserver(VQObserver_* observer);

  // Removes every occurrence. When it returns, no call of `observer` by this subject is running, except one that the
  // caller itself is inside of, and except where the waiting threads would form a circle. Waits with no lock held.
  // False when it was not in the list.
  bool RemoveObserver(VQObserver_* observer);

  // Calls Update(id, data, size) of every observer, in order of addition, on the caller's thread. `type` is the
  // notification type; this system uses 0 only and hands it to nobody. `data` must stay valid during the call.
  void NotifyObserver(unsigned int id, void* data, unsigned int size, unsigned int type);

 private:
  struct State;
  State* const state_;
};
