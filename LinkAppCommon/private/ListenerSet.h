// LinkAppListenerSet: the listeners of one object, ordered by address.
//
// Threads: any. No lock is held while a listener is called or waited for.
#pragma once

#include <map>
#include <memory>
#include <mutex>

#include "ListenerGate.h"

template <class Listener>
class LinkAppListenerSet {
 public:
  // False when it is there already.
  bool insert(Listener* listener) {
    const std::lock_guard<std::mutex> guard(mutex_);
    return gates_.try_emplace(listener, std::make_shared<ListenerGate>()).second;
  }

  // False when it is not there. When it returns, no call of the listener is running, except one that the caller is
  // inside of.
  bool erase(Listener* listener) {
    std::shared_ptr<ListenerGate> gate;
    {
      const std::lock_guard<std::mutex> guard(mutex_);
      const auto found = gates_.find(listener);
      if (found == gates_.end()) {
        return false;
      }
      gate = found->second;
      gates_.erase(found);
    }
    gate->close();
    return true;
  }

  bool isEmpty() {
    const std::lock_guard<std::mutex> guard(mutex_);
    return gates_.empty();
  }

  // Calls `call` with every listener that is there now and has not left when its turn comes.
  template <class Call>
  void callEach(const Call& call) {
    for (const auto& [listener, gate] : copy()) {
      gate->pass([&call, target = listener] { call(*target); });
    }
  }

 private:
  using Gates = std::map<Listener*, std::shared_ptr<ListenerGate>>;

  Gates copy() {
    const std::lock_guard<std::mutex> guard(mutex_);
    return gates_;
  }

  std::mutex mutex_;
  Gates gates_;
};
