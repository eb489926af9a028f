// What the framework remembers of an observer: the lists that it is in, so that it can leave them all.
#pragma once

#include <memory>
#include <vector>

#include "VQFramework/Observer/VQObserver.h"
#include "platform/inprocess/mutex.h"

namespace vqframework {
class ObserverList;
}

// The links are weak: a subject that goes drops its list, and nobody has to look for its observers.
class VQObserverLinks {
 public:
  static VQObserverLinks& of(const VQObserver_& observer) { return *observer.links_; }

  void add(const std::shared_ptr<vqframework::ObserverList>& list);

  // One of the lists that still exist, and forgets it; null where there is none. Takes no memory: a destructor asks.
  std::shared_ptr<vqframework::ObserverList> takeOne();

 private:
  vqframework::Mutex mutex_;  // a leaf
  std::vector<std::weak_ptr<vqframework::ObserverList>> lists_ VQ_GUARDED_BY(mutex_);
};
