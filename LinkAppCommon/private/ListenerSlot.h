// LinkAppListenerSlot: the one listener of an object, or none.
//
// Threads: any. No lock is held while the listener is called or waited for.
#pragma once

#include <memory>
#include <mutex>
#include <utility>

#include "ListenerGate.h"

template <class Listener>
class LinkAppListenerSlot {
 public:
  // Puts `listener`, which may be null, in the place of the former one. When it returns, no call of a former listener
  // that is another is running, except one that the caller is inside of.
  void set(Listener* listener) {
    std::shared_ptr<ListenerGate> former;
    {
      const std::lock_guard<std::mutex> guard(mutex_);
      if (listener == listener_) {
        return;
      }
      listener_ = listener;
      former = std::exchange(gate_, listener != nullptr ? std::make_shared<ListenerGate>() : nullptr);
    }
    if (former != nullptr) {
      former->close();
    }
  }

  // Empties the slot if `listener` is in it; false where it is not. The same promise as for set.
  bool clear(const Listener* listener) {
    std::shared_ptr<ListenerGate> former;
    {
      const std::lock_guard<std::mutex> guard(mutex_);
      if (listener == nullptr || listener != listener_) {
        return false;
      }
      listener_ = nullptr;
      former = std::exchange(gate_, nullptr);
    }
    former->close();
    return true;
  }

  bool holds(const Listener* listener) {
    const std::lock_guard<std::mutex> guard(mutex_);
    return listener != nullptr && listener == listener_;
  }

  // Calls `call` with the listener, if there is one.
  template <class Call>
  void call(const Call& call) {
    const auto [listener, gate] = copy();
    if (gate != nullptr) {
      gate->pass([&call, target = listener] { call(*target); });
    }
  }

 private:
  std::pair<Listener*, std::shared_ptr<ListenerGate>> copy() {
    const std::lock_guard<std::mutex> guard(mutex_);
    return {listener_, gate_};
  }

  std::mutex mutex_;
  Listener* listener_ = nullptr;
  std::shared_ptr<ListenerGate> gate_;  // null while the slot is empty
};
