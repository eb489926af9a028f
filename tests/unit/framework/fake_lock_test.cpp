#include <gmock/gmock.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "VQFramework/SharedMemory/VQSharedSyncObject.h"
#include "platform/fake/FakeFramework.h"
#include "tests/conformance/worker.h"

namespace {

using testing::ElementsAre;

void lock(const VQSharedSyncObject& sut) VQ_NO_THREAD_SAFETY_ANALYSIS {
  sut.lock();
}

void unlock(const VQSharedSyncObject& sut) VQ_NO_THREAD_SAFETY_ANALYSIS {
  sut.unlock();
}

// Lets another thread have it once. Where that would wait, the lock's own books are wrong and the test hangs.
bool isFreeForOthers(const VQSharedSyncObject& sut, const std::string& name) {
  if (vqfake::lockDepth(name) != 0) {
    return false;
  }
  std::thread([&sut] {
    lock(sut);
    unlock(sut);
  }).join();
  return true;
}

class FakeLockTest : public testing::Test {
 public:
  FakeLockTest() { vqfake::reset(); }
  ~FakeLockTest() override { vqfake::reset(); }
};

TEST_F(FakeLockTest, TheHolderTakesItOnceMoreAcrossObjectsOfOneName) {
  const VQSharedSyncObject sut("a");
  const VQSharedSyncObject other("a");
  lock(sut);
  lock(other);
  EXPECT_EQ(vqfake::lockDepth("a"), 2U);
  unlock(sut);
  EXPECT_EQ(vqfake::lockDepth("a"), 1U);
  unlock(other);
  EXPECT_TRUE(isFreeForOthers(sut, "a"));
}

TEST_F(FakeLockTest, AnotherThreadWaitsForTheHolder) {
  const VQSharedSyncObject sut("a");
  const VQSharedSyncObject other("a");
  std::atomic<bool> isReleased{false};
  std::atomic<bool> sawRelease{false};
  lock(sut);
  const conformance::Worker waiter([&] {
    lock(other);
    sawRelease = isReleased.load();
    unlock(other);
  });
  EXPECT_TRUE(waiter.isHeldUp());
  isReleased = true;
  unlock(sut);
  EXPECT_TRUE(waiter.ends());
  EXPECT_TRUE(sawRelease);
}

TEST_F(FakeLockTest, LocksOfTwoNamesHaveNothingInCommon) {
  const VQSharedSyncObject sut("a");
  const VQSharedSyncObject other("b");
  lock(sut);
  EXPECT_TRUE(isFreeForOthers(other, "b"));
  unlock(sut);
}

TEST_F(FakeLockTest, UnlockingByAnotherThreadDoesNothing) {
  const VQSharedSyncObject sut("a");
  lock(sut);
  std::thread([&sut] { unlock(sut); }).join();
  EXPECT_EQ(vqfake::lockDepth("a"), 1U);
  unlock(sut);
}

TEST_F(FakeLockTest, UnlockingAFreeLockDoesNothing) {
  const VQSharedSyncObject sut("a");
  unlock(sut);
  EXPECT_EQ(vqfake::lockDepth("a"), 0U);
  EXPECT_TRUE(isFreeForOthers(sut, "a"));
}

class FakePrivateLockTest : public FakeLockTest, public testing::WithParamInterface<const char*> {};

TEST_P(FakePrivateLockTest, ObjectsShareNothing) {
  const VQSharedSyncObject sut(GetParam());
  const VQSharedSyncObject other(GetParam());
  lock(sut);
  std::thread([&other] {
    lock(other);
    unlock(other);
  }).join();
  unlock(sut);
}

const std::string tooLong(VQSharedSyncObject::kMaxNameLength + 1, 'n');
INSTANTIATE_TEST_SUITE_P(UnusableNames, FakePrivateLockTest, testing::Values(nullptr, "", tooLong.c_str()));

TEST_F(FakeLockTest, ANameOfTheGreatestLengthIsShared) {
  const std::string name(VQSharedSyncObject::kMaxNameLength, 'n');
  const VQSharedSyncObject sut(name.c_str());
  const VQSharedSyncObject other(name.c_str());
  lock(sut);
  lock(other);
  EXPECT_EQ(vqfake::lockDepth(name), 2U);
  unlock(other);
  unlock(sut);
}

TEST_F(FakeLockTest, CountsTheOutermostAcquisitions) {
  const VQSharedSyncObject sut("a");
  for (int i = 0; i < 2; ++i) {
    lock(sut);
    lock(sut);
    unlock(sut);
    unlock(sut);
  }
  EXPECT_EQ(vqfake::lockCount("a"), 2U);
}

TEST_F(FakeLockTest, CountsOutliveTheObjects) {
  {
    const VQSharedSyncObject sut("a");
    lock(sut);
    unlock(sut);
  }
  EXPECT_EQ(vqfake::lockCount("a"), 1U);
}

TEST_F(FakeLockTest, TheHookIsCalledAfterTheOutermostUnlockOnly) {
  const VQSharedSyncObject sut("a");
  unsigned int calls = 0;
  vqfake::setAfterUnlock([&calls](const std::string& name) {
    EXPECT_EQ(name, "a");
    EXPECT_EQ(vqfake::lockDepth("a"), 0U);
    ++calls;
  });
  lock(sut);
  lock(sut);
  unlock(sut);
  EXPECT_EQ(calls, 0U);
  unlock(sut);
  EXPECT_EQ(calls, 1U);
}

TEST_F(FakeLockTest, TheHookMayLockItself) {
  const VQSharedSyncObject sut("a");
  unsigned int calls = 0;
  vqfake::setAfterUnlock([&](const std::string&) {
    ++calls;
    lock(sut);
    unlock(sut);
  });
  lock(sut);
  unlock(sut);
  EXPECT_EQ(calls, 1U);
}

TEST_F(FakeLockTest, AMessageTellsWhichLocksItsPosterHeld) {
  const VQSharedSyncObject inner("a");
  const VQSharedSyncObject outer("z");
  VQSharedMemNotifier notifier(false);
  lock(outer);
  lock(inner);
  notifier.NotifyDataUpdate(1, nullptr, 0);
  unlock(inner);
  notifier.NotifyDataUpdate(2, nullptr, 0);
  unlock(outer);
  notifier.NotifyDataUpdate(3, nullptr, 0);
  ASSERT_EQ(vqfake::posted().size(), 3U);
  EXPECT_THAT(vqfake::posted()[0].locksHeld, ElementsAre("z", "a"));
  EXPECT_THAT(vqfake::posted()[1].locksHeld, ElementsAre("z"));
  EXPECT_THAT(vqfake::posted()[2].locksHeld, ElementsAre());
}

}  // namespace
