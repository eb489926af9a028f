// Following the log.
#include "inspect/follower.h"

#include "tests/inspect/inspect_fixture.h"

namespace {

using inspect::Follower;
using inspect::kSharedMemory;
using inspect::Message;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using vqframework::kMessageLogName;
using vqframework::kSlotCount;
using Start = Follower::Start;

class FollowerOfTheLog : public InspectTest {
 public:
  static std::vector<std::uint64_t> sequencesOf(const Follower::Batch& batch) {
    std::vector<std::uint64_t> sequences;
    for (const Message& message : batch.messages) {
      sequences.push_back(message.sequence);
    }
    return sequences;
  }
  static void post(hand_made::Log& log, std::uint32_t id, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      log.post(id, "x");
    }
  }
};

TEST_F(FollowerOfTheLog, begins_with_what_comes_now_or_with_the_oldest) {
  hand_made::Log log;
  post(log, 4, 3);
  Follower fromNow(kSharedMemory, Start::kNow);
  Follower fromOldest(kSharedMemory, Start::kOldest);
  post(log, 4, 2);
  EXPECT_THAT(sequencesOf(fromNow.poll()), ElementsAre(3, 4));
  EXPECT_THAT(sequencesOf(fromOldest.poll()), ElementsAre(0, 1, 2, 3, 4));
  EXPECT_THAT(sequencesOf(fromNow.poll()), IsEmpty());
  post(log, 4, 1);
  EXPECT_THAT(sequencesOf(fromNow.poll()), ElementsAre(5));
}

TEST_F(FollowerOfTheLog, waits_for_a_log_and_then_misses_nothing) {
  Follower sut(kSharedMemory, Start::kNow);
  EXPECT_EQ(sut.poll().problem, "is not there");
  hand_made::Log log;
  post(log, 4, 2);
  const Follower::Batch batch = sut.poll();
  EXPECT_THAT(sequencesOf(batch), ElementsAre(0, 1));
  EXPECT_FALSE(batch.isNewLog);
  EXPECT_EQ(batch.problem, "");
}

TEST_F(FollowerOfTheLog, says_why_a_log_cannot_be_read_and_goes_on_when_it_can) {
  hand_made::Log log;
  post(log, 4, 1);
  log.object().header.layoutVersion = 99;
  Follower sut(kSharedMemory, Start::kNow);
  EXPECT_EQ(sut.poll().problem, "has layout version 99, not 3");
  log.object().header.layoutVersion = vqframework::kMessageLogVersion;
  EXPECT_THAT(sequencesOf(sut.poll()), ElementsAre(0));
}

TEST_F(FollowerOfTheLog, goes_over_to_the_log_that_has_the_name_now) {
  auto before = std::make_unique<hand_made::Log>();
  post(*before, 4, 3);
  Follower sut(kSharedMemory, Start::kNow);
  hand_made::Log log;
  post(log, 4, 2);
  const Follower::Batch batch = sut.poll();
  EXPECT_TRUE(batch.isNewLog);
  EXPECT_THAT(sequencesOf(batch), ElementsAre(0, 1));
}

TEST_F(FollowerOfTheLog, stays_with_a_removed_log_whose_users_go_on) {
  hand_made::Log log;
  Follower sut(kSharedMemory, Start::kNow);
  test_support::removeShm(kMessageLogName);
  post(log, 4, 1);
  const Follower::Batch batch = sut.poll();
  EXPECT_THAT(sequencesOf(batch), ElementsAre(0));
  EXPECT_EQ(batch.problem, "is not there");
}

TEST_F(FollowerOfTheLog, begins_anew_where_the_log_was_set_back) {
  hand_made::Log log;
  post(log, 4, 5);
  Follower sut(kSharedMemory, Start::kNow);
  log.object().head.store(0);
  post(log, 4, 1);
  const Follower::Batch batch = sut.poll();
  EXPECT_TRUE(batch.isNewLog);
  EXPECT_THAT(sequencesOf(batch), ElementsAre(0));
}

TEST_F(FollowerOfTheLog, counts_what_was_overwritten_before_it_looked) {
  hand_made::Log log;
  Follower sut(kSharedMemory, Start::kNow);
  post(log, 2, 500);
  post(log, 4, 100);
  EXPECT_EQ(sut.poll().messages.size(), 600U);
  post(log, 2, 50);
  post(log, 4, 30);
  post(log, 1000, kSlotCount);
  post(log, 4, 1);
  Follower::Batch all = sut.poll();
  const std::uint64_t overwritten = all.overwritten;
  EXPECT_EQ(overwritten, 82U);  // 80, one that the last post took, and the one that the next post may be taking
  std::size_t seen = all.messages.size();
  while (all.hasMore) {
    all = sut.poll();
    seen += all.messages.size();
    EXPECT_EQ(all.overwritten, 0U);
  }
  EXPECT_EQ(seen, kSlotCount + 81 - overwritten);
  // The last message tells how many of its identifier came before it. That 50 of identifier 2 are gone nobody knows
  // yet.
  EXPECT_THAT(all.missed, ElementsAre(Pair(4, 30)));
  post(log, 2, 1);
  EXPECT_THAT(sut.poll().missed, ElementsAre(Pair(2, 50)));
}

TEST_F(FollowerOfTheLog, believes_no_number_that_would_be_more_than_was_overwritten) {
  hand_made::Log log;
  Follower sut(kSharedMemory, Start::kNow);
  post(log, 4, 2);
  log.slot(1).number.store(1000000);
  EXPECT_THAT(sut.poll().missed, IsEmpty());
}

TEST_F(FollowerOfTheLog, hands_out_much_in_parts) {
  hand_made::Log log;
  Follower sut(kSharedMemory, Start::kNow);
  post(log, 4, 5000);
  std::size_t seen = 0;
  int batches = 0;
  for (bool hasMore = true; hasMore; ++batches) {
    const Follower::Batch batch = sut.poll();
    seen += batch.messages.size();
    hasMore = batch.hasMore;
  }
  EXPECT_EQ(seen, 5000U);
  EXPECT_EQ(batches, 3);
}

TEST_F(FollowerOfTheLog, looks_seldom_while_nothing_comes) {
  using std::chrono::milliseconds;
  hand_made::Log log;
  Follower sut(kSharedMemory, Start::kNow, {milliseconds(1), milliseconds(10)});
  EXPECT_EQ(sut.pause(), milliseconds(1));
  sut.poll();
  EXPECT_EQ(sut.pause(), milliseconds(2));
  for (int i = 0; i < 10; ++i) {
    sut.poll();
  }
  EXPECT_EQ(sut.pause(), milliseconds(10));
  post(log, 4, 1);
  sut.poll();
  EXPECT_EQ(sut.pause(), milliseconds(1));
}

}  // namespace
