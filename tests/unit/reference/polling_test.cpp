// Polling: when the delivery thread looks again before it sleeps, and when it does not.
#include "platform/reference/polling.h"

#include <gmock/gmock.h>
#include <stdlib.h>

#include <cstdint>
#include <vector>

#include "log_access.h"
#include "platform/reference/process_id.h"
#include "tests/unit/reference/log_lines.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vqframework::kGroupCount;
using vqframework::Message;
using vqframework::MessageLog;
using vqframework::Polling;
using vqframework::processId;
using vqframework::RecentProcessor;

constexpr int kOwnProcessor = 3;
constexpr std::uint32_t kOtherProcessor = 4;
constexpr unsigned int kNeeded = 4;
constexpr std::uint64_t kMicrosecond = 1000;

int ownProcessor() {
  return kOwnProcessor;
}

std::uint64_t present = 1'000'000'000;

std::uint64_t tick() {
  return present += kMicrosecond;
}

class PollingTest : public testing::Test {
 public:
  PollingTest() { hear(); }  // from which the next gap counts
  ~PollingTest() override {
    log().object().sleepers = 0;
    for (auto& place : log().object().places) {
      place.pid = 0;
    }
  }

  static MessageLog& log() { return *MessageLog::get(); }

  // A message that comes so long after the one before.
  void hear(std::uint64_t gap = kMicrosecond, std::uint32_t pid = processId() + 1) {
    Message message;
    present += gap;
    message.time = present;
    message.pid = pid;
    message.processor = processor;
    sut.onMessage(message);
  }

  void hear(unsigned int count, std::uint64_t gap, std::uint32_t pid) {
    for (unsigned int i = 0; i < count; ++i) {
      hear(gap, pid);
    }
  }

  void hearSoon(unsigned int count) { hear(count, kMicrosecond, processId() + 1); }
  void hearOwn(unsigned int count) { hear(count, kMicrosecond, processId()); }

  // Whether it notices what was posted before it looked: true without waiting for anybody, unless it does not look.
  bool looks() { return sut.bridges(log(), log().posted() - 1); }
  // The same where nothing is posted.
  bool looksInVain() { return sut.bridges(log(), log().posted()); }

  std::uint32_t processor = kOtherProcessor;
  Polling sut{true, &ownProcessor, &tick};
};

TEST_F(PollingTest, SleepsAtOnceInTheBeginning) {
  EXPECT_FALSE(looks());
}

TEST_F(PollingTest, LooksAfterFourMessagesThatCameSoon) {
  hearSoon(kNeeded - 1);
  EXPECT_FALSE(looks());
  hearSoon(1);
  EXPECT_TRUE(looks());
}

TEST_F(PollingTest, BeginsToCountAnewAfterAMessageThatCameLater) {
  hearSoon(kNeeded - 1);
  hear(200 * kMicrosecond);
  hearSoon(kNeeded - 1);
  EXPECT_FALSE(looks());
  hearSoon(1);
  EXPECT_TRUE(looks());
}

TEST_F(PollingTest, NeverLooksWhereItIsOff) {
  Polling off(false, &ownProcessor, &tick);
  Message message;
  message.pid = processId() + 1;
  message.processor = kOtherProcessor;
  for (unsigned int i = 0; i < 4 * kNeeded; ++i) {
    message.time += kMicrosecond;
    off.onMessage(message);
  }
  EXPECT_FALSE(off.bridges(log(), log().posted() - 1));
}

TEST_F(PollingTest, StopsWhenNothingComesAndNeedsTwiceAsManyToBeginAgain) {
  hearSoon(kNeeded);
  EXPECT_FALSE(looksInVain());
  hearSoon(2 * kNeeded - 1);
  EXPECT_FALSE(looks());
  hearSoon(1);
  EXPECT_TRUE(looks());
}

TEST_F(PollingTest, NeedsNoMoreThanBeforeOnceItHasPaid) {
  hearSoon(kNeeded);
  for (int i = 0; i < 4; ++i) {
    ASSERT_TRUE(looks());
    hearSoon(1);
  }
  EXPECT_FALSE(looksInVain());
  hearSoon(kNeeded);
  EXPECT_TRUE(looks());
}

TEST_F(PollingTest, StopsWhenAMessageWasFoundLate) {
  hearSoon(kNeeded);
  ASSERT_TRUE(looks());
  Message late;
  late.pid = processId() + 1;
  late.processor = kOtherProcessor;
  late.time = present;
  present += 10'000 * kMicrosecond;
  sut.onMessage(late);
  EXPECT_FALSE(looks());
}

TEST_F(PollingTest, OwnAnswersInBetweenCountForNothing) {
  for (unsigned int i = 0; i + 1 < kNeeded; ++i) {
    hearSoon(1);
    hearOwn(1);
  }
  EXPECT_FALSE(looks());
  hearSoon(1);
  hearOwn(1);
  EXPECT_TRUE(looks());
}

TEST_F(PollingTest, AStreamOfOwnMessagesCountsInTheEnd) {
  hearOwn(15);
  EXPECT_FALSE(looks());
  hearOwn(kNeeded);
  EXPECT_TRUE(looks());
}

TEST_F(PollingTest, NeverLooksWhileSeveralReceiversSleep) {
  hearSoon(kNeeded);
  log().object().sleepers = 1U << kGroupCount;
  EXPECT_TRUE(looks());
  log().object().sleepers = 2U << kGroupCount;
  EXPECT_FALSE(looks());
}

TEST_F(PollingTest, LooksFromAnotherProcessorOnlyWhereReceiversAreFew) {
  hearSoon(kNeeded);
  for (auto& place : log().object().places) {
    place.pid = 1;
  }
  EXPECT_FALSE(looks());
}

TEST_F(PollingTest, YieldsOnTheSendersProcessorWhereverReceiversAreMany) {
  processor = kOwnProcessor;
  hearSoon(kNeeded);
  for (auto& place : log().object().places) {
    place.pid = 1;
  }
  EXPECT_TRUE(looks());
}

TEST(PollingSetting, OtherValuesAreReportedAndTakenAsAuto) {
  const reference::LogLines log;
  setenv("VQ_NOTIFIER_POLL", "20", 1);
  const Polling sut;
  EXPECT_THAT(log.lines(), ElementsAre("VQFramework/SharedMemory/VQSharedMemNotifier:0 deliver 1 "
                                       "VQ_NOTIFIER_POLL=20 is neither \"auto\" nor \"off\"; taken as auto\n"));
  unsetenv("VQ_NOTIFIER_POLL");
}

TEST(PollingSetting, AutoAndOffAreTakenSilently) {
  const reference::LogLines log;
  for (const char* const value : {"auto", "off"}) {
    setenv("VQ_NOTIFIER_POLL", value, 1);
    const Polling sut;
  }
  EXPECT_THAT(log.lines(), IsEmpty());
  unsetenv("VQ_NOTIFIER_POLL");
}

int questions = 0;

int countQuestion() {
  return ++questions;
}

TEST(RecentProcessor, AsksAtEveryEighthCall) {
  questions = 0;
  RecentProcessor sut(&countQuestion);
  std::vector<std::uint32_t> answers(17);
  for (std::uint32_t& answer : answers) {
    answer = sut.now();
  }
  EXPECT_THAT(answers, ElementsAre(1, 1, 1, 1, 1, 1, 1, 1, 2, 2, 2, 2, 2, 2, 2, 2, 3));
}

}  // namespace
