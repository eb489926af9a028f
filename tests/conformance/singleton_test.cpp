// Singletons, and what becomes of them when a process exits: each of those tests looks at a process of its own.
#include "VQFramework/Singleton/VQSingleton.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "tests/conformance/worker.h"
#include "tests/support/child.h"
#include "tests/support/roles.h"

namespace {

using conformance::Gate;
using conformance::Worker;
using test_support::Child;
using test_support::say;
using testing::ElementsAre;

// One kind for each test: an instance outlives the test that made it.
template <int Test>
struct Counted {
  Counted() {
    std::this_thread::yield();  // let the others arrive meanwhile
    ++made;
  }
  ~Counted() { ++gone; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;

  static std::atomic<int> made;
  static std::atomic<int> gone;
};

template <int Test>
std::atomic<int> Counted<Test>::made{0};
template <int Test>
std::atomic<int> Counted<Test>::gone{0};

TEST(Singleton, IsMadeAtTheFirstUseAndOnce) {
  using Sut = Counted<1>;
  EXPECT_EQ(Sut::made, 0);
  Sut* const instance = VQSingleton<Sut>::getInstance();
  EXPECT_NE(instance, nullptr);
  EXPECT_EQ(VQSingleton<Sut>::getInstance(), instance);
  EXPECT_EQ(Sut::made, 1);
}

TEST(Singleton, IsOneForThreadsThatAskAtTheSameTime) {
  using Sut = Counted<2>;
  Gate start;
  std::atomic<Sut*> seen[4] = {};
  {
    const auto ask = [&start](std::atomic<Sut*>& result) {
      start.pass();
      result = VQSingleton<Sut>::getInstance();
    };
    const Worker one([&] { ask(seen[0]); });
    const Worker two([&] { ask(seen[1]); });
    const Worker three([&] { ask(seen[2]); });
    const Worker four([&] { ask(seen[3]); });
    start.open();
  }
  EXPECT_EQ(Sut::made, 1);
  for (const std::atomic<Sut*>& instance : seen) {
    EXPECT_EQ(instance, VQSingleton<Sut>::peekInstance());
  }
}

TEST(Singleton, IsNotMadeByPeeking) {
  EXPECT_EQ(VQSingleton<Counted<3>>::peekInstance(), nullptr);
  EXPECT_EQ(Counted<3>::made, 0);
}

TEST(Singleton, EndsWhenItIsDestroyedAndOnce) {
  using Sut = Counted<4>;
  VQSingleton<Sut>::getInstance();
  VQSingleton<Sut>::destroy();
  VQSingleton<Sut>::destroy();
  EXPECT_EQ(Sut::gone, 1);
  EXPECT_EQ(VQSingleton<Sut>::peekInstance(), nullptr);
}

struct PeeksAtItsEnd {
  ~PeeksAtItsEnd() {
    // On another thread, which a lock would keep out.
    const Worker other([] { peeked = VQSingleton<PeeksAtItsEnd>::peekInstance(); });
    EXPECT_TRUE(other.ends());
  }
  static std::atomic<PeeksAtItsEnd*> peeked;
};

std::atomic<PeeksAtItsEnd*> PeeksAtItsEnd::peeked{reinterpret_cast<PeeksAtItsEnd*>(1)};

TEST(Singleton, CannotBeSeenAnyMoreWhileItsDestructorRuns) {
  VQSingleton<PeeksAtItsEnd>::getInstance();
  VQSingleton<PeeksAtItsEnd>::destroy();
  EXPECT_EQ(PeeksAtItsEnd::peeked, nullptr);
}

struct TellsItsEnd {
  ~TellsItsEnd() { say("instance ended"); }
};

void tellFirst() {
  say("first");
}
void tellSecond() {
  say("second");
}
void tellThird() {
  say("third");
}

std::vector<std::string> linesOf(const std::string& role) {
  Child process(role);
  std::vector<std::string> lines;
  while (const auto line = process.nextLine()) {
    lines.push_back(*line);
  }
  EXPECT_EQ(process.finish(), 0);
  return lines;
}

TEST_ROLE(conformance_uses_an_instance) {
  VQSingleton<TellsItsEnd>::getInstance();
  say("exits");
  return 0;
}

TEST(SingletonFinalizer, EndsAnInstanceWhenTheProcessExits) {
  EXPECT_THAT(linesOf("conformance_uses_an_instance"), ElementsAre("exits", "instance ended"));
}

TEST_ROLE(conformance_adds_three_functions) {
  VQSingletonFinalizer::addDestroyFunc(&tellFirst);
  VQSingletonFinalizer::addDestroyFunc(&tellSecond);
  VQSingletonFinalizer::addDestroyFunc(nullptr);
  VQSingletonFinalizer::addDestroyFunc(&tellThird);
  return 0;
}

TEST(SingletonFinalizer, CallsTheNewestFunctionFirstAndIgnoresNull) {
  EXPECT_THAT(linesOf("conformance_adds_three_functions"), ElementsAre("third", "second", "first"));
}

TEST_ROLE(conformance_adds_on_another_thread_at_exit) {
  VQSingletonFinalizer::addDestroyFunc(&tellFirst);
  VQSingletonFinalizer::addDestroyFunc([] {
    std::thread([] { VQSingletonFinalizer::addDestroyFunc(&tellSecond); }).join();
    say("added");
  });
  return 0;
}

TEST(SingletonFinalizer, HoldsNoLockWhileAFunctionRunsAndCallsWhatIsAddedMeanwhile) {
  EXPECT_THAT(linesOf("conformance_adds_on_another_thread_at_exit"), ElementsAre("added", "second", "first"));
}

}  // namespace
