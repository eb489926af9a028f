// Removing an observer that another thread is calling.
#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <memory>

#include "VQFramework/Observer/VQSubject.h"
#include "tests/conformance/recorder.h"
#include "tests/conformance/worker.h"

namespace {

using conformance::Gate;
using conformance::Recorder;
using conformance::Worker;

// An observer whose call by a thread of its own lasts until the test opens the gate.
struct LongCall {
  LongCall() : LongCall([] {}) {}
  // `inCall` runs within the call, after the gate was opened.
  explicit LongCall(std::function<void()> inCall) {
    recorder.then = [this, inCall] {
      began.open();
      gate.pass();
      inCall();
      hasEnded = true;
    };
    subject.AddObserver(recorder.observer());
  }
  void start() {
    thread = std::make_unique<Worker>([this] { subject.NotifyObserver(1, nullptr, 0, 0); });
    began.pass();
  }
  void remove() { subject.RemoveObserver(recorder.observer()); }

  VQSubject subject;
  Recorder recorder;
  Gate began;
  Gate gate;
  std::atomic<bool> hasEnded{false};
  std::unique_ptr<Worker> thread;
};

TEST(RemovalFromASubject, ReturnsOnAnotherThreadOnlyWhenTheRunningCallHasEnded) {
  LongCall call;
  call.start();
  bool hadEnded = false;
  const Worker remover([&] {
    call.remove();
    hadEnded = call.hasEnded;
  });
  EXPECT_TRUE(remover.isHeldUp());
  call.gate.open();
  EXPECT_TRUE(remover.ends());
  EXPECT_TRUE(hadEnded);
}

TEST(RemovalFromASubject, WaitsTooWhereAnotherThreadHasTakenTheObserverOffAlready) {
  LongCall call;
  call.start();
  const Worker first([&call] { call.remove(); });
  EXPECT_TRUE(first.isHeldUp());
  bool hadEnded = false;
  const Worker second([&] {
    call.remove();
    hadEnded = call.hasEnded;
  });
  EXPECT_TRUE(second.isHeldUp());
  call.gate.open();
  EXPECT_TRUE(first.ends() && second.ends());
  EXPECT_TRUE(hadEnded);
}

TEST(RemovalFromASubject, DoesNotWaitForACallOfAnotherObserver) {
  LongCall call;
  Recorder another;
  call.subject.AddObserver(another.observer());
  call.start();
  EXPECT_TRUE(call.subject.RemoveObserver(another.observer()));
  call.gate.open();
}

TEST(RemovalFromASubject, KeepsNobodyElseFromAddingAndNotifyingWhileItWaits) {
  LongCall call;
  call.start();
  const Worker remover([&call] { call.remove(); });
  EXPECT_TRUE(remover.isHeldUp());
  Recorder another;
  call.subject.AddObserver(another.observer());
  call.subject.NotifyObserver(2, nullptr, 0, 0);
  EXPECT_EQ(another.count(), 1U);
  EXPECT_FALSE(remover.isDone());
  call.gate.open();
}

TEST(RemovalFromASubject, ReturnsAtOnceForACallOnTheCallersOwnStack) {
  VQSubject outer;
  VQSubject inner;
  Recorder first;
  Recorder second;
  bool isRemoved = false;
  second.then = [&] { isRemoved = outer.RemoveObserver(first.observer()); };
  first.then = [&] { inner.NotifyObserver(1, nullptr, 0, 0); };
  outer.AddObserver(first.observer());
  inner.AddObserver(second.observer());
  outer.NotifyObserver(1, nullptr, 0, 0);
  EXPECT_TRUE(isRemoved);
}

TEST(RemovalFromASubject, WaitsForAnotherThreadsCallEvenWhereOneIsOnTheCallersOwnStack) {
  VQSubject sut;
  Recorder shared;
  Gate isInBoth;
  Gate gate;
  std::atomic<bool> hasOtherEnded{false};
  std::atomic<bool> hadOtherEnded{false};
  std::atomic<int> calls{0};
  shared.then = [&] {
    if (++calls == 1) {  // the other thread's call
      isInBoth.open();
      gate.pass();
      hasOtherEnded = true;
      return;
    }
    sut.RemoveObserver(shared.observer());
    hadOtherEnded = hasOtherEnded.load();
  };
  sut.AddObserver(shared.observer());
  const Worker other([&sut] { sut.NotifyObserver(1, nullptr, 0, 0); });
  isInBoth.pass();
  const Worker remover([&sut] { sut.NotifyObserver(1, nullptr, 0, 0); });
  EXPECT_TRUE(remover.isHeldUp());
  gate.open();
  EXPECT_TRUE(remover.ends());
  EXPECT_TRUE(hadOtherEnded);
}

TEST(RemovalFromASubject, OfEachOthersRunningObserverByTwoThreadsDoesNotDeadlock) {
  std::unique_ptr<LongCall> first;
  std::unique_ptr<LongCall> second;
  first = std::make_unique<LongCall>([&second] { second->remove(); });
  second = std::make_unique<LongCall>([&first] { first->remove(); });
  first->start();
  second->start();
  first->gate.open();
  second->gate.open();
  EXPECT_TRUE(first->thread->ends());
  EXPECT_TRUE(second->thread->ends());
}

TEST(RemovalFromASubject, InACircleOfThreeThreadsDoesNotDeadlock) {
  std::unique_ptr<LongCall> calls[3];
  for (unsigned int i = 0; i < 3; ++i) {
    calls[i] = std::make_unique<LongCall>([&calls, i] { calls[(i + 1) % 3]->remove(); });
  }
  for (const auto& call : calls) {
    call->start();
  }
  for (const auto& call : calls) {
    call->gate.open();
  }
  for (const auto& call : calls) {
    EXPECT_TRUE(call->thread->ends());
  }
}

TEST(RemovalFromASubject, ByThreeThreadsInAChainWaitsForTheEndOfTheChain) {
  LongCall last;
  LongCall middle([&last] { last.remove(); });
  LongCall first([&middle] { middle.remove(); });
  for (LongCall* const call : {&last, &middle, &first}) {
    call->start();
  }
  middle.gate.open();
  EXPECT_TRUE(middle.thread->isHeldUp());
  bool hadMiddleEnded = false;
  const Worker remover([&] {
    middle.remove();
    hadMiddleEnded = middle.hasEnded && last.hasEnded;
  });
  first.gate.open();
  EXPECT_TRUE(first.thread->isHeldUp());
  EXPECT_TRUE(remover.isHeldUp());
  last.gate.open();
  EXPECT_TRUE(first.thread->ends() && remover.ends());
  EXPECT_TRUE(hadMiddleEnded);
}

TEST(RemovalFromASubject, ByAThreadOutsideACircleWaitsForTheCallInIt) {
  std::unique_ptr<LongCall> inner;
  std::unique_ptr<LongCall> outer;
  Gate end;
  outer = std::make_unique<LongCall>([&] {
    inner->remove();  // held up by the other, or passes since the other waits for this
    end.pass();
  });
  inner = std::make_unique<LongCall>([&outer] { outer->remove(); });
  outer->start();
  inner->start();
  bool hadEnded = false;
  const Worker outside([&] {
    outer->remove();
    hadEnded = outer->hasEnded;
  });
  EXPECT_TRUE(outside.isHeldUp());
  inner->gate.open();
  EXPECT_TRUE(inner->thread->isHeldUp());
  outer->gate.open();
  EXPECT_TRUE(outside.isHeldUp());
  end.open();
  EXPECT_TRUE(outside.ends());
  EXPECT_TRUE(hadEnded);
  // Both are still inside of the other's subject, which must not go before.
  EXPECT_TRUE(outer->thread->ends() && inner->thread->ends());
}

TEST(DestructionOfAnObserver, WaitsForACallOnAnotherThread) {
  LongCall call;
  call.start();
  bool hadEnded = false;
  const Worker destroyer([&] {
    call.recorder.destroyObserver();
    hadEnded = call.hasEnded;
  });
  EXPECT_TRUE(destroyer.isHeldUp());
  call.gate.open();
  EXPECT_TRUE(destroyer.ends());
  EXPECT_TRUE(hadEnded);
}

TEST(Subject, SurvivesThreadsThatAddRemoveAndNotifyAtTheSameTime) {
  constexpr int kRounds = 2000;
  VQSubject sut;
  std::atomic<bool> isOver{false};
  Recorder steady;
  sut.AddObserver(steady.observer());
  {
    const Worker notifier([&] {
      while (!isOver) {
        sut.NotifyObserver(1, nullptr, 0, 0);
      }
    });
    const auto comeAndGo = [&sut] {
      for (int i = 0; i < kRounds; ++i) {
        Recorder passing;
        sut.AddObserver(passing.observer());
        if (i % 2 == 0) {
          sut.RemoveObserver(passing.observer());
        }
      }
    };
    const Worker one(comeAndGo);
    const Worker two(comeAndGo);
    EXPECT_TRUE(one.ends() && two.ends());
    isOver = true;
  }
  const unsigned int before = steady.count();
  sut.NotifyObserver(1, nullptr, 0, 0);
  EXPECT_EQ(steady.count(), before + 1);
}

}  // namespace
