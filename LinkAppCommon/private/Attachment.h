// LinkAppAttachment: keeps an observer attached to a subject exactly while it is wanted, whichever threads change that.
//
// No lock is held while it attaches and detaches, since detaching may wait for a callback that changes the wish again.
#pragma once

#include <mutex>

#include "VQFramework/Observer/VQSubject.h"

class LinkAppAttachment {
 public:
  LinkAppAttachment(VQSubject& subject, VQObserver_& observer) : subject_(subject), observer_(observer) {}

  // To be called after every change of what `isWanted` returns. Where another thread is at it, that one sees to it.
  template <class IsWanted>
  void follow(const IsWanted& isWanted) {
    std::unique_lock<std::mutex> guard(mutex_);
    if (isBusy_) {
      return;
    }
    isBusy_ = true;
    while (isWanted() != isAttached_) {
      isAttached_ = !isAttached_;
      const bool attach = isAttached_;
      guard.unlock();
      if (attach) {
        subject_.AddObserver(&observer_);
      } else {
        subject_.RemoveObserver(&observer_);
      }
      guard.lock();
    }
    isBusy_ = false;
  }

 private:
  VQSubject& subject_;
  VQObserver_& observer_;
  std::mutex mutex_;
  bool isAttached_ = false;
  bool isBusy_ = false;
};
