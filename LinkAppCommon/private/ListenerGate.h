// ListenerGate: the way to one listener, that can be closed.
//
// When close returns, no call through the gate is running, except one that the caller is inside of (and except where
// waiting threads would form a circle): the very promise of VQSubject::RemoveObserver, which is what it is made of.
#pragma once

#include <functional>

#include "VQFramework/Observer/VQObserver.h"
#include "VQFramework/Observer/VQSubject.h"

class ListenerGate {
 public:
  ListenerGate() : observer_(this, &ListenerGate::onPass) { subject_.AddObserver(&observer_); }

  // Makes the call, unless the gate is closed. Any thread, several at once.
  void pass(std::function<void()> call) { subject_.NotifyObserver(0, &call, 1, 0); }

  void close() { subject_.RemoveObserver(&observer_); }

 private:
  unsigned int onPass(unsigned int /*id*/, void* data, unsigned int /*size*/) {
    (*static_cast<std::function<void()>*>(data))();
    return 0;
  }

  VQSubject subject_;
  VQObserver<ListenerGate> observer_;
};
