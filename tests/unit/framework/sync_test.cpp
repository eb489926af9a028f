#include <gmock/gmock.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "VQFramework/Sync/VQSync.h"
#include "platform/fake/FakeFramework.h"
#include "platform/inprocess/fork_state.h"
#include "tests/conformance/worker.h"
#include "tests/support/wait_until.h"

namespace {

using test_support::isAsleep;
using test_support::waitUntil;

// The analysis would want every path to give the lock back; these tests go where it may not.
bool lock(VQSync& sut, unsigned int timeout = VQSync::kWaitForever) VQ_NO_THREAD_SAFETY_ANALYSIS {
  return sut.Lock(timeout);
}

bool unlock(VQSync& sut) VQ_NO_THREAD_SAFETY_ANALYSIS {
  return sut.Unlock();
}

template <class Function>
auto onAnotherThread(Function function) {
  return std::async(std::launch::async, function).get();
}

// A thread that takes the lock and gives it back. Made when it is waiting for it.
class Waiter {
 public:
  Waiter(VQSync& sut, unsigned int timeout)
      : result_(std::async(std::launch::async, [this, &sut, timeout] {
          thread_ = syscall(SYS_gettid);
          const bool isTaken = lock(sut, timeout);
          sawRelease_ = isReleased_.load();
          return isTaken && unlock(sut);
        })) {
    isWaiting_ = waitUntil([this] { return thread_ != 0 && conformance::isAsleep(thread_); });
  }
  bool isWaiting() const { return isWaiting_; }
  void noteRelease() { isReleased_ = true; }
  bool gotIt() { return result_.get(); }
  bool gotItAfterRelease() { return gotIt() && sawRelease_; }

 private:
  std::atomic<long> thread_{0};
  std::atomic<bool> isReleased_{false};
  bool sawRelease_ = false;
  bool isWaiting_ = false;
  std::future<bool> result_;
};

class SyncTest : public testing::Test {
 protected:
  SyncTest() { vqfake::reset(); }
};

void expectOneLogLineOf(const std::string& function) {
  const std::vector<vqfake::LogLine> log = vqfake::log();
  ASSERT_EQ(log.size(), 1U);
  EXPECT_EQ(log[0].file, "VQFramework/Sync/VQSync");
  EXPECT_EQ(log[0].function, function);
  EXPECT_EQ(log[0].line, 0);
  EXPECT_EQ(log[0].tag, 1U);
  EXPECT_FALSE(log[0].isStdErr);
}

TEST_F(SyncTest, AFreeLockIsTakenAtOnce) {
  VQSync sut;
  EXPECT_TRUE(lock(sut, 0));
  unlock(sut);
}

TEST_F(SyncTest, AFreeLockRefusesAnUnlockWithALogLine) {
  VQSync sut;
  EXPECT_FALSE(unlock(sut));
  expectOneLogLineOf("Unlock");
}

TEST_F(SyncTest, ALockStaysUsableAfterARefusedUnlock) {
  VQSync sut;
  unlock(sut);
  EXPECT_TRUE(lock(sut, 0));
  EXPECT_FALSE(onAnotherThread([&sut] { return lock(sut, 0); }));
  unlock(sut);
}

TEST_F(SyncTest, AThreadThatComesAfterAHolderThatEndedIsNotTakenForIt) {
  VQSync sut;
  std::thread([&sut] { lock(sut); }).join();
  bool isUnlocked = true;
  bool isTaken = true;
  std::thread([&] {
    isUnlocked = unlock(sut);
    isTaken = lock(sut, 0);
  }).join();
  EXPECT_FALSE(isUnlocked);
  EXPECT_FALSE(isTaken);
  expectOneLogLineOf("Unlock");
}

TEST_F(SyncTest, AHolderThatLocksAgainIsRefusedWithALogLine) {
  VQSync sut;
  lock(sut);
  EXPECT_FALSE(lock(sut));
  expectOneLogLineOf("Lock");
  unlock(sut);
}

TEST_F(SyncTest, AHolderThatWasRefusedASecondLockFreesItWithOneUnlock) {
  VQSync sut;
  lock(sut);
  lock(sut);
  EXPECT_TRUE(unlock(sut));
  EXPECT_TRUE(onAnotherThread([&sut] { return lock(sut, 0) && unlock(sut); }));
}

TEST_F(SyncTest, AnotherThreadWaitsUntilTheHolderUnlocks) {
  VQSync sut;
  lock(sut);
  Waiter waiter(sut, VQSync::kWaitForever);
  ASSERT_TRUE(waiter.isWaiting());
  waiter.noteRelease();
  unlock(sut);
  EXPECT_TRUE(waiter.gotItAfterRelease());
}

TEST_F(SyncTest, AWaiterWithATimeOutGetsTheLockThatIsFreedInTime) {
  VQSync sut;
  lock(sut);
  Waiter waiter(sut, 600000);
  ASSERT_TRUE(waiter.isWaiting());
  unlock(sut);
  EXPECT_TRUE(waiter.gotIt());
}

TEST_F(SyncTest, EveryWaiterGetsTheLockInTheEnd) {
  VQSync sut;
  lock(sut);
  Waiter first(sut, VQSync::kWaitForever);
  Waiter second(sut, VQSync::kWaitForever);
  Waiter third(sut, VQSync::kWaitForever);
  ASSERT_TRUE(first.isWaiting() && second.isWaiting() && third.isWaiting());
  unlock(sut);
  EXPECT_TRUE(first.gotIt());
  EXPECT_TRUE(second.gotIt());
  EXPECT_TRUE(third.gotIt());
}

TEST_F(SyncTest, AWaiterGivesUpAfterItsTimeOutAndNotBefore) {
  VQSync sut;
  lock(sut);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_FALSE(onAnotherThread([&sut] { return lock(sut, 30); }));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(30));
  EXPECT_TRUE(vqfake::log().empty());
  unlock(sut);
}

TEST_F(SyncTest, ATimeOutLeavesTheLockWithItsHolder) {
  VQSync sut;
  lock(sut);
  onAnotherThread([&sut] { return lock(sut, 0); });
  EXPECT_TRUE(unlock(sut));
}

// (ThreadSanitizer sees whether the former holder still touches the lock.)
TEST_F(SyncTest, ALockWhoseWaiterGaveUpMayBeDestroyedByItsNextHolder) {
  auto sut = std::make_unique<VQSync>();
  lock(*sut);
  ASSERT_FALSE(onAnotherThread([&sut] { return lock(*sut, 0); }));
  std::atomic<bool> isFree{false};
  std::thread next([&sut, &isFree] {
    while (!isFree.load(std::memory_order_relaxed)) {
      std::this_thread::yield();
    }
    EXPECT_TRUE(lock(*sut));
    EXPECT_TRUE(unlock(*sut));
    sut.reset();
  });
  EXPECT_TRUE(unlock(*sut));
  isFree.store(true, std::memory_order_relaxed);  // orders nothing: only the lock does
  next.join();
}

TEST_F(SyncTest, AnotherThreadsUnlockIsRefusedWithALogLine) {
  VQSync sut;
  lock(sut);
  EXPECT_FALSE(onAnotherThread([&sut] { return unlock(sut); }));
  expectOneLogLineOf("Unlock");
  unlock(sut);
}

TEST_F(SyncTest, AnotherThreadsUnlockLeavesTheLockWithItsHolder) {
  VQSync sut;
  lock(sut);
  onAnotherThread([&sut] { return unlock(sut); });
  EXPECT_FALSE(onAnotherThread([&sut] { return lock(sut, 0); }));
  EXPECT_TRUE(unlock(sut));
}

TEST_F(SyncTest, TheHoldersUnlockFreesTheLockForAnotherThread) {
  VQSync sut;
  lock(sut);
  EXPECT_TRUE(unlock(sut));
  EXPECT_TRUE(onAnotherThread([&sut] { return lock(sut, 0) && unlock(sut); }));
}

TEST_F(SyncTest, OneThreadAtATimeIsInside) {
  constexpr int kThreads = 8;
  constexpr int kRounds = 2000;
  VQSync sut;
  int count = 0;
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&sut, &count] {
      for (int round = 0; round < kRounds; ++round) {
        lock(sut);
        ++count;
        unlock(sut);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(count, kThreads * kRounds);
}

TEST_F(SyncTest, AForkedChildNeverWaitsForALockOfItsParent) {
  vqframework::noteSharedUse();
  VQSync sut;
  std::promise<void> isHeld;
  std::promise<void> isDone;
  std::thread holder([&] {
    lock(sut);
    isHeld.set_value();
    isDone.get_future().wait();
    unlock(sut);
  });
  isHeld.get_future().wait();
  const pid_t child = fork();
  if (child == 0) {
    _exit(lock(sut) && unlock(sut) ? 0 : 1);
  }
  int status = -1;
  const bool hasEnded = waitUntil([child, &status] { return waitpid(child, &status, WNOHANG) == child; });
  if (!hasEnded) {
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
  }
  isDone.set_value();
  holder.join();
  EXPECT_TRUE(hasEnded);
  EXPECT_EQ(status, 0);
}

}  // namespace
