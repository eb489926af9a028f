// Listener: calls a function for every notification of the subjects and notifiers that it is added to.
#pragma once

#include <functional>

#include "VQFramework/Observer/VQObserver.h"

class Listener {
 public:
  using Function = std::function<void(unsigned int id, void* data, unsigned int size)>;

  explicit Listener(Function function) : function_(std::move(function)), observer_(this, &Listener::onUpdate) {}

  VQObserver_* observer() { return &observer_; }

 private:
  unsigned int onUpdate(unsigned int id, void* data, unsigned int size) {
    function_(id, data, size);
    return 0;
  }

  const Function function_;
  VQObserver<Listener> observer_;
};
