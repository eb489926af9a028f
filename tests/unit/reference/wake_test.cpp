// Who is woken, when, and by whom. The words of the log tell: a sleeper's bit goes from `sleepers` to `owed` when a
// message is posted for it, and from `owed` when the wake-up has been paid.
#include <gmock/gmock.h>

#include <atomic>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "VQFramework/SharedMemory/VQSharedSyncObject.h"
#include "tests/conformance/worker.h"
#include "tests/support/wait_until.h"
#include "tests/unit/reference/log_access.h"
#include "tests/unit/reference/stepped_poster.h"

namespace {

using conformance::Recorder;
using conformance::Worker;
using log_access::add;
using log_access::isDeliveryAsleepFor;
using log_access::kA;
using log_access::kB;
using log_access::log;
using log_access::notify;
using log_access::object;
using log_access::owedGroups;
using log_access::sleeperCount;
using log_access::sleepingGroups;
using log_access::SteppedPoster;
using test_support::waitUntil;
using vqframework::MessageLog;

const std::uint32_t kGroupA = MessageLog::groupOf(kA);
const std::uint32_t kGroupB = MessageLog::groupOf(kB);
constexpr std::uint32_t kEveryGroup = 0xFFFFU;

// A thread that sleeps for the group of an identifier until it is woken.
class Sleeper {
 public:
  explicit Sleeper(unsigned int id)
      : group_(MessageLog::groupOf(id)), posted_(log().posted()), thread_([this] { log().sleep(posted_, group_); }) {}
  bool isAsleep() const {
    return waitUntil([this] { return (sleepingGroups() & group_) != 0 && conformance::isAsleep(thread_.id()); });
  }
  bool isStillAsleep() const { return thread_.isHeldUp(); }
  bool wakes() const { return thread_.ends(); }

 private:
  const std::uint32_t group_;
  const std::uint32_t posted_;
  const Worker thread_;
};

class WakeTest : public testing::Test {
 protected:
  WakeTest() { log().wake(kEveryGroup); }

  VQSharedMemNotifier sut{false};
  const VQSharedSyncObject lock{"unit_reference.one"};
  const VQSharedSyncObject anotherLock{"unit_reference.two"};
};

TEST_F(WakeTest, APostWakesWhoSleepsForItsGroup) {
  const Sleeper sleeper(kA);
  ASSERT_TRUE(sleeper.isAsleep());
  notify(sut, kA);
  EXPECT_TRUE(sleeper.wakes());
  EXPECT_EQ(sleepingGroups(), 0U);
  EXPECT_EQ(sleeperCount(), 0U);
  EXPECT_EQ(owedGroups(), 0U);
}

TEST_F(WakeTest, APostLetsSleepWhoSleepsForAnotherGroup) {
  const Sleeper sleeper(kA);
  ASSERT_TRUE(sleeper.isAsleep());
  const std::uint64_t owed = object().owed;
  notify(sut, kB);
  EXPECT_EQ(object().owed, owed);  // no wake-up was noted, so none was made
  EXPECT_EQ(sleepingGroups(), kGroupA);
  notify(sut, kA);
  EXPECT_TRUE(sleeper.wakes());
}

TEST_F(WakeTest, APostWakesEverySleeperOfTheGroup) {
  const Sleeper one(kA);
  const Sleeper two(kA + 16);  // of the same group
  ASSERT_TRUE(waitUntil([] { return sleeperCount() == 2; }));
  ASSERT_TRUE(one.isAsleep() && two.isAsleep());
  notify(sut, kA);
  EXPECT_TRUE(one.wakes());
  EXPECT_TRUE(two.wakes());
}

TEST_F(WakeTest, APostWhereNobodySleepsOwesNothing) {
  const std::uint64_t owed = object().owed;
  notify(sut, kA);
  EXPECT_EQ(object().owed, owed);
  EXPECT_EQ(object().sleepers, 0U);
}

TEST_F(WakeTest, APostUnderALockWakesNobodyBeforeTheUnlock) VQ_NO_THREAD_SAFETY_ANALYSIS {
  const Sleeper sleeper(kA);
  ASSERT_TRUE(sleeper.isAsleep());
  lock.lock();
  notify(sut, kA);
  notify(sut, kA);
  EXPECT_EQ(sleepingGroups() & kGroupA, 0U);
  EXPECT_EQ(owedGroups(), kGroupA);
  EXPECT_TRUE(sleeper.isStillAsleep());
  lock.unlock();
  EXPECT_EQ(owedGroups(), 0U);
  EXPECT_TRUE(sleeper.wakes());
}

TEST_F(WakeTest, TheOutermostUnlockOfOneLockPays) VQ_NO_THREAD_SAFETY_ANALYSIS {
  const Sleeper sleeper(kA);
  ASSERT_TRUE(sleeper.isAsleep());
  lock.lock();
  lock.lock();
  notify(sut, kA);
  lock.unlock();
  EXPECT_EQ(owedGroups(), kGroupA);
  EXPECT_TRUE(sleeper.isStillAsleep());
  lock.unlock();
  EXPECT_TRUE(sleeper.wakes());
}

TEST_F(WakeTest, TheOutermostUnlockOfLocksOfTwoNamesPaysForAll) VQ_NO_THREAD_SAFETY_ANALYSIS {
  const Sleeper one(kA);
  const Sleeper two(kB);
  ASSERT_TRUE(one.isAsleep() && two.isAsleep());
  lock.lock();
  notify(sut, kA);
  anotherLock.lock();
  notify(sut, kB);
  lock.unlock();
  EXPECT_EQ(owedGroups(), kGroupA | kGroupB);
  EXPECT_TRUE(one.isStillAsleep() && two.isStillAsleep());
  anotherLock.unlock();
  EXPECT_EQ(owedGroups(), 0U);
  EXPECT_TRUE(one.wakes());
  EXPECT_TRUE(two.wakes());
}

TEST_F(WakeTest, AnUnlockOfALockThatIsNotHeldPaysNothing) VQ_NO_THREAD_SAFETY_ANALYSIS {
  const Sleeper sleeper(kA);
  ASSERT_TRUE(sleeper.isAsleep());
  lock.lock();
  notify(sut, kA);
  anotherLock.unlock();
  EXPECT_EQ(owedGroups(), kGroupA);
  lock.unlock();
  EXPECT_TRUE(sleeper.wakes());
}

TEST_F(WakeTest, AnUnlockPaysAlsoWhereTheNextPostHasPaidAlready) VQ_NO_THREAD_SAFETY_ANALYSIS {
  const Sleeper sleeper(kA);
  ASSERT_TRUE(sleeper.isAsleep());
  lock.lock();
  notify(sut, kA);
  {
    const Worker another([this] { notify(sut, kB); });
  }
  EXPECT_TRUE(sleeper.wakes());
  EXPECT_EQ(owedGroups(), 0U);
  const std::uint64_t owed = object().owed;
  lock.unlock();
  EXPECT_EQ(object().owed, owed);
}

TEST_F(WakeTest, AReceiverDoesNotFallAsleepOnAnOldPosition) {
  const std::uint64_t before = object().head;
  notify(sut, kA);
  const Worker reader([before] { log().sleep(static_cast<std::uint32_t>(before), kGroupB); });
  EXPECT_TRUE(reader.ends());
}

// As a poster leaves the words that dies after its unlock and before its wake-up.
void clearBitAndOwe(std::uint32_t group) {
  object().sleepers &= ~group;
  object().owed |= group;
}

TEST_F(WakeTest, TheNextPostOfAnyGroupPaysForAPosterThatDiedBeforeItWoke) {
  const Sleeper sleeper(kA);
  ASSERT_TRUE(sleeper.isAsleep());
  clearBitAndOwe(kGroupA);
  notify(sut, kB);
  EXPECT_TRUE(sleeper.wakes());
  EXPECT_EQ(owedGroups(), 0U);
}

TEST_F(WakeTest, APostThatWakesItsOwnGroupPaysForADeadPosterToo) {
  const Sleeper ofTheDead(kA);
  const Sleeper own(kB);
  ASSERT_TRUE(ofTheDead.isAsleep() && own.isAsleep());
  clearBitAndOwe(kGroupA);
  notify(sut, kB);
  EXPECT_EQ(owedGroups(), 0U);
  log().wake(kEveryGroup);  // nobody is left; a failure must not hang
  EXPECT_TRUE(ofTheDead.wakes());
  EXPECT_TRUE(own.wakes());
}

TEST_F(WakeTest, TheNextPostUnderALockPaysForADeadPosterAtItsUnlock) VQ_NO_THREAD_SAFETY_ANALYSIS {
  const Sleeper sleeper(kA);
  ASSERT_TRUE(sleeper.isAsleep());
  clearBitAndOwe(kGroupA);
  lock.lock();
  notify(sut, kB);
  EXPECT_TRUE(sleeper.isStillAsleep());
  lock.unlock();
  EXPECT_TRUE(sleeper.wakes());
}

TEST_F(WakeTest, SleepersThatDiedAsleepCostNoWakeUp) {
  object().sleepers = 3U << vqframework::kGroupCount;  // three that nobody will count down
  {
    const Sleeper sleeper(kA);
    ASSERT_TRUE(sleeper.isAsleep());
    notify(sut, kA);
    EXPECT_TRUE(sleeper.wakes());
  }
  EXPECT_EQ(sleeperCount(), 3U);
  object().sleepers = 0;
}

TEST_F(WakeTest, ACountOfSleepersThatIsFullStaysAtItsEnd) {
  object().sleepers = 0xFFFF0000U;
  {
    const Sleeper sleeper(kA);
    ASSERT_TRUE(sleeper.isAsleep());
    notify(sut, kA);
    EXPECT_TRUE(sleeper.wakes());
  }
  EXPECT_EQ(sleeperCount(), 0xFFFFU);
  object().sleepers = 0;
}

// A receiver is quick: it reads the message before its poster has looked who sleeps, and is about to sleep for the next
// one, its bit set, when the poster goes on and clears it. One run for each change of the shared words that the poster
// makes.
TEST_F(WakeTest, NobodySleepsThroughTheNextMessageWhoLayDownInTheMiddleOfAPost) {
  const auto words = [] {
    return std::make_pair(std::make_pair(object().posted.load(), object().owed.load()),
                          std::make_pair(object().sleepers.load(), object().head.load()));
  };
  const auto stepToNextChange = [&](SteppedPoster& process) {
    const auto last = words();
    while (words() == last && process.step()) {
    }
    return words() != last;
  };
  const auto post = [] { log().post(kA, nullptr, 0); };
  unsigned int changes = 0;
  for (SteppedPoster poster(post); stepToNextChange(poster);) {
    ++changes;
  }
  ASSERT_GE(changes, 2U);
  for (unsigned int change = 1; change <= changes; ++change) {
    SteppedPoster poster(post);
    for (unsigned int i = 0; i < change; ++i) {
      ASSERT_TRUE(stepToNextChange(poster));
    }
    const std::uint32_t seen = log().posted();
    SteppedPoster receiver([seen] { log().sleep(seen, kGroupA); });
    ASSERT_TRUE(stepToNextChange(receiver));  // it has set its bit
    ASSERT_EQ(sleepingGroups(), kGroupA);
    poster.runToItsEnd();
    receiver.letRun();
    ASSERT_TRUE(waitUntil([&] { return receiver.hasEnded() || receiver.isAsleep(); }));
    notify(sut, kA);
    EXPECT_TRUE(waitUntil([&] { return receiver.hasEnded(); })) << "change " << change;
  }
  object().sleepers = 0;
}

// Another thread pays a poster's wake-up in the middle of its post, and the receiver takes the message and goes back to
// sleep before the poster goes on. Whatever the poster does then, it must leave the receiver so that the next post
// wakes it. One run for each change of the shared words that the poster makes.
TEST_F(WakeTest, NoWakeUpIsLostWhereAnotherThreadPaysInTheMiddleOfAPost) {
  Recorder recorder;
  add(sut, recorder, {kA});
  const auto words = [] {
    return std::make_pair(object().owed.load(), std::make_pair(object().sleepers.load(), object().head.load()));
  };
  bool wasLast = false;
  for (unsigned int changes = 1; !wasLast; ++changes) {
    ASSERT_TRUE(isDeliveryAsleepFor(kA));
    const unsigned int before = recorder.count();
    SteppedPoster poster([] { log().post(kA, nullptr, 0); });
    auto last = words();
    unsigned int seen = 0;
    bool isRunning = true;
    while (seen < changes && (isRunning = poster.step())) {
      seen += words() == last ? 0U : 1U;
      last = words();
    }
    wasLast = !isRunning;
    if (!wasLast && owedGroups() != 0) {
      log().wake(kEveryGroup);
      ASSERT_TRUE(waitUntil([&] { return recorder.count() == before + 1; }));
      const bool sleepsAgain = waitUntil([] { return conformance::isAsleep(log_access::deliveryThreads().at(0)); });
      ASSERT_TRUE(sleepsAgain);
    }
    poster.runToItsEnd();
    ASSERT_TRUE(waitUntil([&] { return recorder.count() == before + 1; })) << "change " << changes;
    ASSERT_TRUE(waitUntil([] { return conformance::isAsleep(log_access::deliveryThreads().at(0)); }));
    notify(sut, kA);
    ASSERT_TRUE(waitUntil([&] { return recorder.count() == before + 2; })) << "change " << changes;
  }
}

// While a poster pays, another one owes the same group anew, for a receiver that has lain down meanwhile, and pays
// next. At several places of the payment, each of which takes a process of its own.
TEST_F(WakeTest, NoWakeUpIsLostThatIsOwedAnewWhileItsGroupIsBeingPaid) {
  constexpr unsigned int kPlaces = 24;
  constexpr std::uint64_t kOneChange = 1U << 16;
  const auto owe = [] { object().owed = (object().owed + kOneChange) | kGroupA; };
  const auto pay = [] { log().wake(kGroupA); };
  owe();
  pay();  // resolves what a payment calls, once for all forks
  owe();
  unsigned int instructions = 0;
  for (SteppedPoster whole(pay); (owedGroups() & kGroupA) != 0 && whole.step();) {
    ++instructions;
  }
  ASSERT_GT(instructions, kPlaces);
  for (unsigned int place = 0; place < kPlaces; ++place) {
    owe();
    SteppedPoster poster(pay);
    for (unsigned int i = 0; i < instructions * place / kPlaces; ++i) {
      ASSERT_TRUE(poster.step());
    }
    const Sleeper receiver(kA);
    ASSERT_TRUE(receiver.isAsleep());
    object().sleepers &= ~kGroupA;
    owe();
    poster.runToItsEnd();
    pay();
    const bool isAwake = receiver.wakes();
    if (!isAwake) {
      owe();
      pay();
    }
    ASSERT_TRUE(isAwake) << "place " << place;
  }
}

}  // namespace
