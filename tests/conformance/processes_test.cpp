// What only several processes show: locks that pass on at a death, messages that arrive everywhere in one order,
// segments that all see. Only for frameworks that know other processes.
#include <gmock/gmock.h>
#include <sys/mman.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "VQFramework/SharedMemory/VQSharedMemory.h"
#include "tests/conformance/recorder.h"
#include "tests/support/child.h"
#include "tests/support/roles.h"
#include "tests/support/wait_until.h"

namespace {

using conformance::Recorder;
using test_support::answer;
using test_support::Child;
using test_support::hear;
using test_support::say;
using test_support::waitUntil;

constexpr unsigned int kA = 0x7C000021U;
constexpr unsigned int kB = 0x7C000022U;
constexpr unsigned int kEnd = 0x7C000023U;
constexpr const char* kLockName = "conformance.shared";
constexpr const char* kSegmentName = "conformance.common";

bool notify(VQSharedMemNotifier& notifier, unsigned int id, const std::string& payload) {
  return notifier.NotifyDataUpdate(id, payload.data(), static_cast<unsigned int>(payload.size()));
}

// Takes the lock as often as its argument says, and gives it back once for each line that it hears.
TEST_ROLE(conformance_holder) VQ_NO_THREAD_SAFETY_ANALYSIS {
  const VQSharedSyncObject lock(kLockName);
  say("wants it");
  for (int i = std::stoi(args.at(0)); i > 0; --i) {
    lock.lock();
  }
  answer("has it");
  while (hear()) {
    lock.unlock();
    answer("gave it back");
  }
  return 0;
}

// Says what it was called with, until a message of kEnd.
TEST_ROLE(conformance_receiver) {
  std::atomic<bool> isOver{false};
  VQSharedMemNotifier notifier(false);
  Recorder recorder;
  std::string all;
  recorder.whileItsHere = [&all](const void* data, unsigned int size) {
    all += size == 0 ? "-" : std::string(static_cast<const char*>(data), size);
  };
  recorder.then = [&] { isOver = recorder.ids().back() == kEnd; };
  const unsigned int ids[] = {kA, kB, kEnd};
  say(notifier.AddObserver(recorder.observer(), ids, 3) ? "ready" : "refused");
  if (!waitUntil([&isOver] { return isOver.load(); })) {
    return 1;
  }
  notifier.RemoveObserver(recorder.observer());
  say(all);
  return 0;
}

// Posts as many messages as its second argument says, each with its own letter.
TEST_ROLE(conformance_poster) {
  VQSharedMemNotifier notifier(false);
  say("ready");
  hear();
  for (int i = std::stoi(args.at(1)); i > 0; --i) {
    notify(notifier, i % 2 == 0 ? kA : kB, args.at(0));
  }
  say("done");
  return 0;
}

TEST_ROLE(conformance_posts_for_ever) {
  VQSharedMemNotifier notifier(false);
  for (int i = 0;; ++i) {
    notify(notifier, kA, "0123456789");
    if (i == 100) {
      say("posts");
    }
  }
}

// Writes a number into the segment.
TEST_ROLE(conformance_writer) {
  const VQSharedMemory<std::uint32_t, 1> segment(kSegmentName);
  if (segment.mapping == MAP_FAILED) {
    return 1;
  }
  const VQSyncGuard guard(segment);
  say(segment.isCreator ? "created" : "attached");
  *reinterpret_cast<std::uint32_t*>(static_cast<char*>(segment.mapping) + 4) += 5;
  return 0;
}

class SharedLockOfProcesses : public testing::Test {
 protected:
  static void expectHasIt(Child& child) { ASSERT_TRUE(child.expect("wants it") && child.expectAnswer("has it")); }
  static void expectWaits(Child& child) {
    ASSERT_TRUE(waitUntil([&child] { return child.isAsleep(); }));
    EXPECT_FALSE(child.hasAnswered());
  }
};

TEST_F(SharedLockOfProcesses, KeepsAnotherProcessOutUntilTheOutermostUnlock) {
  Child holder("conformance_holder", {"2"});
  expectHasIt(holder);
  Child waiter("conformance_holder", {"1"});
  ASSERT_TRUE(waiter.expect("wants it"));
  expectWaits(waiter);
  EXPECT_EQ(holder.ask("unlock"), "gave it back");
  expectWaits(waiter);
  EXPECT_EQ(holder.ask("unlock"), "gave it back");
  EXPECT_TRUE(waiter.expectAnswer("has it"));
}

TEST_F(SharedLockOfProcesses, PassesOnToTheNextWhenItsHolderIsKilled) {
  Child holder("conformance_holder", {"1"});
  expectHasIt(holder);
  holder.kill();
  Child next("conformance_holder", {"1"});
  ASSERT_NO_FATAL_FAILURE(expectHasIt(next));
  EXPECT_EQ(next.ask("unlock"), "gave it back");
}

TEST_F(SharedLockOfProcesses, PassesOnToAWaiterWhenItsHolderIsKilledInside) {
  Child holder("conformance_holder", {"3"});
  expectHasIt(holder);
  Child waiter("conformance_holder", {"1"});
  ASSERT_TRUE(waiter.expect("wants it"));
  expectWaits(waiter);
  holder.kill();
  ASSERT_TRUE(waiter.expectAnswer("has it"));
  EXPECT_EQ(waiter.ask("unlock"), "gave it back");
}

TEST(NotifierOfProcesses, DeliversToEveryProcessItsSendersIncluded) {
  Child one("conformance_receiver");
  Child two("conformance_receiver");
  ASSERT_TRUE(one.expect("ready") && two.expect("ready"));
  VQSharedMemNotifier notifier(false);
  Recorder own;
  ASSERT_TRUE(notifier.AddObserver(own.observer(), &kA, 1));
  for (const unsigned int id : {kA, kB, kA}) {
    EXPECT_TRUE(notify(notifier, id, id == kA ? "a" : "b"));
  }
  EXPECT_TRUE(notify(notifier, kEnd, "."));
  EXPECT_TRUE(one.expect("aba."));
  EXPECT_TRUE(two.expect("aba."));
  EXPECT_TRUE(waitUntil([&own] { return own.count() == 2; }));
}

TEST(NotifierOfProcesses, DeliversInOneOrderToAllOfThem) {
  Child one("conformance_receiver");
  Child two("conformance_receiver");
  Child posters[] = {Child("conformance_poster", {"x", "400"}), Child("conformance_poster", {"y", "400"})};
  ASSERT_TRUE(one.expect("ready") && two.expect("ready"));
  for (Child& poster : posters) {
    ASSERT_TRUE(poster.expect("ready"));
  }
  for (Child& poster : posters) {
    poster.tell("go");
  }
  for (Child& poster : posters) {
    EXPECT_TRUE(poster.expect("done"));
  }
  VQSharedMemNotifier notifier(false);
  EXPECT_TRUE(notify(notifier, kEnd, "."));
  const std::string seen = one.nextLine().value_or("nothing");
  EXPECT_EQ(seen.size(), 801U);
  EXPECT_TRUE(two.expect(seen));
}

TEST(NotifierOfProcesses, GoesOnWhenAPosterIsKilledInTheMiddle) {
  for (int i = 0; i < 10; ++i) {
    Child poster("conformance_posts_for_ever");
    ASSERT_TRUE(poster.expect("posts"));
    poster.kill();
  }
  VQSharedMemNotifier notifier(false);
  Recorder recorder;
  ASSERT_TRUE(notifier.AddObserver(recorder.observer(), &kB, 1));
  EXPECT_TRUE(notify(notifier, kB, "after"));
  EXPECT_TRUE(waitUntil([&recorder] { return recorder.count() == 1; }));
  EXPECT_THAT(recorder.payloads(), testing::ElementsAre("after"));
}

TEST(NotifierOfProcesses, NeverWaitsForAStoppedReceiver) {
  Child receiver("conformance_receiver");
  ASSERT_TRUE(receiver.expect("ready"));
  VQSharedMemNotifier notifier(false);
  receiver.stop();
  for (int i = 0; i < 20000; ++i) {
    ASSERT_TRUE(notify(notifier, kA, "x"));
  }
}

TEST(SegmentOfProcesses, IsCreatedByOneAndSeenByAll) {
  shm_unlink((std::string("/") + kSegmentName).c_str());
  Child first("conformance_writer");
  EXPECT_TRUE(first.expect("created"));
  EXPECT_EQ(first.finish(), 0);
  Child second("conformance_writer");
  EXPECT_TRUE(second.expect("attached"));
  EXPECT_EQ(second.finish(), 0);
  const VQSharedMemory<std::uint32_t, 1> sut(kSegmentName);
  ASSERT_NE(sut.mapping, MAP_FAILED);
  EXPECT_FALSE(sut.isCreator);
  EXPECT_EQ(*reinterpret_cast<std::uint32_t*>(static_cast<char*>(sut.mapping) + 4), 10U);
}

}  // namespace
