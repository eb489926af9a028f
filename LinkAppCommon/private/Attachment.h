// LinkAppAttachment: keeps an observer attached to a subject exactly while it is wanted, whichever threads change that.
//
// No lock is held while it attaches and detaches, since detaching may wait for a callback that changes the wish again.
#pragma once

#include "VQFramework/Observer/VQSubject.h"
#include "VQFramework/Sync/VQSync.h"
#include "VQFramework/Sync/VQSyncGuard.h"

class LinkAppAttachment {
 public:
  LinkAppAttachment(VQSubject& subject, VQObserver_& observer) : subject_(subject), observer_(observer) {}

  // To be called after every change of what `isWanted` returns. Where another thread is at it, that one sees to it.
  template <class IsWanted>
  void follow(const IsWanted& isWanted) {
    if (!begin()) {
      return;
    }
    for (Step step = next(isWanted); step != Step::none; step = next(isWanted)) {
      if (step == Step::attach) {
        subject_.AddObserver(&observer_);
      } else {
        subject_.RemoveObserver(&observer_);
      }
    }
  }

 private:
  enum class Step { none, attach, detach };

  bool begin() {
    VQSyncGuard guard(lock_);
    const bool isFirst = !isBusy_;
    isBusy_ = true;
    return isFirst;
  }

  // Asked under the lock: a change that comes after the last answer finds nobody busy and begins anew.
  template <class IsWanted>
  Step next(const IsWanted& isWanted) {
    VQSyncGuard guard(lock_);
    if (isWanted() == isAttached_) {
      isBusy_ = false;
      return Step::none;
    }
    isAttached_ = !isAttached_;
    return isAttached_ ? Step::attach : Step::detach;
  }

  VQSubject& subject_;
  VQObserver_& observer_;
  VQSync lock_;
  bool isAttached_ VQ_GUARDED_BY(lock_) = false;
  bool isBusy_ VQ_GUARDED_BY(lock_) = false;
};
