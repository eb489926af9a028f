// The four segments, as the channel's own readers would take them.
#include "inspect/segments.h"
#include "tests/inspect/inspect_fixture.h"

namespace {

using hand_made::writeWord;
using inspect::kAppInfoSegment;
using inspect::kFromHUSegment;
using inspect::kSharedMemory;
using inspect::Object;
using inspect::Ring;
using inspect::RingId;
using inspect::Table;

class SegmentOutside : public InspectTest {
 public:
  Table table() const { return readTable(Object(kSharedMemory, kAppInfoSegment)); }
  Ring ring() const { return readRing(Object(kSharedMemory, kFromHUSegment), RingId::kFromHU); }
};

TEST_F(SegmentOutside, of_registrations_shows_each_app) {
  hand_made::makeSegment(kAppInfoSegment);
  hand_made::registerApp(0, "navi", "com.example.navi", "navi1");
  hand_made::registerApp(1, "music", "com.example.music");
  const Table sut = table();
  EXPECT_TRUE(sut.segment.isWhole);
  EXPECT_FALSE(sut.segment.isChanging);
  EXPECT_EQ(sut.segment.sizeWord, sizeof(iOSAppInfoList));
  ASSERT_EQ(sut.apps.size(), 2U);
  EXPECT_EQ(sut.apps[0].appId, 1U);
  EXPECT_EQ(sut.apps[0].iAP1Name, "navi1");
  EXPECT_EQ(sut.apps[1].appName, "music");
  EXPECT_EQ(sut.apps[1].launchString, "com.example.music");
  EXPECT_TRUE(sut.apps[1].isValid);
}

TEST_F(SegmentOutside, of_registrations_has_20_entries_at_most) {
  hand_made::makeSegment(kAppInfoSegment);
  writeWord(kAppInfoSegment, offsetof(iOSAppInfoList, count), 0xFFFFFFFF);
  const Table sut = table();
  EXPECT_EQ(sut.countWord, 0xFFFFFFFFU);
  EXPECT_EQ(sut.count, 20U);
  EXPECT_EQ(sut.apps.size(), 20U);
  EXPECT_TRUE(sut.isFull());
  EXPECT_FALSE(sut.apps[0].isValid);
}

TEST_F(SegmentOutside, of_registrations_ends_a_text_with_its_entry) {
  hand_made::makeSegment(kAppInfoSegment);
  const std::string bytes(sizeof(iOSAppInfo) * 2, 'x');
  hand_made::writeRecord(kAppInfoSegment, 0, bytes.data(), bytes.size());
  writeWord(kAppInfoSegment, offsetof(iOSAppInfoList, count), 1);
  const Table sut = table();
  ASSERT_EQ(sut.apps.size(), 1U);
  EXPECT_EQ(sut.apps[0].iAP1Name.size(), 268U);
  EXPECT_EQ(sut.apps[0].appName.size(), 257U);
  EXPECT_EQ(sut.apps[0].launchString.size(), 129U);
}

TEST_F(SegmentOutside, of_a_ring_shows_position_and_sizes) {
  hand_made::makeSegment(kFromHUSegment);
  hand_made::writeSlot(kFromHUSegment, 0, "hello");
  hand_made::writeSlot(kFromHUSegment, 1, std::string(4096, 'y'));
  const Ring sut = ring();
  EXPECT_EQ(sut.nextSlot, 2U);
  EXPECT_EQ(sut.written, 2U);
  ASSERT_EQ(sut.slots.size(), 40U);
  EXPECT_EQ(sut.slots[0].size, 5U);
  EXPECT_EQ(sut.slots[0].head, (std::vector<std::uint8_t>{'h', 'e', 'l', 'l', 'o'}));
  EXPECT_EQ(sut.slots[1].size, 4096U);
  EXPECT_EQ(sut.slots[1].head.size(), Ring::kHeadBytes);
}

TEST_F(SegmentOutside, of_a_ring_takes_index_and_sizes_as_readers_do) {
  hand_made::makeSegment(kFromHUSegment);
  writeWord(kFromHUSegment, offsetof(iOSAppCommonDataList, writeIndex), 83);
  writeWord(kFromHUSegment, offsetof(iOSAppCommonDataSlot, size), 4097);
  const Ring sut = ring();
  EXPECT_EQ(sut.writeIndexWord, 83U);
  EXPECT_EQ(sut.nextSlot, 3U);
  EXPECT_EQ(sut.slots[0].sizeWord, 4097U);
  EXPECT_EQ(sut.slots[0].size, 0U);
  EXPECT_EQ(sut.written, 0U);
}

TEST_F(SegmentOutside, that_is_too_short_is_not_interpreted) {
  for (const std::size_t size : {std::size_t{0}, std::size_t{3}, std::size_t{4}, sizeof(iOSAppCommonDataList)}) {
    hand_made::makeObject(kFromHUSegment, size);
    hand_made::makeObject(kAppInfoSegment, std::min(size, sizeof(iOSAppInfoList)));
    EXPECT_FALSE(ring().segment.isWhole) << size;
    EXPECT_TRUE(ring().slots.empty()) << size;
    EXPECT_EQ(ring().segment.sizeWord.has_value(), size >= 4) << size;
    EXPECT_FALSE(table().segment.isWhole) << size;
    EXPECT_TRUE(table().apps.empty()) << size;
  }
}

TEST_F(SegmentOutside, of_the_connection_status_is_blank_until_somebody_writes_it) {
  hand_made::makeSegment(inspect::kConnectStatusSegment);
  EXPECT_TRUE(readConnectStatus(Object(kSharedMemory, inspect::kConnectStatusSegment)).isBlank);
  writeWord(inspect::kConnectStatusSegment, 300, 1);
  EXPECT_FALSE(readConnectStatus(Object(kSharedMemory, inspect::kConnectStatusSegment)).isBlank);
}

}  // namespace
