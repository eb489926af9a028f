// Two processes that make one segment and its lock at the same moment, over and over.
#include <memory>

#include "LinkAppCommon/iOSAppRecords.h"
#include "VQFramework/SharedMemory/VQSharedMemory.h"
#include "tests/process/channel_fixture.h"
#include "tests/process/shared_page.h"
#include "tests/support/roles.h"
#include "tests/support/wait_until.h"

namespace {

constexpr const char* kPage = "race";
constexpr std::uint32_t kRacers = 2;
const std::uint32_t kRounds = test_support::roundsUnderTool(1000);
constexpr std::uint32_t kRoundsPerLine = 50;
constexpr std::uint32_t kIncrements = 20;

struct RacePage {
  Barrier ready;
  Barrier counted;
  Barrier checked;
  std::atomic<std::uint32_t> creators;
};

// A plain word: only the lock makes its count right.
void increment(volatile std::uint32_t& word) {
  word = word + 1;
}

template <class Record>
std::string raceOnce(const char* name, RacePage& page) {
  page.ready.meet(kRacers);
  const VQSharedMemory<Record, 1> segment(name);
  if (segment.mapping == MAP_FAILED) {
    return "not mapped";
  }
  page.creators.fetch_add(segment.isCreator ? 1 : 0);
  std::uint32_t& counter = *reinterpret_cast<std::uint32_t*>(static_cast<char*>(segment.mapping) + kRecord);
  for (std::uint32_t i = 0; i < kIncrements; ++i) {
    VQSyncGuard guard(segment);
    increment(counter);
  }
  page.counted.meet(kRacers);
  if (page.creators.load() != 1) {
    return std::to_string(page.creators.load()) + " creators";
  }
  if (counter != kRacers * kIncrements) {
    return "counted to " + std::to_string(counter);
  }
  return "ok";
}

std::string lineOf(std::uint32_t round) {
  return "round " + std::to_string(round);
}

// Says how far it has come now and then: two that share a busy processor are slow, and yet not stuck.
template <class Record>
std::string race(const char* name) {
  RacePage* const page = static_cast<RacePage*>(mapSharedPage(kPage, sizeof(RacePage)));
  for (std::uint32_t round = 0; round < kRounds; ++round) {
    const std::string outcome = raceOnce<Record>(name, *page);
    if (outcome != "ok") {
      return lineOf(round) + ": " + outcome;
    }
    if (round % kRoundsPerLine == 0) {
      test_support::say(lineOf(round));
    }
    page->checked.meet(kRacers);
    // Either of them may come first; the next round starts when both are here.
    page->creators.store(0);
    test_support::removeShm(name);
    test_support::removeShm(std::string(name) + ".lock");
  }
  return "ok";
}

TEST_ROLE(racer) {
  const std::string& name = args.at(0);
  if (name == kStatusSegment.name) {
    test_support::say(race<iosapp_def_::ConnectStatusNotify>(name.c_str()));
  } else if (name == kAppInfoSegment.name) {
    test_support::say(race<iOSAppInfoList>(name.c_str()));
  } else {
    test_support::say(race<iOSAppCommonDataList>(name.c_str()));
  }
  return 0;
}

class CreationRace : public ChannelTest, public testing::WithParamInterface<Segment> {};

TEST_P(CreationRace, has_exactly_one_creator_and_a_lock_that_excludes) {
  Child one("racer", {GetParam().name});
  Child two("racer", {GetParam().name});

  for (std::uint32_t round = 0; round < kRounds; round += kRoundsPerLine) {
    ASSERT_TRUE(one.expect(lineOf(round)));
    ASSERT_TRUE(two.expect(lineOf(round)));
  }
  EXPECT_TRUE(one.expect("ok"));
  EXPECT_TRUE(two.expect("ok"));
  EXPECT_EQ(one.log() + two.log(), "");
}

INSTANTIATE_TEST_SUITE_P(Channel, CreationRace, testing::ValuesIn(kSegments), testNameOf);

}  // namespace
