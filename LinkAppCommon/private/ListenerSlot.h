// LinkAppListenerSlot: the one listener of an object, or none.
//
// Threads: any. No lock is held while the listener is called or waited for, nor while a gate is made.
#pragma once

#include <memory>
#include <utility>

#include "ListenerGate.h"
#include "VQFramework/Sync/VQSync.h"
#include "VQFramework/Sync/VQSyncGuard.h"

template <class Listener>
class LinkAppListenerSlot {
 public:
  // Puts `listener`, which may be null, in the place of the former one. When it returns, no call of a former listener
  // that is another is running, except one that the caller is inside of.
  void set(Listener* listener) {
    std::shared_ptr<ListenerGate> former = listener != nullptr ? std::make_shared<ListenerGate>() : nullptr;
    {
      VQSyncGuard guard(lock_);
      if (listener == listener_) {
        return;
      }
      listener_ = listener;
      std::swap(gate_, former);
    }
    if (former != nullptr) {
      former->close();
    }
  }

  // Empties the slot if `listener` is in it; false where it is not. The same promise as for set.
  bool clear(const Listener* listener) {
    std::shared_ptr<ListenerGate> former;
    {
      VQSyncGuard guard(lock_);
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
    VQSyncGuard guard(lock_);
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
    VQSyncGuard guard(lock_);
    return {listener_, gate_};
  }

  VQSync lock_;
  Listener* listener_ VQ_GUARDED_BY(lock_) = nullptr;
  std::shared_ptr<ListenerGate> gate_ VQ_GUARDED_BY(lock_);  // null while the slot is empty
};
