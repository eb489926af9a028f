#include "VQFramework/Sync/VQSync.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "VQFramework/Sync/VQSyncGuard.h"
#include "tests/conformance/log_lines.h"
#include "tests/conformance/worker.h"

namespace {

using conformance::LogLines;
using conformance::Worker;
using testing::IsEmpty;
using testing::SizeIs;

// The analysis would want every path to give the lock back; these tests go where it may not.
bool lock(VQSync& sut, unsigned int timeout = VQSync::kWaitForever) VQ_NO_THREAD_SAFETY_ANALYSIS {
  return sut.Lock(timeout);
}

bool unlock(VQSync& sut) VQ_NO_THREAD_SAFETY_ANALYSIS {
  return sut.Unlock();
}

bool isTaken(VQSync& sut) {
  bool isFree = false;
  std::thread([&] { isFree = lock(sut, 0) && unlock(sut); }).join();
  return !isFree;
}

TEST(Sync, ThatIsFreeIsTaken) {
  VQSync sut;
  EXPECT_TRUE(lock(sut));
  EXPECT_TRUE(isTaken(sut));
  unlock(sut);
}

TEST(Sync, ThatIsFreeIsTakenWithoutTimeToWait) {
  VQSync sut;
  EXPECT_TRUE(lock(sut, 0));
  EXPECT_TRUE(isTaken(sut));
  unlock(sut);
}

TEST(Sync, ThatIsFreeRefusesAnUnlockWithALogLine) {
  VQSync sut;
  const LogLines log;
  EXPECT_FALSE(unlock(sut));
  EXPECT_THAT(log.lines(), SizeIs(1));
  EXPECT_FALSE(isTaken(sut));
}

TEST(Sync, IsFreeAfterItsHoldersUnlock) {
  VQSync sut;
  lock(sut);
  EXPECT_TRUE(unlock(sut));
  EXPECT_FALSE(isTaken(sut));
}

TEST(Sync, RefusesItsHolderASecondLockWithALogLine) {
  VQSync sut;
  lock(sut);
  const LogLines log;
  EXPECT_FALSE(lock(sut));
  EXPECT_THAT(log.lines(), SizeIs(1));
  EXPECT_TRUE(isTaken(sut));
  EXPECT_TRUE(unlock(sut));
  EXPECT_FALSE(isTaken(sut));
}

TEST(Sync, RefusesAnUnlockByAnotherThreadWithALogLine) {
  VQSync sut;
  lock(sut);
  const LogLines log;
  bool isUnlocked = true;
  std::thread([&] { isUnlocked = unlock(sut); }).join();
  EXPECT_FALSE(isUnlocked);
  EXPECT_THAT(log.lines(), SizeIs(1));
  EXPECT_TRUE(isTaken(sut));
  unlock(sut);
}

TEST(Sync, MakesAnotherThreadWaitUntilItsHolderUnlocks) {
  VQSync sut;
  std::atomic<bool> isReleased{false};
  bool sawRelease = false;
  bool isLocked = false;
  lock(sut);
  const Worker waiter([&] {
    isLocked = lock(sut);
    sawRelease = isReleased;
    unlock(sut);
  });
  EXPECT_TRUE(waiter.isHeldUp());
  isReleased = true;
  unlock(sut);
  EXPECT_TRUE(waiter.ends());
  EXPECT_TRUE(isLocked);
  EXPECT_TRUE(sawRelease);
}

TEST(Sync, GivesUpAfterTheTimeOutAndNotBeforeAndSaysNothing) {
  VQSync sut;
  lock(sut);
  const LogLines log;
  const auto begin = std::chrono::steady_clock::now();
  bool isLocked = true;
  std::thread([&] { isLocked = lock(sut, 20); }).join();
  EXPECT_FALSE(isLocked);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(20));
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_TRUE(isTaken(sut));
  unlock(sut);
}

TEST(Sync, GivesTheLockToAWaiterThatIsInTime) {
  VQSync sut;
  bool isLocked = false;
  lock(sut);
  const Worker waiter([&] { isLocked = lock(sut, 600000) && unlock(sut); });
  EXPECT_TRUE(waiter.isHeldUp());
  unlock(sut);
  EXPECT_TRUE(waiter.ends());
  EXPECT_TRUE(isLocked);
}

TEST(Sync, LetsOneThreadInAtATime) {
  constexpr int kRounds = 5000;
  VQSync sut;
  int count = 0;
  const auto countUp = [&] {
    for (int i = 0; i < kRounds; ++i) {
      lock(sut);
      ++count;
      unlock(sut);
    }
  };
  {
    const Worker one(countUp);
    const Worker two(countUp);
    const Worker three(countUp);
  }
  EXPECT_EQ(count, 3 * kRounds);
}

// As reference counts do: whoever finds that it was the last one destroys the lock that the other has just given back.
TEST(Sync, MayBeDestroyedByTheNextHolder) {
  struct Shared {
    VQSync sut;
    int users = 2;
  };
  for (int i = 0; i < 3000; ++i) {
    auto* const shared = new Shared;
    const auto leave = [shared] {
      lock(shared->sut);
      const bool isLast = --shared->users == 0;
      unlock(shared->sut);
      if (isLast) {
        delete shared;
      }
    };
    const Worker other(leave);
    leave();
  }
}

TEST(Sync, GivesEveryWaiterItsTurnWhereSomeGiveUp) {
  constexpr int kRounds = 300;
  VQSync sut;
  std::atomic<int> taken{0};
  const auto take = [&](unsigned int timeout) {
    for (int i = 0; i < kRounds; ++i) {
      if (lock(sut, timeout)) {
        ++taken;
        std::this_thread::yield();  // with the lock held: the others come to wait
        unlock(sut);
      }
    }
  };
  {
    const Worker patient([&] { take(VQSync::kWaitForever); });
    const Worker patientToo([&] { take(VQSync::kWaitForever); });
    const Worker hasty([&] { take(0); });
    const Worker hastyToo([&] { take(1); });
  }
  EXPECT_GE(taken, 2 * kRounds);
  EXPECT_FALSE(isTaken(sut));
}

TEST(SyncGuard, HoldsASyncForItsScope) {
  VQSync sync;
  {
    const VQSyncGuard sut(sync);
    EXPECT_TRUE(isTaken(sync));
  }
  EXPECT_FALSE(isTaken(sync));
}

TEST(SyncGuard, OfASyncThatItsThreadHoldsLeavesItToTheFirstHolder) {
  VQSync sync;
  lock(sync);
  {
    const LogLines log;
    const VQSyncGuard sut(sync);
    EXPECT_THAT(log.lines(), SizeIs(1));
  }
  EXPECT_TRUE(isTaken(sync));
  EXPECT_TRUE(unlock(sync));
}

}  // namespace
