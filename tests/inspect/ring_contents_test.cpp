// Messages of the rings behind their announcements.
#include "inspect/ring_contents.h"

#include "inspect/follower.h"
#include "tests/inspect/inspect_fixture.h"

namespace {

using inspect::Follower;
using inspect::kFromDeviceSegment;
using inspect::kFromHUSegment;
using inspect::kSharedMemory;
using inspect::RingContent;
using inspect::RingContents;
using State = inspect::RingContent::State;

class RingContentsOutside : public InspectTest {
 public:
  RingContentsOutside() { hand_made::makeFourSegments(); }

  void write(std::uint32_t slot, const std::string& bytes) {
    hand_made::writeSlot(kFromHUSegment, slot, bytes);
    log_.announce(2, 1, slot);
  }
  std::vector<RingContent> fetch() {
    batch_ = follower_.poll();
    return sut_.fetch(batch_.messages, follower_.log(), follower_.position());
  }
  static std::string textOf(const RingContent& content) { return {content.bytes.begin(), content.bytes.end()}; }

  hand_made::Log log_;
  Follower follower_{kSharedMemory, Follower::Start::kNow};
  Follower::Batch batch_;
  RingContents sut_{kSharedMemory};
};

TEST_F(RingContentsOutside, are_certain_where_the_writer_rests) {
  write(0, "hello");
  log_.post(1000, "other");
  hand_made::writeSlot(kFromDeviceSegment, 7, std::string(4096, 'd'));
  log_.announce(3, 1, 7);
  const std::vector<RingContent> contents = fetch();
  ASSERT_EQ(contents.size(), 3U);
  EXPECT_EQ(contents[0].state, State::kCertain);
  EXPECT_EQ(textOf(contents[0]), "hello");
  EXPECT_EQ(contents[1].state, State::kNone);
  EXPECT_EQ(contents[2].state, State::kCertain);
  EXPECT_EQ(contents[2].size, 4096U);
  EXPECT_EQ(textOf(contents[2]), std::string(4096, 'd'));
}

TEST_F(RingContentsOutside, of_the_last_39_messages_are_certain_and_earlier_ones_gone) {
  for (std::uint32_t i = 0; i < 100; ++i) {
    write(i % 40, std::to_string(i));
  }
  const std::vector<RingContent> contents = fetch();
  ASSERT_EQ(contents.size(), 100U);
  for (std::size_t i = 0; i < 60; ++i) {
    EXPECT_EQ(contents[i].state, State::kOverwritten) << i;
  }
  EXPECT_EQ(contents[60].state, State::kUnsure);  // the next write's slot
  for (std::size_t i = 61; i < 100; ++i) {
    EXPECT_EQ(contents[i].state, State::kCertain) << i;
    EXPECT_EQ(textOf(contents[i]), std::to_string(i));
  }
}

TEST_F(RingContentsOutside, are_unsure_while_a_message_is_written_but_not_announced) {
  write(0, "hello");
  hand_made::writeSlot(kFromHUSegment, 1, "next");
  const std::vector<RingContent> contents = fetch();
  ASSERT_EQ(contents.size(), 1U);
  EXPECT_EQ(contents[0].state, State::kUnsure);
  EXPECT_EQ(textOf(contents[0]), "hello");
}

TEST_F(RingContentsOutside, are_gone_where_a_later_announcement_names_the_slot) {
  write(0, "hello");
  batch_ = follower_.poll();
  write(0, "other");
  const std::vector<RingContent> contents = sut_.fetch(batch_.messages, follower_.log(), follower_.position());
  ASSERT_EQ(contents.size(), 1U);
  EXPECT_EQ(contents[0].state, State::kOverwritten);
}

TEST_F(RingContentsOutside, are_unreadable_where_the_slot_cannot_be) {
  log_.announce(2, 1, 40);
  log_.announce(2, 1, 5);
  log_.post(2, "");
  const std::vector<RingContent> contents = fetch();
  for (const RingContent& content : contents) {
    EXPECT_EQ(content.state, State::kUnreadable);
  }
  test_support::removeShm(kFromHUSegment);
  log_.announce(2, 1, 1);
  EXPECT_EQ(fetch().front().state, State::kUnreadable);
}

TEST_F(RingContentsOutside, come_from_the_ring_that_has_the_name_now) {
  write(0, "hello");
  EXPECT_EQ(textOf(fetch().front()), "hello");
  hand_made::makeSegment(kFromHUSegment);
  write(0, "anew");
  EXPECT_EQ(textOf(fetch().front()), "anew");
}

}  // namespace
