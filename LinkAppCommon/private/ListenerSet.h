// LinkAppListenerSet: the listeners of one object, ordered by address.
//
// Threads: any. No lock is held while a listener is called or waited for, nor while a gate is made.
#pragma once

#include <map>
#include <memory>
#include <utility>

#include "ListenerGate.h"
#include "VQFramework/Sync/VQSync.h"
#include "VQFramework/Sync/VQSyncGuard.h"

template <class Listener>
class LinkAppListenerSet {
 public:
  // False when it is there already.
  bool insert(Listener* listener) {
    auto gate = std::make_shared<ListenerGate>();
    VQSyncGuard guard(lock_);
    Gates gates = *gates_;
    if (!gates.try_emplace(listener, std::move(gate)).second) {
      return false;
    }
    gates_ = std::make_shared<const Gates>(std::move(gates));
    return true;
  }

  // False when it is not there. When it returns, no call of the listener is running, except one that the caller is
  // inside of.
  bool erase(Listener* listener) {
    const std::shared_ptr<ListenerGate> gate = takeOut(listener);
    if (gate == nullptr) {
      return false;
    }
    gate->close();
    return true;
  }

  bool isEmpty() { return snapshot()->empty(); }

  // Calls `call` with every listener that is there now and has not left when its turn comes.
  template <class Call>
  void callEach(const Call& call) {
    const std::shared_ptr<const Gates> gates = snapshot();
    for (const auto& [listener, gate] : *gates) {
      gate->pass([&call, target = listener] { call(*target); });
    }
  }

 private:
  using Gates = std::map<Listener*, std::shared_ptr<ListenerGate>>;

  std::shared_ptr<ListenerGate> takeOut(Listener* listener) {
    VQSyncGuard guard(lock_);
    Gates gates = *gates_;
    const auto found = gates.find(listener);
    if (found == gates.end()) {
      return nullptr;
    }
    std::shared_ptr<ListenerGate> gate = found->second;
    gates.erase(found);
    gates_ = std::make_shared<const Gates>(std::move(gates));
    return gate;
  }

  std::shared_ptr<const Gates> snapshot() {
    VQSyncGuard guard(lock_);
    return gates_;
  }

  VQSync lock_;
  // Replaced, never changed: deliveries walk it.
  std::shared_ptr<const Gates> gates_ VQ_GUARDED_BY(lock_) = std::make_shared<const Gates>();
};
