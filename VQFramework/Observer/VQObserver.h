// VQObserver_ and VQObserver<T>: what a VQSubject or a VQSharedMemNotifier calls.
//
// VQObserver<T> binds a member function of T as the handler. The object must outlive the observer; the observer may
// be attached to any number of subjects. Its destructor detaches it everywhere first and returns only when no call of
// it is running (the exceptions are those of RemoveObserver), so a handler never runs on an observer that is gone.
// Handlers must not throw.
#pragma once

#include "VQFramework/VQFrameworkExport.h"

class VQObserverLinks;

class VQ_FRAMEWORK_API VQObserver_ {
 public:
  // The order of these two is part of the interface.
  virtual ~VQObserver_();
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

template <class T>
class VQObserver : public VQObserver_ {
 public:
  using Handler = unsigned int (T::*)(unsigned int id, void* data, unsigned int size);
  using BoolHandler = bool (T::*)(unsigned int id, void* data, unsigned int size);

  VQObserver(T* object, Handler handler) : object_(object), handler_(handler), boolHandler_(nullptr) {}
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
