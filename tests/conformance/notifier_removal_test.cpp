// Observers that go, and notifiers that go, also while messages are being delivered.
#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "VQFramework/Observer/VQSubject.h"
#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "tests/conformance/Framework.h"
#include "tests/conformance/recorder.h"
#include "tests/conformance/worker.h"

namespace {

using conformance::drain;
using conformance::Gate;
using conformance::Recorder;
using conformance::Worker;
using testing::ElementsAre;

constexpr unsigned int kA = 0x7C000011U;
constexpr unsigned int kB = 0x7C000012U;

bool add(VQSharedMemNotifier& notifier, Recorder& recorder, unsigned int id) {
  return notifier.AddObserver(recorder.observer(), &id, 1);
}

bool notify(VQSharedMemNotifier& notifier, unsigned int id, const std::string& payload = "") {
  return notifier.NotifyDataUpdate(id, payload.data(), static_cast<unsigned int>(payload.size()));
}

class NotifierRemovalTest : public testing::Test {
 protected:
  Recorder first;
  Recorder second;
  VQSharedMemNotifier sut{false};
  VQSharedMemNotifier another{false};
};

TEST_F(NotifierRemovalTest, TakesEveryRegistrationOfTheObserverBack) {
  add(sut, first, kA);
  add(sut, first, kB);
  add(sut, second, kA);
  EXPECT_TRUE(sut.RemoveObserver(first.observer()));
  EXPECT_FALSE(sut.RemoveObserver(first.observer()));
  notify(sut, kA);
  notify(sut, kB);
  drain();
  EXPECT_EQ(first.count(), 0U);
  EXPECT_EQ(second.count(), 1U);
}

TEST_F(NotifierRemovalTest, LeavesTheObserversRegistrationAtAnotherNotifierAlone) {
  add(sut, first, kA);
  add(another, first, kA);
  sut.RemoveObserver(first.observer());
  notify(sut, kA);
  drain();
  EXPECT_EQ(first.count(), 1U);
}

TEST_F(NotifierRemovalTest, MayBeFollowedByAnotherAddition) {
  add(sut, first, kA);
  sut.RemoveObserver(first.observer());
  notify(sut, kA, "missed");
  EXPECT_TRUE(add(sut, first, kA));
  notify(sut, kA, "taken");
  drain();
  EXPECT_THAT(first.payloads(), ElementsAre("taken"));
}

TEST_F(NotifierRemovalTest, OfADestroyedObserverHappensByItselfAtEveryNotifier) {
  add(sut, first, kA);
  add(another, first, kA);
  add(sut, second, kA);
  first.destroyObserver();
  notify(sut, kA);
  drain();
  EXPECT_EQ(first.count(), 0U);
  EXPECT_EQ(second.count(), 1U);
}

TEST_F(NotifierRemovalTest, OfEveryObserverHappensByItselfWhereTheNotifierIsDestroyed) {
  {
    VQSharedMemNotifier passing(false);
    add(passing, first, kA);
    add(passing, second, kA);
    add(another, second, kA);
  }
  notify(sut, kA);
  drain();
  EXPECT_EQ(first.count(), 0U);
  EXPECT_EQ(second.count(), 1U);
}

TEST_F(NotifierRemovalTest, MayHappenInsideTheObserversOwnCall) {
  first.then = [this] { EXPECT_TRUE(sut.RemoveObserver(first.observer())); };
  add(sut, first, kA);
  notify(sut, kA);
  notify(sut, kA);
  drain();
  EXPECT_EQ(first.count(), 1U);
}

TEST_F(NotifierRemovalTest, InsideACallKeepsTheSameMessageFromTheRemovedObserver) {
  first.then = [this] { sut.RemoveObserver(second.observer()); };
  add(sut, first, kA);
  add(sut, second, kA);
  notify(sut, kA);
  drain();
  EXPECT_EQ(second.count(), 0U);
}

TEST_F(NotifierRemovalTest, MayHappenByDestroyingTheObserverInsideItsOwnCall) {
  first.then = [this] { first.destroyObserver(); };
  add(sut, first, kA);
  add(sut, second, kA);
  notify(sut, kA);
  notify(sut, kA);
  drain();
  EXPECT_EQ(first.count(), 1U);
  EXPECT_EQ(second.count(), 2U);
}

TEST_F(NotifierRemovalTest, MayHappenByDestroyingTheNotifierInsideACallOfAnother) {
  auto passing = std::make_unique<VQSharedMemNotifier>(false);
  first.then = [&passing] { passing.reset(); };
  add(sut, first, kA);
  add(*passing, second, kA);
  notify(sut, kA);
  drain();
  EXPECT_EQ(passing, nullptr);
  EXPECT_EQ(second.count(), 0U);
}

TEST_F(NotifierRemovalTest, MayLeaveNothingRegisteredInsideACall) {
  auto passing = std::make_unique<VQSharedMemNotifier>(false);
  Gate isGone;
  first.then = [&] {
    sut.RemoveObserver(first.observer());
    passing.reset();
    isGone.open();
  };
  add(*passing, second, kB);
  add(sut, first, kA);
  notify(sut, kA);
  const Worker delivery(&drain);
  isGone.pass();
  EXPECT_TRUE(delivery.ends());
  first.then = nullptr;
  EXPECT_TRUE(add(sut, first, kA));
  notify(sut, kA);
  drain();
  EXPECT_EQ(first.count(), 2U);
}

// An observer whose call lasts until the test opens the gate, and then does what the test wants.
class LongDelivery {
 public:
  explicit LongDelivery(
      VQSharedMemNotifier& notifier, std::function<void()> inCall = [] {})
      : notifier_(notifier) {
    recorder.then = [this, inCall] {
      began_.open();
      gate.pass();
      inCall();
      hasEnded = true;
    };
    add(notifier, recorder, kA);
  }
  void start() {
    notify(notifier_, kA);
    thread = std::make_unique<Worker>(&drain);
    began_.pass();
  }
  void remove() { notifier_.RemoveObserver(recorder.observer()); }

  Recorder recorder;
  Gate gate;
  std::atomic<bool> hasEnded{false};
  std::unique_ptr<Worker> thread;

 private:
  VQSharedMemNotifier& notifier_;
  Gate began_;
};

TEST_F(NotifierRemovalTest, OnAnotherThreadReturnsOnlyWhenTheRunningCallHasEnded) {
  LongDelivery delivery(sut);
  delivery.start();
  bool hadEnded = false;
  const Worker remover([&] {
    delivery.remove();
    hadEnded = delivery.hasEnded;
  });
  EXPECT_TRUE(remover.isHeldUp());
  delivery.gate.open();
  EXPECT_TRUE(remover.ends());
  EXPECT_TRUE(hadEnded);
}

TEST_F(NotifierRemovalTest, ByDestroyingTheObserverWaitsForTheRunningCall) {
  LongDelivery delivery(sut);
  delivery.start();
  bool hadEnded = false;
  const Worker destroyer([&] {
    delivery.recorder.destroyObserver();
    hadEnded = delivery.hasEnded;
  });
  EXPECT_TRUE(destroyer.isHeldUp());
  delivery.gate.open();
  EXPECT_TRUE(destroyer.ends());
  EXPECT_TRUE(hadEnded);
}

TEST_F(NotifierRemovalTest, ByDestroyingTheNotifierWaitsForTheRunningCall) {
  auto passing = std::make_unique<VQSharedMemNotifier>(false);
  LongDelivery delivery(*passing);
  delivery.start();
  bool hadEnded = false;
  const Worker destroyer([&] {
    passing.reset();
    hadEnded = delivery.hasEnded;
  });
  EXPECT_TRUE(destroyer.isHeldUp());
  delivery.gate.open();
  EXPECT_TRUE(destroyer.ends());
  EXPECT_TRUE(hadEnded);
}

TEST_F(NotifierRemovalTest, OfAnotherObserverDoesNotWaitForTheRunningCall) {
  LongDelivery delivery(sut);
  add(sut, second, kA);
  delivery.start();
  EXPECT_TRUE(sut.RemoveObserver(second.observer()));
  EXPECT_FALSE(delivery.hasEnded);
  delivery.gate.open();
  EXPECT_TRUE(delivery.thread->ends());
  EXPECT_EQ(second.count(), 0U);
}

TEST_F(NotifierRemovalTest, ByADeliveryAndAThreadThatRemoveEachOthersRunningObserverDoesNotDeadlock) {
  VQSubject subject;
  Gate isInside;
  Gate go;
  LongDelivery delivery(sut, [&] { subject.RemoveObserver(first.observer()); });
  first.then = [&] {
    isInside.open();
    go.pass();
    delivery.remove();
  };
  subject.AddObserver(first.observer());
  delivery.start();
  const Worker notifying([&subject] { subject.NotifyObserver(1, nullptr, 0, 0); });
  isInside.pass();
  go.open();
  delivery.gate.open();
  EXPECT_TRUE(notifying.ends());
  EXPECT_TRUE(delivery.thread->ends());
}

TEST_F(NotifierRemovalTest, LetsPostersGoOnWhileACallRuns) {
  LongDelivery delivery(sut);
  delivery.start();
  for (int i = 0; i < 100; ++i) {
    EXPECT_TRUE(notify(sut, kB));
  }
  add(sut, first, kB);
  notify(sut, kB, "late");
  delivery.gate.open();
  EXPECT_TRUE(delivery.thread->ends());
  drain();
  EXPECT_THAT(first.payloads(), ElementsAre("late"));
}

TEST_F(NotifierRemovalTest, MayHappenWhileOtherThreadsPostAndAdd) {
  constexpr unsigned int kRounds = 200;
  add(sut, second, kB);
  {
    const auto comeAndGo = [](VQSharedMemNotifier& notifier) {
      for (unsigned int i = 0; i < kRounds; ++i) {
        Recorder passing;
        add(notifier, passing, kA);
        notify(notifier, kA);
        if (i % 2 == 0) {
          notifier.RemoveObserver(passing.observer());
        }
      }
    };
    const Worker one([&] { comeAndGo(sut); });
    const Worker two([&] { comeAndGo(another); });
    const Worker posting([this] {
      for (unsigned int i = 0; i < kRounds; ++i) {
        notify(sut, kB);
      }
    });
  }
  drain();
  EXPECT_EQ(second.count(), kRounds);
}

TEST_F(NotifierRemovalTest, OfTheLastObserverOverAndOverLosesNoMessageOfTheNext) {
  for (unsigned int i = 0; i < 200; ++i) {
    Recorder passing;
    add(sut, passing, kA);
    notify(sut, kA);
    drain();
    EXPECT_EQ(passing.count(), 1U);
    sut.RemoveObserver(passing.observer());
  }
}

}  // namespace
