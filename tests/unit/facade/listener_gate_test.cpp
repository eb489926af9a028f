#include "LinkAppCommon/private/ListenerGate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <thread>
#include <utility>

#include "tests/conformance/worker.h"

namespace {

using conformance::Gate;
using conformance::Worker;

// A call through the gate on a thread of its own that lasts until the test lets it end.
class LongPass {
 public:
  // `inCall` runs within the call, after it was let go.
  explicit LongPass(
      ListenerGate& gate, std::function<void()> inCall = [] {})
      : thread_([this, &gate, inCall = std::move(inCall)] {
          gate.pass([&] {
            began_.open();
            mayEnd_.pass();
            inCall();
            hasEnded_ = true;
          });
        }) {
    began_.pass();
  }
  ~LongPass() { mayEnd_.open(); }
  LongPass(const LongPass&) = delete;
  LongPass& operator=(const LongPass&) = delete;

  void letEnd() { mayEnd_.open(); }
  bool hasEnded() const { return hasEnded_; }
  const Worker& thread() const { return thread_; }

 private:
  Gate began_;
  Gate mayEnd_;
  std::atomic<bool> hasEnded_{false};
  const Worker thread_;
};

TEST(ListenerGate, MakesTheCallEveryTimeOnTheCallersThread) {
  ListenerGate sut;
  unsigned int calls = 0;
  const std::thread::id self = std::this_thread::get_id();
  for (unsigned int i = 1; i <= 3; ++i) {
    sut.pass([&] {
      ++calls;
      EXPECT_EQ(std::this_thread::get_id(), self);
    });
    EXPECT_EQ(calls, i) << "before it returns";
  }
}

TEST(ListenerGate, MakesNoCallOnceItIsClosed) {
  ListenerGate sut;
  unsigned int calls = 0;
  sut.close();
  sut.pass([&calls] { ++calls; });
  sut.close();
  sut.pass([&calls] { ++calls; });
  EXPECT_EQ(calls, 0U);
}

TEST(ListenerGate, LetsACallMakeAnotherThroughIt) {
  ListenerGate sut;
  unsigned int calls = 0;
  sut.pass([&] {
    ++calls;
    sut.pass([&calls] { ++calls; });
  });
  EXPECT_EQ(calls, 2U);
}

TEST(ListenerGate, LetsSeveralThreadsThroughAtOnce) {
  ListenerGate sut;
  const LongPass first(sut);
  const LongPass second(sut);  // began while the first runs
  EXPECT_FALSE(first.hasEnded());
  EXPECT_FALSE(second.hasEnded());
}

TEST(ListenerGate, ClosedWithinItsOwnCallReturnsAtOnceAndMakesNoCallAfterwards) {
  ListenerGate sut;
  unsigned int calls = 0;
  sut.pass([&] {
    sut.close();
    ++calls;
    sut.pass([&calls] { calls += 10; });
  });
  sut.pass([&calls] { calls += 100; });
  EXPECT_EQ(calls, 1U);
}

TEST(ListenerGate, ClosedWithinACallThatAnotherGatesCallMadeReturnsAtOnce) {
  ListenerGate sut;
  ListenerGate inner;
  bool isClosed = false;
  sut.pass([&] {
    inner.pass([&] {
      sut.close();
      isClosed = true;
    });
  });
  EXPECT_TRUE(isClosed);
}

TEST(ListenerGate, ClosedByAnotherThreadWaitsForTheRunningCall) {
  ListenerGate sut;
  LongPass call(sut);
  std::atomic<bool> hadEnded{false};
  const Worker closer([&] {
    sut.close();
    hadEnded = call.hasEnded();
  });
  EXPECT_TRUE(closer.isHeldUp());
  call.letEnd();
  EXPECT_TRUE(closer.ends());
  EXPECT_TRUE(hadEnded);
}

TEST(ListenerGate, ClosedByAnotherThreadWaitsForEveryRunningCall) {
  ListenerGate sut;
  LongPass first(sut);
  LongPass second(sut);
  std::atomic<bool> hadEnded{false};
  const Worker closer([&] {
    sut.close();
    hadEnded = first.hasEnded() && second.hasEnded();
  });
  EXPECT_TRUE(closer.isHeldUp());
  first.letEnd();
  EXPECT_TRUE(first.thread().ends());
  EXPECT_TRUE(closer.isHeldUp());
  second.letEnd();
  EXPECT_TRUE(closer.ends());
  EXPECT_TRUE(hadEnded);
}

TEST(ListenerGate, ClosedASecondTimeWaitsToo) {
  ListenerGate sut;
  LongPass call(sut);
  const Worker first([&sut] { sut.close(); });
  EXPECT_TRUE(first.isHeldUp());
  std::atomic<bool> hadEnded{false};
  const Worker second([&] {
    sut.close();
    hadEnded = call.hasEnded();
  });
  EXPECT_TRUE(second.isHeldUp());
  call.letEnd();
  EXPECT_TRUE(first.ends() && second.ends());
  EXPECT_TRUE(hadEnded);
}

TEST(ListenerGate, ClosedWithinItsOwnCallWaitsForAnotherThreadsCall) {
  ListenerGate sut;
  LongPass other(sut);
  std::atomic<bool> hadEnded{false};
  const Worker closer([&] {
    sut.pass([&] {
      sut.close();
      hadEnded = other.hasEnded();
    });
  });
  EXPECT_TRUE(closer.isHeldUp());
  other.letEnd();
  EXPECT_TRUE(closer.ends());
  EXPECT_TRUE(hadEnded);
}

TEST(ListenerGate, MakesNoNewCallWhileAnotherThreadWaitsInClose) {
  ListenerGate sut;
  LongPass call(sut);
  const Worker closer([&sut] { sut.close(); });
  EXPECT_TRUE(closer.isHeldUp());
  bool isCalled = false;
  sut.pass([&isCalled] { isCalled = true; });
  EXPECT_FALSE(isCalled);
  EXPECT_FALSE(closer.isDone());
  call.letEnd();
}

TEST(ListenerGate, DoesNotWaitForCallsThroughAnotherGate) {
  ListenerGate sut;
  ListenerGate other;
  const LongPass call(other);
  const Worker closer([&sut] { sut.close(); });
  EXPECT_TRUE(closer.ends());
  EXPECT_FALSE(call.hasEnded());
}

TEST(ListenerGate, TwoThatCloseEachOtherWithinTheirCallsDoNotHang) {
  ListenerGate first;
  ListenerGate second;
  LongPass inFirst(first, [&second] { second.close(); });
  LongPass inSecond(second, [&first] { first.close(); });
  inFirst.letEnd();
  inSecond.letEnd();
  EXPECT_TRUE(inFirst.thread().ends());
  EXPECT_TRUE(inSecond.thread().ends());
}

TEST(ListenerGate, ACircleOfThreeThatCloseTheNextOneDoesNotHang) {
  ListenerGate gates[3];
  std::unique_ptr<LongPass> calls[3];
  for (unsigned int i = 0; i < 3; ++i) {
    calls[i] = std::make_unique<LongPass>(gates[i], [&gates, i] { gates[(i + 1) % 3].close(); });
  }
  for (const auto& call : calls) {
    call->letEnd();
  }
  for (const auto& call : calls) {
    EXPECT_TRUE(call->thread().ends());
  }
}

TEST(ListenerGate, ClosedByAThreadOutsideACircleWaitsForTheCallInIt) {
  ListenerGate first;
  ListenerGate second;
  Gate end;
  LongPass inFirst(first, [&] {
    second.close();  // held up, or passes since the other waits for this
    end.pass();
  });
  LongPass inSecond(second, [&first] { first.close(); });
  std::atomic<bool> hadEnded{false};
  const Worker outside([&] {
    first.close();
    hadEnded = inFirst.hasEnded();
  });
  EXPECT_TRUE(outside.isHeldUp());
  inSecond.letEnd();
  EXPECT_TRUE(inSecond.thread().isHeldUp());
  inFirst.letEnd();
  EXPECT_TRUE(outside.isHeldUp());
  end.open();
  EXPECT_TRUE(outside.ends());
  EXPECT_TRUE(hadEnded);
}

TEST(ListenerGate, UnderCallsOfTwoThreadsMakesNoneAfterItIsClosed) {
  for (unsigned int round = 0; round < 200; ++round) {
    ListenerGate sut;
    std::atomic<bool> isClosed{false};
    std::atomic<bool> isOver{false};
    std::atomic<unsigned int> calls{0};
    std::atomic<unsigned int> lateCalls{0};
    const auto passAgainAndAgain = [&] {
      while (!isOver) {
        sut.pass([&] {
          ++calls;
          lateCalls += isClosed ? 1U : 0U;
        });
      }
    };
    const Worker first(passAgainAndAgain);
    const Worker second(passAgainAndAgain);
    while (calls < 10) {
      std::this_thread::yield();
    }
    sut.close();
    isClosed = true;
    const unsigned int before = calls;
    isOver = true;
    EXPECT_TRUE(first.ends() && second.ends());
    EXPECT_EQ(lateCalls, 0U);
    ASSERT_EQ(calls, before);
  }
}

}  // namespace
