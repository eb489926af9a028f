// A receiver that falls behind the whole log.
#include <gmock/gmock.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "tests/conformance/recorder.h"
#include "tests/conformance/worker.h"
#include "tests/support/child.h"
#include "tests/support/roles.h"
#include "tests/support/wait_until.h"
#include "tests/unit/reference/log_access.h"
#include "tests/unit/reference/log_lines.h"
#include "tests/unit/reference/stepped_poster.h"

namespace {

using conformance::Gate;
using conformance::Recorder;
using log_access::add;
using log_access::kA;
using log_access::kB;
using log_access::notify;
using log_access::object;
using log_access::SteppedPoster;
using reference::LogLines;
using test_support::Child;
using test_support::waitUntil;
using testing::ElementsAre;
using testing::IsEmpty;
using vqframework::kSlotCount;
using vqframework::Message;
using vqframework::MessageLog;

std::string lossLine(unsigned int count) {
  return "VQFramework/SharedMemory/VQSharedMemNotifier:0 deliver 1 too slow: " + std::to_string(count) +
         " messages lost\n";
}

// A receiver of kA whose first call lasts until the test has posted what it wants.
class LappedReaderTest : public testing::Test {
 protected:
  LappedReaderTest() {
    recorder.then = [this] {
      isInside.open();
      gate.pass();
    };
    add(sut, recorder, {kA});
    notify(sut, kA, "first");
    isInside.pass();
  }
  void post(unsigned int id, unsigned int count) {
    for (unsigned int i = 0; i < count; ++i) {
      notify(sut, id, std::to_string(i));
    }
  }
  // Lets it go on, and posts a last message that nothing overtakes.
  void goOn(unsigned int count) {
    gate.open();
    ASSERT_TRUE(waitUntil([&] { return recorder.count() == count; }));
    notify(sut, kA, "last");
    ASSERT_TRUE(waitUntil([&] { return recorder.count() == count + 1; }));
  }
  std::uint64_t lostInTable() const {
    for (const vqframework::AttachedPlace& place : object().places) {
      if (place.pid == static_cast<std::uint32_t>(getpid())) {
        return place.lost;
      }
    }
    return 0xFFFFFFFFU;
  }

  const LogLines log;
  Gate isInside;
  Gate gate;
  Recorder recorder;
  VQSharedMemNotifier sut{false};
};

TEST_F(LappedReaderTest, LosesNothingWhileTheLogHasRoom) {
  post(kA, kSlotCount);
  goOn(1 + kSlotCount);
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_EQ(lostInTable(), 0U);
}

TEST_F(LappedReaderTest, LosesExactlyTheOldestThatTheLogHasNoRoomFor) {
  post(kA, kSlotCount + 100);
  goOn(1 + kSlotCount);
  EXPECT_EQ(recorder.payloads()[1], "100");
  EXPECT_THAT(log.lines(), ElementsAre(lossLine(100)));
  EXPECT_EQ(lostInTable(), 100U);
}

TEST_F(LappedReaderTest, LosesNothingWhereOthersMessagesOvertakeIt) {
  post(kB, kSlotCount + 100);
  goOn(1);
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_EQ(lostInTable(), 0U);
}

TEST_F(LappedReaderTest, CountsOnlyItsOwnMessagesAmongThoseThatWereOverwritten) {
  post(kA, 7);
  post(kB, kSlotCount);
  goOn(1);
  EXPECT_THAT(log.lines(), ElementsAre(lossLine(7)));
  EXPECT_EQ(lostInTable(), 7U);
}

TEST_F(LappedReaderTest, CountsManyLapsAsOneBurst) {
  post(kA, 3 * kSlotCount + 5);
  goOn(1 + kSlotCount);
  EXPECT_THAT(log.lines(), ElementsAre(lossLine(2 * kSlotCount + 5)));
}

// 64 identifiers have a count; the next has none.
TEST_ROLE(unit_reference_fills_the_identifier_table) {
  constexpr unsigned int kUncounted = 0x7D0000FFU;
  VQSharedMemNotifier notifier(false);
  for (unsigned int i = 0; i < vqframework::kCountedIdentifiers; ++i) {
    notify(notifier, 0x7D000100U + i);
  }
  Gate isInside;
  Gate gate;
  Recorder recorder;
  recorder.then = [&] {
    isInside.open();
    gate.pass();
  };
  add(notifier, recorder, {kUncounted});
  notify(notifier, kUncounted, "first");
  isInside.pass();
  for (unsigned int i = 0; i < kSlotCount + 10; ++i) {
    notify(notifier, kUncounted, std::to_string(i));
  }
  gate.open();
  const bool isDelivered = waitUntil([&] { return recorder.count() == 1 + kSlotCount; });
  notifier.RemoveObserver(recorder.observer());
  test_support::say(isDelivered && recorder.payloads()[1] == "10" ? "all delivered" : "not all delivered");
  return 0;
}

TEST(IdentifierThatTheTableHasNoRowFor, IsDeliveredAllTheSameAndItsLossesAreNotCounted) {
  const log_access::LogOutOfTheWay fresh;
  Child process("unit_reference_fills_the_identifier_table");
  EXPECT_TRUE(process.expect("all delivered"));
  EXPECT_EQ(process.finish(), 0);
  EXPECT_EQ(process.countInLog("lost"), 0U);
}

void postFilled(char content) {
  const std::string payload(300, content);
  log_access::log().post(kB, payload.data(), static_cast<std::uint32_t>(payload.size()));
}

// Fills the log; the position of its oldest message, which the next post overwrites.
std::uint64_t fillLog(char content) {
  for (unsigned int i = 0; i < kSlotCount; ++i) {
    postFilled(content);
  }
  return object().head - kSlotCount;
}

bool isWhole(const Message& message, char content) {
  const std::string payload(300, content);
  return message.size == payload.size() && memcmp(message.payload, payload.data(), payload.size()) == 0;
}

// The slot is read after each instruction of the post that overwrites it.
TEST(ReaderOfASlot, TakesTheOldMessageWholeOrNotAtAllWhileItIsOverwritten) {
  const std::uint64_t oldest = fillLog('a');
  Message message;
  unsigned int whole = 0;
  unsigned int mixed = 0;
  SteppedPoster poster([] { postFilled('b'); });
  while (poster.step()) {
    if (log_access::log().read(oldest, message) == MessageLog::Read::kTaken) {
      ++(isWhole(message, 'a') ? whole : mixed);
    }
  }
  EXPECT_GT(whole, 0U);
  EXPECT_EQ(mixed, 0U);
  EXPECT_EQ(log_access::log().read(oldest, message), MessageLog::Read::kOverwritten);
}

// The slot is overwritten at several places of a read, each of which takes a process of its own.
TEST(ReaderOfASlot, TakesNoMixtureWhereTheSlotIsOverwrittenWhileItReads) {
  constexpr unsigned int kPlaces = 20;
  fillLog('a');
  const auto read = [] {
    Message message;
    const std::uint64_t oldest = object().head - kSlotCount;
    if (log_access::log().read(oldest, message) == MessageLog::Read::kTaken && !isWhole(message, 'a')) {
      _exit(1);
    }
  };
  unsigned int instructions = 0;
  for (SteppedPoster whole(read); whole.step();) {
    ++instructions;
  }
  ASSERT_GT(instructions, kPlaces);
  for (unsigned int place = 1; place < kPlaces; ++place) {
    SteppedPoster reader(read);
    for (unsigned int i = 0; i < instructions * place / kPlaces; ++i) {
      ASSERT_TRUE(reader.step());
    }
    postFilled('b');
    reader.runToItsEnd();
  }
}

}  // namespace
