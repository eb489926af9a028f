#include "platform/reference/named_lock.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <pthread.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <thread>

#include "VQFramework/SharedMemory/VQSharedSyncObject.h"
#include "platform/reference/robust_mutex.h"
#include "tests/conformance/worker.h"
#include "tests/support/child.h"
#include "tests/support/roles.h"
#include "tests/support/shm_files.h"
#include "tests/unit/reference/log_lines.h"

namespace {

using conformance::Worker;
using reference::LogLines;
using test_support::Child;
using testing::ElementsAre;
using testing::IsEmpty;
using vqframework::LockObject;

constexpr const char* kName = "unit_reference";
constexpr const char* kObject = "unit_reference.lock";
constexpr const char* kTakenOver =
    "VQFramework/SharedMemory/VQSharedSyncObject:0 lock 1 lock \"unit_reference\": its holder died; taken over\n";

void lock(const VQSharedSyncObject& sut) VQ_NO_THREAD_SAFETY_ANALYSIS {
  sut.lock();
}

void unlock(const VQSharedSyncObject& sut) VQ_NO_THREAD_SAFETY_ANALYSIS {
  sut.unlock();
}

// As another process sees it.
std::uint32_t holderPid() {
  return test_support::shmWord(kObject, offsetof(LockObject, holderPid)).value();
}

std::uint32_t contendedAcquisitions() {
  return test_support::shmWord(kObject, offsetof(LockObject, contendedAcquisitions)).value();
}

TEST_ROLE(unit_reference_holds_the_lock) {
  const VQSharedSyncObject object(kName);
  lock(object);
  test_support::say("held");
  test_support::waitForParent();
  unlock(object);
  test_support::say("given back");
  return 0;
}

class NamedLockTest : public testing::Test {
 protected:
  const VQSharedSyncObject sut{kName};
  const LogLines log;
};

TEST_F(NamedLockTest, KeepsAnotherProcessOut) {
  Child other("unit_reference_holds_the_lock");
  ASSERT_TRUE(other.expect("held"));
  const Worker waiter([this] {
    lock(sut);
    unlock(sut);
  });
  EXPECT_TRUE(waiter.isHeldUp());
  other.release();
  EXPECT_TRUE(other.expect("given back"));
  EXPECT_TRUE(waiter.ends());
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(NamedLockTest, IsTakenOverFromAThreadThatEndedWithOneLogLine) {
  {
    const Worker holder([this] { lock(sut); });
  }
  lock(sut);
  EXPECT_THAT(log.lines(), ElementsAre(kTakenOver));
  unlock(sut);
  lock(sut);
  EXPECT_THAT(log.lines(), ElementsAre(kTakenOver));
  unlock(sut);
}

TEST_F(NamedLockTest, OfAThreadThatEndedNeedsOneUnlockForEachLockOfTheNext) {
  {
    const Worker holder([this] {
      lock(sut);
      lock(sut);
    });
  }
  lock(sut);
  unlock(sut);
  const Worker other([this] {
    lock(sut);
    unlock(sut);
  });
  EXPECT_TRUE(other.ends());
}

TEST_F(NamedLockTest, IsTakenOverFromAKilledProcessWithOneLogLine) {
  Child holder("unit_reference_holds_the_lock");
  ASSERT_TRUE(holder.expect("held"));
  holder.kill();
  lock(sut);
  EXPECT_THAT(log.lines(), ElementsAre(kTakenOver));
  unlock(sut);
}

// Nothing can be written to standard error from here on without waiting for a reader.
void clogStandardError() {
  int ends[2] = {-1, -1};
  EXPECT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
  const std::string bytes(4096, 'x');
  while (write(ends[1], bytes.data(), bytes.size()) > 0) {
  }
  EXPECT_EQ(fcntl(ends[1], F_SETFL, 0), 0);
  EXPECT_NE(dup2(ends[1], STDERR_FILENO), -1);
}

TEST_ROLE(unit_reference_takes_the_lock_with_a_clogged_log) {
  const VQSharedSyncObject object(kName);
  clogStandardError();
  lock(object);
  unlock(object);
  test_support::say("given back");
  test_support::waitForParent();
  return 0;
}

TEST_F(NamedLockTest, OfAKilledProcessIsNotKeptFromOthersByALogThatNobodyReads) {
  Child holder("unit_reference_holds_the_lock");
  ASSERT_TRUE(holder.expect("held"));
  Child next("unit_reference_takes_the_lock_with_a_clogged_log");
  holder.kill();
  ASSERT_TRUE(next.expect("given back"));
  lock(sut);
  unlock(sut);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(NamedLockTest, OfAKilledProcessGoesToAWaiterThatSleepsAlready) {
  Child holder("unit_reference_holds_the_lock");
  ASSERT_TRUE(holder.expect("held"));
  const Worker waiter([this] {
    lock(sut);
    unlock(sut);
  });
  EXPECT_TRUE(waiter.isHeldUp());
  holder.kill();
  EXPECT_TRUE(waiter.ends());
  EXPECT_THAT(log.lines(), ElementsAre(kTakenOver));
}

TEST_F(NamedLockTest, ShowsWhoHoldsIt) {
  EXPECT_EQ(holderPid(), 0U);
  lock(sut);
  lock(sut);
  unlock(sut);
  EXPECT_EQ(holderPid(), static_cast<std::uint32_t>(getpid()));
  unlock(sut);
  EXPECT_EQ(holderPid(), 0U);
}

TEST_F(NamedLockTest, ShowsADeadHolderUntilTheNextComes) {
  Child holder("unit_reference_holds_the_lock");
  ASSERT_TRUE(holder.expect("held"));
  holder.kill();
  EXPECT_EQ(holderPid(), static_cast<std::uint32_t>(holder.pid()));
  lock(sut);
  EXPECT_EQ(holderPid(), static_cast<std::uint32_t>(getpid()));
  unlock(sut);
}

TEST_F(NamedLockTest, CountsTheAcquisitionsThatHadToWait) {
  const std::uint32_t before = contendedAcquisitions();
  lock(sut);
  lock(sut);
  unlock(sut);
  EXPECT_EQ(contendedAcquisitions(), before);
  {
    const Worker waiter([this] {
      lock(sut);
      unlock(sut);
    });
    EXPECT_TRUE(waiter.isHeldUp());
    unlock(sut);
  }
  EXPECT_EQ(contendedAcquisitions(), before + 1);
}

TEST_F(NamedLockTest, OfANameThatIsNoFileNameWorksInThisProcessWithOneLogLine) {
  const VQSharedSyncObject object("no/such/folder");
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_THAT(log.lines()[0], testing::HasSubstr("lock \"no/such/folder\" cannot be shared with other processes: "
                                                 "shm_open: "));
  lock(object);
  const Worker other([&object] {
    lock(object);
    unlock(object);
  });
  EXPECT_TRUE(other.isHeldUp());
  unlock(object);
}

TEST(NamedLockWithoutAName, SaysNothing) {
  const LogLines log;
  const VQSharedSyncObject null(nullptr);
  const VQSharedSyncObject empty("");
  EXPECT_THAT(log.lines(), IsEmpty());
}

pthread_mutex_t mutexWith(int protocol) {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
  pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutexattr_setprotocol(&attributes, protocol);
  pthread_mutex_t mutex = {};
  pthread_mutex_init(&mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
  return mutex;
}

// Nobody can ask a mutex for its protocol, and to see it at work takes the right to real-time priorities: so the bytes
// are compared with those of mutexes whose protocol is known.
TEST(RobustMutex, HandsThePriorityOfWhoWaitsToItsHolder) {
  const pthread_mutex_t inheriting = mutexWith(PTHREAD_PRIO_INHERIT);
  const pthread_mutex_t plain = mutexWith(PTHREAD_PRIO_NONE);
  ASSERT_NE(memcmp(&inheriting, &plain, sizeof plain), 0);
  pthread_mutex_t sut = {};
  ASSERT_EQ(vqframework::initializeRobustMutex(sut), 0);
  EXPECT_EQ(memcmp(&sut, &inheriting, sizeof sut), 0);
}

}  // namespace
