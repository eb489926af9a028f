#include "LinkAppCommon/private/ListenerSlot.h"

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <memory>

#include "tests/conformance/worker.h"

namespace {

using conformance::Worker;

struct Listener {
  unsigned int calls = 0;
  std::function<void()> during;
};

class ListenerSlot : public testing::Test {
 protected:
  void call() {
    sut.call([](Listener& listener) {
      ++listener.calls;
      if (listener.during) {
        listener.during();
      }
    });
  }

  // True when `action`, begun during a call of the first listener, returned only after that call.
  bool waitsForTheRunningCall(std::function<void()> action) {
    std::unique_ptr<Worker> worker;
    std::atomic<bool> hasEnded{false};
    std::atomic<bool> hadEnded{false};
    first.during = [&] {
      worker = std::make_unique<Worker>([&] {
        action();
        hadEnded = hasEnded.load();
      });
      EXPECT_TRUE(worker->isHeldUp());
      hasEnded = true;
    };
    sut.set(&first);
    call();
    return worker != nullptr && worker->ends() && hadEnded;
  }

  Listener first;
  Listener second;
  LinkAppListenerSlot<Listener> sut;
};

TEST_F(ListenerSlot, IsEmptyAtFirst) {
  EXPECT_FALSE(sut.holds(&first));
  EXPECT_FALSE(sut.holds(nullptr)) << "empty is not a listener";
  EXPECT_FALSE(sut.clear(nullptr));
  EXPECT_FALSE(sut.clear(&first));
  bool isCalled = false;
  sut.call([&isCalled](Listener&) { isCalled = true; });
  EXPECT_FALSE(isCalled);
}

TEST_F(ListenerSlot, CallsTheListenerThatWasSet) {
  sut.set(&first);
  EXPECT_TRUE(sut.holds(&first));
  EXPECT_FALSE(sut.holds(&second));
  EXPECT_FALSE(sut.holds(nullptr));
  call();
  call();
  EXPECT_EQ(first.calls, 2U);
}

TEST_F(ListenerSlot, CallsOnlyTheListenerThatWasSetLast) {
  sut.set(&first);
  sut.set(&second);
  EXPECT_FALSE(sut.holds(&first));
  EXPECT_TRUE(sut.holds(&second));
  call();
  EXPECT_EQ(first.calls, 0U);
  EXPECT_EQ(second.calls, 1U);
}

TEST_F(ListenerSlot, CallsAListenerOnceThatWasSetTwice) {
  sut.set(&first);
  sut.set(&first);
  call();
  EXPECT_EQ(first.calls, 1U);
}

TEST_F(ListenerSlot, TakesAFormerListenerAgain) {
  sut.set(&first);
  sut.set(&second);
  sut.set(&first);
  call();
  EXPECT_EQ(first.calls, 1U);
}

TEST_F(ListenerSlot, IsEmptiedBySettingNull) {
  sut.set(&first);
  sut.set(nullptr);
  EXPECT_FALSE(sut.holds(&first));
  EXPECT_FALSE(sut.holds(nullptr));
  call();
  EXPECT_EQ(first.calls, 0U);
  sut.set(nullptr);
  sut.set(&first);
  call();
  EXPECT_EQ(first.calls, 1U);
}

TEST_F(ListenerSlot, IsClearedOfTheListenerThatItHoldsAndOfNoOther) {
  sut.set(&first);
  EXPECT_FALSE(sut.clear(&second));
  EXPECT_FALSE(sut.clear(nullptr));
  EXPECT_TRUE(sut.holds(&first));
  call();
  EXPECT_EQ(first.calls, 1U);
  EXPECT_TRUE(sut.clear(&first));
  EXPECT_FALSE(sut.holds(&first));
  EXPECT_FALSE(sut.clear(&first));
  call();
  EXPECT_EQ(first.calls, 1U);
}

TEST_F(ListenerSlot, MayBeClearedReplacedAndEmptiedWithinTheCall) {
  sut.set(&first);
  first.during = [this] {
    sut.set(&second);
    EXPECT_TRUE(sut.clear(&second));
    sut.set(&second);
    sut.set(nullptr);
    sut.set(&first);
    EXPECT_TRUE(sut.clear(&first));
  };
  call();
  call();
  EXPECT_EQ(first.calls, 1U);
  EXPECT_EQ(second.calls, 0U);
}

TEST_F(ListenerSlot, ClearedByAnotherThreadReturnsOnlyWhenTheCallHasEnded) {
  EXPECT_TRUE(waitsForTheRunningCall([this] { sut.clear(&first); }));
}

TEST_F(ListenerSlot, GivenAnotherListenerByAnotherThreadReturnsOnlyWhenTheFormersCallHasEnded) {
  EXPECT_TRUE(waitsForTheRunningCall([this] { sut.set(&second); }));
}

TEST_F(ListenerSlot, EmptiedByAnotherThreadReturnsOnlyWhenTheCallHasEnded) {
  EXPECT_TRUE(waitsForTheRunningCall([this] { sut.set(nullptr); }));
}

TEST_F(ListenerSlot, DoesNotWaitWhereTheSameListenerIsSetOrAnotherIsCleared) {
  sut.set(&first);
  first.during = [this] {
    const Worker other([this] {
      sut.set(&first);
      EXPECT_FALSE(sut.clear(&second));
      EXPECT_TRUE(sut.holds(&first));
    });
    EXPECT_TRUE(other.ends());
  };
  call();
  EXPECT_EQ(first.calls, 1U);
}

TEST_F(ListenerSlot, CanBeUsedWhileAReplacementWaits) {
  std::unique_ptr<Worker> replacer;
  first.during = [&] {
    replacer = std::make_unique<Worker>([this] { sut.set(&second); });
    EXPECT_TRUE(replacer->isHeldUp());
    const Worker user([this] {
      EXPECT_TRUE(sut.holds(&second));
      call();
      EXPECT_TRUE(sut.clear(&second));
    });
    EXPECT_TRUE(user.ends());
    EXPECT_FALSE(replacer->isDone());
  };
  sut.set(&first);
  call();
  ASSERT_TRUE(replacer->ends());
  EXPECT_EQ(second.calls, 1U);
}

TEST_F(ListenerSlot, IsNeverCalledForAListenerThatLeftWhereThreadsReplaceAndCall) {
  struct Checked {
    std::atomic<bool> isAway{true};
    std::atomic<unsigned int> callsWhileAway{0};
  };
  LinkAppListenerSlot<Checked> slot;
  Checked listeners[2];
  std::atomic<bool> isOver{false};
  const Worker caller([&] {
    while (!isOver) {
      slot.call([](Checked& listener) { listener.callsWhileAway += listener.isAway ? 1U : 0U; });
    }
  });
  for (unsigned int i = 0; i < 1000; ++i) {
    Checked& next = listeners[i % 2];
    Checked& former = listeners[(i + 1) % 2];
    next.isAway = false;
    slot.set(&next);
    former.isAway = true;
  }
  isOver = true;
  EXPECT_TRUE(caller.ends());
  EXPECT_EQ(listeners[0].callsWhileAway, 0U);
  EXPECT_EQ(listeners[1].callsWhileAway, 0U);
}

}  // namespace
