// VQObserver_ and VQObserver<T>: what a VQSubject or a VQSharedMemNotifier calls.
#pragma once

#include "VQFramework/VQFrameworkExport.h"

class VQObserverLinks;

// What subjects and notifiers call. Derive from it only where VQObserver<T> will not do.
class VQ_FRAMEWORK_API VQObserver_ {
 public:
  // The order of the virtual operations is part of the interface.
  virtual ~VQObserver_();
  // One notification. `data` belongs to the sender and is valid during the call only; what it is and which thread
  // calls, says the sender. Nobody looks at the result. Must not throw.
  virtual unsigned int Update(unsigned int id, void* data, unsigned int size) = 0;

  VQObserver_(const VQObserver_&) = delete;
  VQObserver_& operator=(const VQObserver_&) = delete;

 protected:
  VQObserver_();

  // Every class that implements Update calls this first in its destructor, while it is still whole.
  void DetachFromSubjects();

 private:
  friend class VQObserverLinks;  // the framework's own book-keeping
  VQObserverLinks* const links_;
};

// Binds a member function of T as the handler. The object must outlive the observer; the observer may be attached to
// any number of subjects. Its destructor detaches it everywhere first and returns only when no call of it is running
// (the exceptions are those of RemoveObserver), so a handler never runs on an observer that is gone. Handlers must not
// throw.
template <class T>
class VQObserver : public VQObserver_ {
 public:
  // A handler whose result Update returns.
  using Handler = unsigned int (T::*)(unsigned int id, void* data, unsigned int size);
  // A handler for whose true Update returns 1, for false 0.
  using BoolHandler = bool (T::*)(unsigned int id, void* data, unsigned int size);

  // Neither may be null. The observer is attached nowhere yet, and does not take the object over.
  VQObserver(T* object, Handler handler) : object_(object), handler_(handler), boolHandler_(nullptr) {}
  // The same for the other kind of handler.
  VQObserver(T* object, BoolHandler handler) : object_(object), handler_(nullptr), boolHandler_(handler) {}

  ~VQObserver() override { DetachFromSubjects(); }

  // Calls the handler with the same three arguments and returns its result.
  unsigned int Update(unsigned int id, void* data, unsigned int size) override {
    if (handler_ != nullptr) {
      return (object_->*handler_)(id, data, size);
    }
    return (object_->*boolHandler_)(id, data, size) ? 1U : 0U;
  }

 private:
  T* const object_;
  const Handler handler_;
  const BoolHandler boolHandler_;
};
