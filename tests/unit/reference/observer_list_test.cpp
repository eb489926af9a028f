// The list of observers from inside: walks without a lock beside threads that change it.
#include "platform/inprocess/observer_list.h"

#include <gmock/gmock.h>
#include <pthread.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "VQFramework/Observer/VQObserver.h"
#include "tests/conformance/worker.h"
#include "tests/support/wait_until.h"

namespace {

using conformance::Gate;
using conformance::Worker;
using test_support::waitUntil;
using vqframework::ObserverList;

// Fails where it is called after it was taken off.
class Guest {
 public:
  explicit Guest(ObserverList& list) : list_(list), observer_(this, &Guest::on) { list_.add(&observer_); }
  ~Guest() {
    list_.remove(&observer_);
    isGone_ = true;
  }
  Guest(const Guest&) = delete;
  Guest& operator=(const Guest&) = delete;

  std::atomic<int> calls{0};

 private:
  unsigned int on(unsigned int /*id*/, void* /*data*/, unsigned int /*size*/) {
    EXPECT_FALSE(isGone_);
    ++calls;
    return 0;
  }

  ObserverList& list_;
  VQObserver<Guest> observer_;
  std::atomic<bool> isGone_{false};
};

// With the kernel's fences and without.
class ObserverListTest : public testing::TestWithParam<bool> {
 public:
  ObserverListTest() : before_(vqframework::kernelFences) { vqframework::kernelFences = before_ && GetParam(); }
  ~ObserverListTest() override { vqframework::kernelFences = before_; }

 private:
  const bool before_;
};

TEST_P(ObserverListTest, ObserversComeAndGoWhileTwoThreadsWalk) {
  constexpr int kVisits = 2000;
  const std::shared_ptr<ObserverList> sut = std::make_shared<ObserverList>();
  const Guest resident(*sut);
  std::atomic<bool> isOver{false};
  const auto walk = [&] {
    while (!isOver) {
      sut->call(1, nullptr, 0);
    }
  };
  const auto visit = [&] {
    for (int i = 0; i < kVisits; ++i) {
      const Guest guest(*sut);
      const Guest another(*sut);
    }
  };
  std::thread walkers[] = {std::thread(walk), std::thread(walk)};
  std::thread visitors[] = {std::thread(visit), std::thread(visit)};
  for (std::thread& visitor : visitors) {
    visitor.join();
  }
  EXPECT_TRUE(waitUntil([&] { return resident.calls > 0; }));
  isOver = true;
  for (std::thread& walker : walkers) {
    walker.join();
  }
  EXPECT_EQ(sut->registrations().size(), 1U);
}

TEST_P(ObserverListTest, AWalkWithinAWalkWithinAWalkFindsItsWayBack) {
  const std::shared_ptr<ObserverList> sut = std::make_shared<ObserverList>();
  struct Nested {
    ObserverList& list;
    int depth = 0;
    int calls = 0;
    unsigned int on(unsigned int id, void* data, unsigned int size) {
      ++calls;
      if (++depth < 40) {
        list.call(id, data, size);
      }
      --depth;
      return 0;
    }
  } nested{*sut};
  VQObserver<Nested> observer(&nested, &Nested::on);
  sut->add(&observer);
  sut->call(1, nullptr, 0);
  EXPECT_EQ(nested.calls, 40);
  sut->call(1, nullptr, 0);
  EXPECT_EQ(nested.calls, 80);
}

TEST_P(ObserverListTest, AThreadTakesOverWhatAnEndedOneLeft) {
  const std::shared_ptr<ObserverList> sut = std::make_shared<ObserverList>();
  const Guest guest(*sut);
  const auto count = [] {
    int nodes = 0;
    for (auto* node = vqframework::newestThreadNode(); node != nullptr; node = node->older) {
      ++nodes;
    }
    return nodes;
  };
  const auto once = [&] { std::thread([&] { sut->call(1, nullptr, 0); }).join(); };
  once();
  const int before = count();
  for (int i = 0; i < 20; ++i) {
    once();
  }
  EXPECT_EQ(count(), before);
  EXPECT_EQ(guest.calls, 21);
}

TEST_P(ObserverListTest, ACallThatEndsItsThreadKeepsNoRemoverWaiting) {
  const std::shared_ptr<ObserverList> sut = std::make_shared<ObserverList>();
  struct Last {
    Gate began;
    Gate mayEnd;
    unsigned int on(unsigned int /*id*/, void* /*data*/, unsigned int /*size*/) {
      began.open();
      mayEnd.pass();
      pthread_exit(nullptr);
    }
  } last;
  VQObserver<Last> observer(&last, &Last::on);
  sut->add(&observer);
  std::thread walker([&] { sut->call(1, nullptr, 0); });
  last.began.pass();
  const Worker remover([&] { sut->remove(&observer); });
  EXPECT_TRUE(remover.isHeldUp());

  last.mayEnd.open();

  EXPECT_TRUE(remover.ends());
  walker.join();
  const Guest another(*sut);
  sut->call(1, nullptr, 0);  // lets the remover go in any case
}

INSTANTIATE_TEST_SUITE_P(, ObserverListTest, testing::Bool(), [](const testing::TestParamInfo<bool>& way) {
  return way.param ? "WithKernelFences" : "WithFencesOfItsOwn";
});

}  // namespace
