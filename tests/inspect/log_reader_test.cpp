// Messages of the log, and a log that is not what it should be.
#include "inspect/log_reader.h"

#include <unistd.h>

#include <thread>

#include "inspect/log_view.h"
#include "tests/inspect/inspect_fixture.h"

namespace {

using inspect::kSharedMemory;
using inspect::LogReader;
using inspect::Message;
using test_support::pokeShmWord;
using testing::HasSubstr;
using vqframework::kMessageLogName;
using vqframework::kSlotCount;
using vqframework::SharedHeader;

class LogOutside : public InspectTest {
 public:
  std::vector<Message> readAll(LogReader::Range* result = nullptr) const {
    const LogReader sut(kSharedMemory);
    std::vector<Message> messages;
    const std::uint64_t head = sut.head();
    const LogReader::Range range = sut.read(LogReader::oldest(head), head, kSlotCount, messages);
    if (result != nullptr) {
      *result = range;
    }
    return messages;
  }

  hand_made::Log log_;
};

TEST_F(LogOutside, gives_each_message_once_and_in_order) {
  log_.post(4, "one");
  log_.postForNobody();
  log_.post(1000, "two");
  log_.post(4, std::string(352, 'z'));
  const std::vector<Message> messages = readAll();
  ASSERT_EQ(messages.size(), 4U);
  EXPECT_EQ(messages[0].sequence, 0U);
  EXPECT_EQ(messages[0].id, 4U);
  EXPECT_EQ(messages[0].size, 3U);
  EXPECT_EQ(messages[0].pid, static_cast<std::uint32_t>(getpid()));
  EXPECT_EQ(std::string(messages[0].payload.begin(), messages[0].payload.begin() + 4), std::string("one\0", 4));
  EXPECT_TRUE(messages[1].isForNobody);
  EXPECT_EQ(messages[2].number, 0U);
  EXPECT_EQ(messages[3].number, 1U);
  EXPECT_EQ(messages[3].size, 352U);
  EXPECT_GE(messages[3].time, messages[0].time);
}

TEST_F(LogOutside, gives_what_is_left_where_it_has_gone_round) {
  for (std::uint32_t i = 0; i < kSlotCount + 100; ++i) {
    log_.post(4, &i, sizeof i);
  }
  LogReader::Range range;
  const std::vector<Message> messages = readAll(&range);
  // The oldest slot may be in a poster's hands at any time.
  ASSERT_EQ(messages.size(), kSlotCount - 1);
  EXPECT_EQ(range.overwritten, 1U);
  EXPECT_EQ(range.end, kSlotCount + 100);
  for (std::size_t i = 0; i < messages.size(); ++i) {
    ASSERT_EQ(messages[i].sequence, 101 + i);
    ASSERT_EQ(messages[i].number, 101 + i);
  }
}

TEST_F(LogOutside, gives_so_many_at_most_and_says_where_it_stopped) {
  for (int i = 0; i < 700; ++i) {
    log_.post(4, "x");
  }
  const LogReader sut(kSharedMemory);
  std::vector<Message> messages;
  EXPECT_EQ(sut.read(10, sut.head(), 300, messages).end, 310U);
  EXPECT_EQ(messages.size(), 300U);
  EXPECT_EQ(messages.front().sequence, 10U);
}

TEST_F(LogOutside, counts_slots_that_hold_something_else) {
  for (int i = 0; i < 5; ++i) {
    log_.post(4, "x");
  }
  log_.slot(2).sequence.store(99);
  LogReader::Range range;
  EXPECT_EQ(readAll(&range).size(), 4U);
  EXPECT_EQ(range.damaged, 1U);
}

TEST_F(LogOutside, takes_a_payload_that_is_too_long_for_none) {
  log_.post(4, "x");
  log_.slot(0).size.store(353);
  const std::vector<Message> messages = readAll();
  ASSERT_EQ(messages.size(), 1U);
  EXPECT_EQ(messages[0].size, 0U);
  EXPECT_EQ(messages[0].sizeWord, 353U);
}

TEST_F(LogOutside, does_not_run_on_where_its_head_is_absurd) {
  log_.post(4, "x");
  log_.object().head.store(~std::uint64_t{0});
  LogReader::Range range;
  EXPECT_TRUE(readAll(&range).empty());
  EXPECT_EQ(range.damaged + range.overwritten, kSlotCount);
}

TEST_F(LogOutside, is_refused_in_words_where_it_is_another_layout) {
  const auto problemWith = [](std::size_t offset, std::uint32_t word) {
    const auto before = test_support::shmWord(kMessageLogName, offset);
    EXPECT_TRUE(pokeShmWord(kMessageLogName, offset, word));
    std::string problem = LogReader(kSharedMemory).problem();
    EXPECT_TRUE(pokeShmWord(kMessageLogName, offset, *before));
    return problem;
  };
  EXPECT_EQ(LogReader(kSharedMemory).problem(), "");
  EXPECT_EQ(problemWith(offsetof(SharedHeader, magic), 1), "holds something else");
  EXPECT_EQ(problemWith(offsetof(SharedHeader, layoutVersion), 99), "has layout version 99, not 3");
  EXPECT_THAT(problemWith(offsetof(SharedHeader, wordSize), 3), HasSubstr("pointers have 3 bytes"));
  EXPECT_THAT(problemWith(offsetof(SharedHeader, mutexSize), 0), HasSubstr("another C library"));
  EXPECT_THAT(problemWith(offsetof(SharedHeader, objectSize), 0), HasSubstr("another C library"));
  EXPECT_THAT(problemWith(offsetof(SharedHeader, isReady), 0), HasSubstr("not whole"));
}

TEST_F(LogOutside, is_read_where_processes_of_another_word_size_made_it) {
  struct Maker {
    std::uint32_t wordSize;
    std::uint32_t mutexSize;
  };
  for (const Maker& maker : {Maker{4, 24}, Maker{8, 40}, Maker{8, 48}}) {
    ASSERT_TRUE(pokeShmWord(kMessageLogName, offsetof(SharedHeader, wordSize), maker.wordSize));
    ASSERT_TRUE(pokeShmWord(kMessageLogName, offsetof(SharedHeader, mutexSize), maker.mutexSize));
    EXPECT_EQ(LogReader(kSharedMemory).problem(), "") << maker.wordSize << ' ' << maker.mutexSize;
  }
}

TEST_F(LogOutside, is_no_longer_current_when_it_shrinks_or_is_removed) {
  const LogReader sut(kSharedMemory);
  EXPECT_TRUE(sut.isCurrent());
  ASSERT_EQ(truncate(test_support::shmFile(kMessageLogName).c_str(), 5000), 0);
  EXPECT_FALSE(sut.isCurrent());
  EXPECT_THAT(LogReader(kSharedMemory).problem(), HasSubstr("is shorter than its"));
  test_support::removeShm(kMessageLogName);
  EXPECT_FALSE(sut.isCurrent());
  EXPECT_EQ(LogReader(kSharedMemory).problem(), "is not there");
}

TEST_F(LogOutside, shows_receivers_sleepers_and_counts) {
  log_.listReceiver(3, 4711, 2, {4, 5});
  log_.place(3).lost.store(9);
  log_.place(3).startTime.store(12345);
  log_.place(3).name[0].store('n');
  log_.object().sleepers.store(2U << 16 | 0x30);
  log_.object().owed.store(7U << 16 | 0x10);
  for (int i = 0; i < 3; ++i) {
    log_.post(4, "x");
  }
  const inspect::Log sut = inspect::readLog(LogReader(kSharedMemory));
  EXPECT_EQ(sut.head, 3U);
  EXPECT_EQ(sut.sleepers, 2U);
  EXPECT_EQ(sut.sleepingGroups, 0x30U);
  EXPECT_EQ(sut.owedGroups, 0x10U);
  ASSERT_EQ(sut.tallies.size(), 1U);
  EXPECT_EQ(sut.tallies[0].posted, 3U);
  ASSERT_EQ(sut.receivers.size(), 1U);
  EXPECT_EQ(sut.receivers[0].place, 3U);
  EXPECT_EQ(sut.receivers[0].pid, 4711U);
  EXPECT_EQ(sut.receivers[0].startTime, 12345U);
  EXPECT_EQ(sut.receivers[0].name, "n");
  EXPECT_EQ(sut.receivers[0].identifiers, (std::vector<std::uint32_t>{4, 5}));
  EXPECT_EQ(sut.receivers[0].position, 2U);
  EXPECT_EQ(sut.receivers[0].lost, 9U);
}

TEST_F(LogOutside, lists_16_identifiers_of_a_receiver_at_most) {
  log_.listReceiver(0, 1, 0, {});
  log_.place(0).idCount.store(0xFFFFFFFF);
  const inspect::Log sut = inspect::readLog(LogReader(kSharedMemory));
  ASSERT_EQ(sut.receivers.size(), 1U);
  EXPECT_EQ(sut.receivers[0].identifierCount, 0xFFFFFFFFU);
  EXPECT_EQ(sut.receivers[0].identifiers.size(), 16U);
}

// A reader that took a message's bytes while they were overwritten would mix two fillings.
TEST_F(LogOutside, never_gives_a_torn_message_under_a_poster_that_never_pauses) {
  std::atomic<bool> isDone{false};
  std::thread poster([&] {
    for (std::uint32_t i = 0; i < 400000; ++i) {
      const std::string payload(352, static_cast<char>('a' + i % 26));
      log_.post(4, payload);
    }
    isDone.store(true);
  });
  const LogReader sut(kSharedMemory);
  std::uint64_t position = 0;
  std::uint64_t seen = 0;
  std::uint64_t gone = 0;
  bool isLast = false;
  while (!isLast) {
    isLast = isDone.load();
    std::vector<Message> messages;
    const LogReader::Range range = sut.read(position, sut.head(), kSlotCount, messages);
    position = range.end;
    gone += range.overwritten;
    seen += messages.size();
    EXPECT_EQ(range.damaged, 0U);
    for (const Message& message : messages) {
      const char filling = static_cast<char>('a' + message.sequence % 26);
      const bool isWhole = std::all_of(message.payload.begin(), message.payload.end(), [filling](std::uint8_t byte) {
        return byte == static_cast<std::uint8_t>(filling);
      });
      ASSERT_TRUE(isWhole) << message.sequence;
    }
  }
  poster.join();
  EXPECT_EQ(position, 400000U);
  EXPECT_EQ(seen + gone, 400000U);
  EXPECT_GT(seen, 0U);
}

}  // namespace
