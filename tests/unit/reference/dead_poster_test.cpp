// A poster that is killed while it posts. What it had counted in `head` is delivered, what it had not is gone, the next
// post finds everything in order and wakes whoever the dead one would have woken.
#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "platform/reference/robust_mutex.h"
#include "tests/conformance/recorder.h"
#include "tests/support/child.h"
#include "tests/support/roles.h"
#include "tests/support/wait_until.h"
#include "tests/unit/reference/log_access.h"
#include "tests/unit/reference/stepped_poster.h"

namespace {

using conformance::Recorder;
using log_access::add;
using log_access::isDeliveryAsleepFor;
using log_access::kA;
using log_access::kB;
using log_access::log;
using log_access::notify;
using log_access::object;
using log_access::SteppedPoster;
using test_support::Child;
using test_support::kSlowness;
using test_support::waitUntil;
using vqframework::IdentifierCount;
using vqframework::Message;
using vqframework::MessageLog;
using vqframework::MessageSlot;

constexpr const char kWhole[] = "whole";

// The steps of a post in their order. A poster that dies has done all up to one.
enum Step : unsigned int {
  kLocked,
  kSlotInvalid,
  kHalfWritten,
  kWritten,
  kSlotValid,
  kCounted,
  kFutexWordMoved,
  kIdentifierCounted,
  kBitCleared,
  kStepCount
};

const char* const kStepNames[kStepCount] = {"Locked",  "SlotInvalid",    "HalfWritten",       "Written",   "SlotValid",
                                            "Counted", "FutexWordMoved", "IdentifierCounted", "BitCleared"};

IdentifierCount* countOf(unsigned int id) {
  for (IdentifierCount& count : object().counts) {
    if (count.isUsed != 0 && count.id == id) {
      return &count;
    }
  }
  return nullptr;
}

void postUpTo(unsigned int last) {
  const std::uint64_t head = object().head;
  IdentifierCount& count = *countOf(kA);
  MessageSlot& slot = object().slots[head % vqframework::kSlotCount];
  const auto doStep = [last](unsigned int step, auto action) {
    if (step <= last) {
      action();
    }
  };
  doStep(kLocked, [] { vqframework::lockRobustMutex(object().postingLock); });
  doStep(kSlotInvalid, [&] { slot.sequence = 0; });
  doStep(kHalfWritten, [&] {
    slot.id = kA;
    slot.size = 5;
    slot.payload[0] = 0;
  });
  doStep(kWritten, [&] {
    vqframework::MessageWord word = 0;
    memcpy(&word, kWhole, sizeof word < 5 ? sizeof word : 5);
    slot.payload[0] = word;
    if (sizeof word < 5) {
      slot.payload[1] = static_cast<unsigned char>(kWhole[4]);
    }
    slot.number = count.posted.load();
  });
  doStep(kSlotValid, [&] { slot.sequence = head + 1; });
  doStep(kCounted, [&] { object().head = head + 1; });
  doStep(kFutexWordMoved, [&] { ++object().posted; });
  doStep(kIdentifierCounted, [&] { ++count.posted; });
  doStep(kBitCleared, [&] {
    object().sleepers &= ~MessageLog::groupOf(kA);
    ++object().posted;
    object().owed |= MessageLog::groupOf(kA);
  });
}

TEST_ROLE(unit_reference_dies_while_it_posts) {
  postUpTo(static_cast<unsigned int>(std::stoul(args.at(0))));
  kill(getpid(), SIGKILL);
  return 0;
}

class DeadPosterTest : public testing::TestWithParam<unsigned int> {
 protected:
  DeadPosterTest() {
    notify(sut, kA, "before");  // so that the identifier has a count
    add(sut, recorder, {kA});
    notify(sut, kA, "first");
  }

  // Dies after the step that the test is about, while the receiver sleeps.
  void die() {
    ASSERT_TRUE(waitUntil([this] { return recorder.count() == 1; }));
    ASSERT_TRUE(isDeliveryAsleepFor(kA));
    number = countOf(kA)->posted;
    head = object().head;
    Child poster("unit_reference_dies_while_it_posts", {std::to_string(GetParam())});
    EXPECT_EQ(poster.wait(), 128 + SIGKILL);
  }
  bool isCounted() const { return GetParam() >= kCounted; }
  std::vector<std::string> expected(const std::string& next) const {
    return isCounted() ? std::vector<std::string>{"first", kWhole, next} : std::vector<std::string>{"first", next};
  }

  Recorder recorder;
  VQSharedMemNotifier sut{false};
  std::uint32_t number = 0;  // of the message that the poster died of
  std::uint64_t head = 0;    // its sequence number
};

TEST_P(DeadPosterTest, IsFollowedByTheNextMessageAndIsDeliveredWholeOrNotAtAll) {
  die();
  EXPECT_TRUE(notify(sut, kA, "next"));
  ASSERT_TRUE(waitUntil([this] { return recorder.count() == expected("next").size(); }));
  EXPECT_EQ(recorder.payloads(), expected("next"));
}

TEST_P(DeadPosterTest, LeavesTheNumbersOfTheMessagesWithoutAGap) {
  die();
  notify(sut, kA, "next");
  const std::uint64_t sequence = head + (isCounted() ? 1 : 0);
  Message next;
  ASSERT_EQ(log().read(sequence, next), MessageLog::Read::kTaken);
  EXPECT_EQ(next.number, number + (isCounted() ? 1 : 0));
  EXPECT_EQ(countOf(kA)->posted, next.number + 1);
  EXPECT_EQ(object().head, sequence + 1);
}

TEST_P(DeadPosterTest, IsPaidForByTheNextPostOfAnotherGroup) {
  die();
  notify(sut, kB);
  const std::size_t count = isCounted() ? 2 : 1;
  EXPECT_TRUE(waitUntil([&] { return recorder.count() == count; }));
  EXPECT_TRUE(isDeliveryAsleepFor(kA));
  EXPECT_EQ(recorder.count(), count);
}

TEST_P(DeadPosterTest, LeavesReceiversThatSleepWhileNothingIsPosted) {
  die();
  log().wake(0xFFFFU);
  Recorder another;
  add(sut, another, {kB});  // makes the receiver look
  EXPECT_TRUE(isDeliveryAsleepFor(kB));
}

INSTANTIATE_TEST_SUITE_P(After, DeadPosterTest, testing::Range(0U, static_cast<unsigned int>(kStepCount)),
                         [](const auto& tested) { return std::string(kStepNames[tested.param]); });

TEST(DeadPosterOfANewIdentifier, LeavesAFreeRowOfTheTableOfIdentifiers) {
  constexpr unsigned int kNew = 0x7D000003U;
  VQSharedMemNotifier sut(false);
  notify(sut, kA);
  for (IdentifierCount& count : object().counts) {
    if (count.isUsed == 0) {
      count.id = kNew;  // as far as a dead poster came
      break;
    }
  }
  EXPECT_EQ(countOf(kNew), nullptr);
  notify(sut, kB);
  notify(sut, kNew);
  ASSERT_NE(countOf(kNew), nullptr);
  EXPECT_EQ(countOf(kNew)->posted, 1U);
}

// A receiver that finds nothing new must sleep, also where the futex word lags behind the count of messages.
TEST(DeadPosterThatCountedItsMessage, LeavesReceiversAsleepAndNotBusy) {
  Recorder recorder;
  VQSharedMemNotifier sut(false);
  add(sut, recorder, {kA});
  notify(sut, kA, "first");
  ASSERT_TRUE(waitUntil([&] { return recorder.count() == 1; }));
  ASSERT_TRUE(isDeliveryAsleepFor(kA));
  Child poster("unit_reference_dies_while_it_posts", {std::to_string(kCounted)});
  ASSERT_EQ(poster.wait(), 128 + SIGKILL);
  object().owed |= MessageLog::groupOf(kA);
  log().wake(MessageLog::groupOf(kA));  // another poster's wake-up
  ASSERT_TRUE(waitUntil([&] { return recorder.count() == 2; }));
  EXPECT_TRUE(isDeliveryAsleepFor(kA));
}

// The same with a real post, killed after every few of its instructions (each takes a process of its own; the stride
// is odd, so that short loops are met at each of their places).
TEST(PosterKilledAnywhere, StopsNobodyAndLosesNothingThatWasCounted) {
  const std::string payload = "whole payload of the dead poster";
  const auto post = [&payload] { log().post(kA, payload.data(), static_cast<std::uint32_t>(payload.size())); };
  const unsigned int stride = kSlowness > 1 ? 101 : 7;
  Recorder recorder;
  VQSharedMemNotifier sut(false);
  add(sut, recorder, {kA});
  post();  // resolves what a post calls, once for all forks
  unsigned int expected = 1;
  bool isRunning = true;
  unsigned int kills = 0;
  for (unsigned int instructions = 0; isRunning; instructions += stride) {
    ASSERT_TRUE(waitUntil([&] { return recorder.count() == expected; })) << instructions << " instructions";
    ASSERT_TRUE(isDeliveryAsleepFor(kA));
    const std::uint64_t head = object().head;
    {
      SteppedPoster poster(post);
      for (unsigned int i = 0; i < instructions && isRunning; ++i) {
        isRunning = poster.step();
      }
      poster.kill();
    }
    expected += static_cast<unsigned int>(object().head - head);
    notify(sut, kB);  // of another group: it pays for the dead one
    ++kills;
  }
  ASSERT_TRUE(waitUntil([&] { return recorder.count() == expected; }));
  EXPECT_GT(kills, 5U);
  for (const std::string& delivered : recorder.payloads()) {
    EXPECT_EQ(delivered, payload);
  }
}

}  // namespace
