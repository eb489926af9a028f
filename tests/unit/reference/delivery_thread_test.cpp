#include <gmock/gmock.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "VQFramework/Debug/VQDbgOutput.h"
#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "tests/conformance/recorder.h"
#include "tests/conformance/worker.h"
#include "tests/support/child.h"
#include "tests/support/roles.h"
#include "tests/support/wait_until.h"
#include "tests/unit/reference/log_access.h"

namespace {

using conformance::Gate;
using conformance::Recorder;
using conformance::Worker;
using log_access::add;
using log_access::deliveryThreads;
using log_access::isDeliveryAsleepFor;
using log_access::kA;
using log_access::kB;
using log_access::notify;
using test_support::waitUntil;
using testing::IsEmpty;
using testing::SizeIs;

bool isDeliveryThreadGone() {
  return waitUntil([] { return deliveryThreads().empty(); });
}

class DeliveryThreadTest : public testing::Test {
 protected:
  Recorder first;
  Recorder second;
  VQSharedMemNotifier sut{false};
  VQSharedMemNotifier another{false};
};

TEST_F(DeliveryThreadTest, DoesNotExistWhileNothingIsRegistered) {
  notify(sut, kA);
  EXPECT_THAT(deliveryThreads(), IsEmpty());
}

TEST_F(DeliveryThreadTest, ComesWithTheFirstRegistrationAndGoesWithTheLast) {
  add(sut, first, {kA});
  EXPECT_TRUE(waitUntil([] { return deliveryThreads().size() == 1; }));
  sut.RemoveObserver(first.observer());
  EXPECT_TRUE(isDeliveryThreadGone());
}

TEST_F(DeliveryThreadTest, IsOneForAllRegistrations) {
  add(sut, first, {kA});
  add(sut, second, {kA, kB});
  add(another, first, {kB});
  notify(sut, kB);
  ASSERT_TRUE(waitUntil([this] { return first.count() == 1 && second.count() == 1; }));
  EXPECT_THAT(deliveryThreads(), SizeIs(1));
}

TEST_F(DeliveryThreadTest, StaysUntilTheLastRegistrationIsTakenBack) {
  add(sut, first, {kA});
  add(another, second, {kA});
  sut.RemoveObserver(first.observer());
  ASSERT_TRUE(isDeliveryAsleepFor(kA));
  second.destroyObserver();
  EXPECT_TRUE(isDeliveryThreadGone());
}

TEST_F(DeliveryThreadTest, GoesWithItsNotifier) {
  auto passing = std::make_unique<VQSharedMemNotifier>(false);
  add(*passing, first, {kA});
  passing.reset();
  EXPECT_TRUE(isDeliveryThreadGone());
}

TEST_F(DeliveryThreadTest, GoesAfterACallThatTookTheLastRegistrationBack) {
  first.then = [this] { sut.RemoveObserver(first.observer()); };
  add(sut, first, {kA});
  notify(sut, kA);
  EXPECT_TRUE(waitUntil([this] { return first.count() == 1; }));
  EXPECT_TRUE(isDeliveryThreadGone());
}

bool isRaisedByAFault(int number) {
  return number == SIGILL || number == SIGTRAP || number == SIGBUS || number == SIGFPE || number == SIGSEGV ||
         number == SIGSYS;
}

TEST_F(DeliveryThreadTest, BlocksEverySignalButThoseOfFaults) {
  add(sut, first, {kA});
  ASSERT_TRUE(isDeliveryAsleepFor(kA));
  std::ifstream file("/proc/self/task/" + std::to_string(deliveryThreads()[0]) + "/status");
  std::string word;
  while (file >> word && word != "SigBlk:") {
  }
  file >> word;
  const unsigned long long blocked = std::stoull(word, nullptr, 16);
  for (int number = 1; number <= SIGRTMAX; ++number) {
    const bool isOfTheCLibrary = number > SIGSYS && number < SIGRTMIN;
    if (number != SIGKILL && number != SIGSTOP && !isOfTheCLibrary) {
      EXPECT_EQ(blocked >> (number - 1) & 1, isRaisedByAFault(number) ? 0U : 1U) << "signal " << number;
    }
  }
}

constexpr int kReported = 42;

void report(int /*number*/) {
  _exit(kReported);
}

TEST_ROLE(unit_reference_has_an_observer_with_a_fault) {
  signal(SIGSEGV, &report);
  void* const forbidden = mmap(nullptr, 1, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  Recorder faulty;
  faulty.then = [forbidden] { *static_cast<volatile char*>(forbidden) = 1; };
  VQSharedMemNotifier notifier(false);
  add(notifier, faulty, {kA});
  notify(notifier, kA);
  test_support::waitForParent();
  return 0;
}

TEST(DeliveryThread, LetsTheProgramsHandlerReportAFaultInAnObserver) {
  test_support::Child process("unit_reference_has_an_observer_with_a_fault");
  EXPECT_EQ(process.wait(), kReported);
}

TEST_F(DeliveryThreadTest, LeavesTheSignalMaskOfWhoeverStartedItAlone) {
  sigset_t before;
  sigset_t after;
  pthread_sigmask(SIG_SETMASK, nullptr, &before);
  add(sut, first, {kA});
  pthread_sigmask(SIG_SETMASK, nullptr, &after);
  for (int number = 1; number <= SIGRTMAX; ++number) {
    EXPECT_EQ(sigismember(&before, number), sigismember(&after, number)) << "signal " << number;
  }
}

TEST_F(DeliveryThreadTest, WakesForAnIdentifierThatIsAddedWhileItSleeps) {
  add(sut, first, {kA});
  ASSERT_TRUE(isDeliveryAsleepFor(kA));
  add(sut, second, {kB});
  notify(sut, kB);
  EXPECT_TRUE(waitUntil([this] { return second.count() == 1; }));
}

// Holds the delivery thread up where it is inside no observer's call: in the log's sink, with a line about losses.
class HeldUpInTheLog {
 public:
  HeldUpInTheLog() { VQDbgOutput::SetSink(&HeldUpInTheLog::holdUp, this); }
  ~HeldUpInTheLog() { VQDbgOutput::SetSink(nullptr, nullptr); }
  HeldUpInTheLog(const HeldUpInTheLog&) = delete;
  HeldUpInTheLog& operator=(const HeldUpInTheLog&) = delete;

  Gate isThere;
  Gate goOn;

 private:
  static void holdUp(const VQDbgRecord& /*record*/, void* context) {
    HeldUpInTheLog& self = *static_cast<HeldUpInTheLog*>(context);
    self.isThere.open();
    self.goOn.pass();
  }
};

TEST_F(DeliveryThreadTest, ThatIsWantedAgainByAnotherThreadDoesNotKeepTheLastRemoverWaiting) {
  HeldUpInTheLog heldUp;
  Gate mayReturn;
  first.then = [&mayReturn] { mayReturn.pass(); };
  add(sut, first, {kA});
  notify(sut, kA);
  ASSERT_TRUE(waitUntil([this] { return first.count() == 1; }));
  for (std::uint32_t i = 0; i <= vqframework::kSlotCount; ++i) {
    notify(sut, kA);
  }
  mayReturn.open();
  heldUp.isThere.pass();

  Worker remover([this] { sut.RemoveObserver(first.observer()); });
  ASSERT_TRUE(remover.isHeldUp());
  add(another, second, {kB});
  heldUp.goOn.open();

  const bool hasReturned = remover.ends();
  EXPECT_TRUE(hasReturned);
  notify(another, kB);
  EXPECT_TRUE(waitUntil([this] { return second.count() == 1; }));
  another.RemoveObserver(second.observer());  // lets the remover go in any case
}

}  // namespace
