// The storm's model on stretches made by hand: what it must accept, and what it must not.
#include "tests/storm/model.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace storm {
namespace {

constexpr pid_t kAppPid = 100;
constexpr pid_t kPhonePid = 200;
constexpr pid_t kStarterPid = 300;
constexpr pid_t kDeadPid = 400;
constexpr std::uint64_t kEnd = 1'000'000;

Event sending(std::uint32_t sequence, std::uint32_t size, std::uint64_t time) {
  Event event;
  event.kind = EventKind::kSending;
  event.ring = kFromHU;
  event.time = time;
  event.stamp = {1, 1, sequence, size, 0, 0, 0};
  return event;
}

Life lifeOf(const char* name, Kind kind, pid_t pid) {
  Life life;
  life.name = name;
  life.kind = kind;
  life.number = 1;
  life.pid = pid;
  life.readyTime = 1;
  life.killTime = life.deathTime = kEnd;
  return life;
}

// An app that sends to a device side. Message n of the log is sent at time 10 n + 10 and announced one later.
class ModelTest : public testing::Test {
 public:
  ModelTest() { sut_.lives = {lifeOf("app 1.1", Kind::kApp, kAppPid), lifeOf("phone 1.1", Kind::kPhone, kPhonePid)}; }

 protected:
  using Kinds = std::vector<std::string>;

  Life& app() { return sut_.lives[0]; }
  Life& phone() { return sut_.lives[1]; }

  void send(std::uint32_t size, std::uint32_t slot) {
    const std::uint64_t number = sut_.log.size();
    app().events.push_back(sending(static_cast<std::uint32_t>(number), size, 10 * number + 10));
    LogEntry entry;
    entry.sequence = number;
    entry.time = 10 * number + 11;
    entry.id = kFromHU;
    entry.pid = kAppPid;
    entry.app = 1;
    entry.slot = slot;
    sut_.log.push_back(entry);
  }

  // The bytes of message `other` for message `number`, or its own, when all that was sent so far is in the log.
  void receive(std::uint64_t number, std::uint64_t other) {
    Event event;
    event.kind = EventKind::kReceived;
    event.ring = kFromHU;
    event.sequence = number;
    event.head = sut_.log.size();
    event.time = 10 * sut_.log.size() + 15;
    event.stamp = app().events[other].stamp;
    event.size = event.stamp.size;
    event.isWhole = true;
    phone().events.push_back(event);
  }
  void receive(std::uint64_t number) { receive(number, number); }

  void receiveBytes(std::uint64_t number, std::uint32_t size, std::vector<std::uint8_t> bytes) {
    receive(number);
    Event& event = phone().events.back();
    event.isWhole = false;
    event.size = size;
    event.exhibit = static_cast<std::int32_t>(phone().exhibits.size());
    bytes.resize(kLargestMessage);
    phone().exhibits.push_back(std::move(bytes));
  }

  std::vector<std::uint8_t> bytesOf(std::uint64_t number) { return messageOf(app().events[number].stamp); }

  // Somebody whose endpoints start in this time.
  void startSomebody(std::uint64_t begin, std::uint64_t end) {
    Life life = lifeOf("watcher 1.1", Kind::kWatcher, kStarterPid);
    life.startTime = begin;
    life.readyTime = end;
    sut_.lives.push_back(life);
  }

  // An app that is killed while it sends. Returns what it was sending.
  std::vector<std::uint8_t> dieWriting(std::uint32_t size, std::uint64_t time) {
    Life life = lifeOf("app 2.1", Kind::kApp, kDeadPid);
    life.killTime = life.deathTime = time;
    life.events.push_back(sending(77, size, time));
    sut_.lives.push_back(life);
    return messageOf(life.events[0].stamp);
  }

  Kinds faults() const {
    Kinds kinds;
    for (const auto& [kind, count] : judge(sut_).faults) {
      kinds.push_back(kind);
    }
    return kinds;
  }
  Counts counts() const { return judge(sut_).counts; }

  Stretch sut_;
};

TEST_F(ModelTest, AcceptsMessagesThatArriveAsTheyWereSent) {
  for (std::uint32_t i = 0; i < 90; ++i) {
    send(40 + i, i % 40);
    receive(i);
  }
  EXPECT_EQ(faults(), Kinds());
  EXPECT_EQ(counts().received, 90U);
}

TEST_F(ModelTest, FindsAMessageThatIsMissingBeforeOneThatCame) {
  for (std::uint32_t i = 0; i < 3; ++i) {
    send(50, i);
  }
  receive(0);
  receive(2);
  EXPECT_EQ(faults(), Kinds({"lost"}));
}

TEST_F(ModelTest, ForgivesWhatAKilledReceiverHadNotRead) {
  send(50, 0);
  send(50, 1);
  receive(0);
  EXPECT_EQ(faults(), Kinds());
}

TEST_F(ModelTest, FindsWhatIsMissingWhereTheReceiverWasSeenToHaveReadOn) {
  send(50, 0);
  send(50, 1);
  receive(0);
  phone().mustHave = 2;
  EXPECT_EQ(faults(), Kinds({"lost"}));
}

TEST_F(ModelTest, ForgivesWhatWasSentBeforeTheReceiverWasReady) {
  send(50, 0);
  send(50, 1);
  receive(1);
  phone().readyHead = 1;
  EXPECT_EQ(faults(), Kinds());
}

TEST_F(ModelTest, FindsAMessageThatCameTwice) {
  send(50, 0);
  receive(0);
  receive(0);
  EXPECT_EQ(faults(), Kinds({"repeated"}));
}

TEST_F(ModelTest, FindsAnAnnouncementThatNobodySent) {
  send(50, 0);
  receive(0);
  send(50, 1);
  app().events.pop_back();
  EXPECT_EQ(faults(), Kinds({"foreign"}));
}

TEST_F(ModelTest, FindsSendsThatWereNeverAnnounced) {
  send(50, 0);
  receive(0);
  app().events.push_back(sending(1, 50, 100));
  app().events.push_back(sending(2, 50, 101));
  EXPECT_EQ(faults(), Kinds({"lost"}));
}

TEST_F(ModelTest, ForgivesTheLastSendOfAKilledProcess) {
  send(50, 0);
  receive(0);
  app().events.push_back(sending(1, 50, 100));
  EXPECT_EQ(faults(), Kinds());
  EXPECT_EQ(counts().neverAnnounced, 1U);
}

TEST_F(ModelTest, FindsAChangedByte) {
  send(50, 0);
  std::vector<std::uint8_t> bytes = bytesOf(0);
  bytes[45] = static_cast<std::uint8_t>(bytes[45] + 1);
  receiveBytes(0, 50, bytes);
  EXPECT_EQ(faults(), Kinds({"corrupted"}));
}

TEST_F(ModelTest, FindsAnotherMessageInItsPlace) {
  send(50, 0);
  send(60, 1);
  receive(0, 1);
  receive(1);
  EXPECT_EQ(faults(), Kinds({"corrupted"}));
}

TEST_F(ModelTest, RefusesASlotThatIsUsedAgainWithoutAStart) {
  send(50, 0);
  send(60, 0);
  startSomebody(22, 30);  // after the second send
  receive(0);
  receive(1);
  EXPECT_EQ(faults(), Kinds({"place"}));
}

TEST_F(ModelTest, RefusesASlotThatNobodyHasUsed) {
  send(50, 0);
  send(50, 2);
  receive(0);
  receive(1);
  EXPECT_EQ(faults(), Kinds({"place"}));
}

TEST_F(ModelTest, AcceptsASlotThatAKilledWriterHasUsedWithoutAnAnnouncement) {
  send(50, 0);
  dieWriting(60, 15);
  send(50, 2);
  receive(0);
  receive(1);
  EXPECT_EQ(faults(), Kinds());
}

TEST_F(ModelTest, TellsWhereTheRingHasGoneRoundUnread) {
  for (std::uint32_t i = 0; i <= 40; ++i) {
    send(50, i % 40);
  }
  receive(0, 40);
  for (std::uint32_t i = 1; i <= 40; ++i) {
    receive(i);
  }
  EXPECT_EQ(faults(), Kinds({"corrupted", "pacing"}));
}

TEST_F(ModelTest, WantsAnAnswerToEachMessageOfACalmPhase) {
  for (std::uint32_t i = 0; i < kCalmMessages; ++i) {
    send(50, i % 40);
    receive(i);
  }
  sut_.calm.push_back({2, kEnd - 1});
  const Verdict verdict = judge(sut_);
  EXPECT_EQ(verdict.faults.at("calm"), 1U);
  EXPECT_NE(verdict.reports.front().find("0 answers"), std::string::npos) << verdict.reports.front();
}

// Slot 0 is used twice, since somebody starts between the two sends.
class ModelOfAStartTest : public ModelTest {
 public:
  ModelOfAStartTest() {
    send(50, 0);
    startSomebody(13, 18);
  }
};

TEST_F(ModelOfAStartTest, AcceptsTheLaterMessageInTheFirstOnesPlace) {
  send(400, 0);
  receive(0, 1);
  receive(1);
  EXPECT_EQ(faults(), Kinds());
  EXPECT_EQ(counts().overtaken, 1U);
  EXPECT_EQ(counts().setBack, 1U);
}

TEST_F(ModelOfAStartTest, AcceptsTheFirstOnesSizeWithTheLaterOnesBytes) {
  send(400, 0);
  receiveBytes(0, 50, bytesOf(1));
  receive(1);
  EXPECT_EQ(faults(), Kinds());
  EXPECT_EQ(counts().mixed, 1U);
}

TEST_F(ModelOfAStartTest, AcceptsTheFirstOnesSizeWithZerosBehindAShorterOne) {
  send(45, 0);
  receiveBytes(0, 50, bytesOf(1));
  receive(1);
  EXPECT_EQ(faults(), Kinds());
  EXPECT_EQ(counts().mixed, 1U);
}

TEST_F(ModelOfAStartTest, RefusesBytesOfNeither) {
  send(400, 0);
  std::vector<std::uint8_t> bytes = bytesOf(1);
  bytes[20] = static_cast<std::uint8_t>(bytes[20] + 1);
  receiveBytes(0, 50, bytes);
  receive(1);
  EXPECT_EQ(faults(), Kinds({"corrupted"}));
}

TEST_F(ModelOfAStartTest, RefusesASizeOfNeither) {
  send(400, 0);
  receiveBytes(0, 51, bytesOf(1));
  receive(1);
  EXPECT_EQ(faults(), Kinds({"corrupted"}));
}

TEST_F(ModelOfAStartTest, RefusesBytesOfBothWhereBothWritersLived) {
  send(400, 0);
  std::vector<std::uint8_t> bytes = bytesOf(0);
  const std::vector<std::uint8_t> later = bytesOf(1);
  std::copy(later.begin(), later.begin() + 20, bytes.begin());
  receiveBytes(0, 50, bytes);
  receive(1);
  EXPECT_EQ(faults(), Kinds({"corrupted"}));
}

TEST_F(ModelOfAStartTest, AcceptsBytesOfBothWhereTheLaterWriterWasKilledOnTheWay) {
  const std::vector<std::uint8_t> later = dieWriting(400, 20);
  std::vector<std::uint8_t> bytes = bytesOf(0);
  std::copy(later.begin(), later.begin() + 20, bytes.begin());
  receiveBytes(0, 50, bytes);
  EXPECT_EQ(faults(), Kinds());
  EXPECT_EQ(counts().torn, 1U);
}

TEST_F(ModelOfAStartTest, RefusesAMessageThatWasNotYetSent) {
  receive(0);
  send(400, 0);
  receive(1);
  phone().events[0].stamp = app().events[1].stamp;
  EXPECT_EQ(faults(), Kinds({"corrupted"}));
}

TEST_F(ModelOfAStartTest, RefusesExceptionsInACalmPhase) {
  send(400, 0);
  receive(0, 1);
  receive(1);
  sut_.calm.push_back({phone().events[0].time, phone().events[0].time});
  app().readyTime = 0;  // its own account of the phase is none of this test's
  EXPECT_EQ(faults(), Kinds({"calm"}));
}

TEST(PayloadTest, ShowsEveryChangedByte) {
  const std::vector<std::uint8_t> message = messageOf({1, 2, 3, 100, 4, 5, 6});
  ASSERT_TRUE(readMessage(message.data(), message.size()));
  for (std::size_t i = 0; i < message.size(); ++i) {
    std::vector<std::uint8_t> changed = message;
    changed[i] = static_cast<std::uint8_t>(changed[i] + 1);
    EXPECT_FALSE(readMessage(changed.data(), changed.size())) << "byte " << i;
  }
}

TEST(PayloadTest, ShowsAnotherSize) {
  std::vector<std::uint8_t> message = messageOf({1, 2, 3, 100, 4, 5, 6});
  EXPECT_FALSE(readMessage(message.data(), 99));
  message.push_back(0);
  EXPECT_FALSE(readMessage(message.data(), 101));
}

TEST(PayloadTest, TellsWhoSentIt) {
  const Stamp stamp = {1, 2, 3, kLargestMessage, 4, 5, 6};
  const std::vector<std::uint8_t> message = messageOf(stamp);
  const std::optional<Stamp> read = readMessage(message.data(), message.size());
  ASSERT_TRUE(read);
  EXPECT_TRUE(*read == stamp);
}

TEST(PayloadTest, ShowsAChangedText) {
  std::string text = textOf(1, 2);
  EXPECT_TRUE(isWholeText(text));
  text[0] = 'x';
  EXPECT_FALSE(isWholeText(text));
  EXPECT_LE(textOf(7, 12345).size(), 255U);
}

}  // namespace
}  // namespace storm
