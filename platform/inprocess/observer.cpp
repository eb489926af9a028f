#include "platform/inprocess/observer.h"

#include <algorithm>

#include "platform/inprocess/observer_list.h"

using vqframework::MutexLock;
using vqframework::ObserverList;

void VQObserverLinks::add(const std::shared_ptr<ObserverList>& list) {
  MutexLock lock(mutex_);
  bool known = false;
  const auto isDone = [&](const std::weak_ptr<ObserverList>& entry) {
    const std::shared_ptr<ObserverList> alive = entry.lock();
    known = known || alive == list;
    return alive == nullptr;
  };
  lists_.erase(std::remove_if(lists_.begin(), lists_.end(), isDone), lists_.end());
  if (!known) {
    lists_.emplace_back(list);
  }
}

std::shared_ptr<ObserverList> VQObserverLinks::takeOne() {
  MutexLock lock(mutex_);
  std::shared_ptr<ObserverList> list;
  while (list == nullptr && !lists_.empty()) {
    list = lists_.back().lock();
    lists_.pop_back();
  }
  return list;
}

VQObserver_::VQObserver_() : links_(new VQObserverLinks) {}

VQObserver_::~VQObserver_() {
  delete links_;
}

void VQObserver_::DetachFromSubjects() {
  while (const std::shared_ptr<ObserverList> list = links_->takeOne()) {
    list->removeFromEveryOwner(this);
  }
}
