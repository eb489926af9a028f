#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <set>
#include <thread>
#include <vector>

#include "VQFramework/Singleton/VQSingleton.h"
#include "tests/support/child.h"
#include "tests/support/roles.h"

namespace {

// One kind for each test: an instance outlives the test that made it.
template <int Test>
struct Counted {
  Counted() { ++made; }
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

constexpr int kRacers = 8;

// Its constructor ends when everybody is on the way to the instance.
struct Contended {
  Contended() {
    ++made;
    while (arrived < kRacers) {
      std::this_thread::yield();
    }
  }
  static std::atomic<int> arrived;
  static std::atomic<int> made;
};

std::atomic<int> Contended::arrived{0};
std::atomic<int> Contended::made{0};

TEST(SingletonTest, EightRacingThreadsGetTheSameInstance) {
  std::vector<std::future<Contended*>> results;
  results.reserve(kRacers);
  for (int i = 0; i < kRacers; ++i) {
    results.push_back(std::async(std::launch::async, [] {
      ++Contended::arrived;
      return VQSingleton<Contended>::getInstance();
    }));
  }
  std::set<Contended*> instances;
  for (std::future<Contended*>& result : results) {
    instances.insert(result.get());
  }
  EXPECT_EQ(instances.size(), 1U);
  EXPECT_EQ(instances.count(nullptr), 0U);
  EXPECT_EQ(Contended::made, 1);
}

TEST(SingletonTest, PeekingMakesNoInstance) {
  EXPECT_EQ(VQSingleton<Counted<2>>::peekInstance(), nullptr);
  EXPECT_EQ(Counted<2>::made, 0);
}

TEST(SingletonTest, PeekingFindsTheInstance) {
  Counted<3>* const instance = VQSingleton<Counted<3>>::getInstance();
  EXPECT_EQ(VQSingleton<Counted<3>>::peekInstance(), instance);
}

TEST(SingletonTest, DestroyEndsTheInstance) {
  VQSingleton<Counted<4>>::getInstance();
  VQSingleton<Counted<4>>::destroy();
  EXPECT_EQ(VQSingleton<Counted<4>>::peekInstance(), nullptr);
  EXPECT_EQ(Counted<4>::gone, 1);
}

TEST(SingletonTest, DestroyWithoutAnInstanceDoesNothing) {
  VQSingleton<Counted<5>>::destroy();
  EXPECT_EQ(Counted<5>::gone, 0);
}

TEST(SingletonTest, ASecondDestroyDoesNothing) {
  VQSingleton<Counted<6>>::getInstance();
  VQSingleton<Counted<6>>::destroy();
  VQSingleton<Counted<6>>::destroy();
  EXPECT_EQ(Counted<6>::gone, 1);
}

struct AsksWhileItEnds {
  ~AsksWhileItEnds() {
    if (!hasAsked.exchange(true)) {
      // On another thread, which a lock would keep out.
      std::async(std::launch::async, [] {
        peeked = VQSingleton<AsksWhileItEnds>::peekInstance();
        VQSingleton<AsksWhileItEnds>::getInstance();
      }).get();
    }
  }
  static std::atomic<bool> hasAsked;
  static std::atomic<AsksWhileItEnds*> peeked;
};

std::atomic<bool> AsksWhileItEnds::hasAsked{false};
std::atomic<AsksWhileItEnds*> AsksWhileItEnds::peeked{reinterpret_cast<AsksWhileItEnds*>(1)};

TEST(SingletonTest, TheInstanceIsGoneAndNoLockHeldWhileItsDestructorRuns) {
  VQSingleton<AsksWhileItEnds>::getInstance();
  VQSingleton<AsksWhileItEnds>::destroy();
  EXPECT_EQ(AsksWhileItEnds::peeked, nullptr);
}

struct TellsItsEnd {
  ~TellsItsEnd() { test_support::say("ended"); }
};

TEST_ROLE(uses_an_instance) {
  VQSingleton<TellsItsEnd>::getInstance();
  test_support::say("exits");
  return 0;
}

TEST(SingletonTest, TheInstanceEndsWhenTheProcessExits) {
  test_support::Child process("uses_an_instance");
  EXPECT_TRUE(process.expect("exits"));
  EXPECT_TRUE(process.expect("ended"));
  EXPECT_EQ(process.finish(), 0);
}

}  // namespace
