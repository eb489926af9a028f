// VQSLinkAppDeviceStatus: lists of the SPP service at which the 8-bit counts overflow. A list of 256 entries counts as
// empty and one of 257 as one entry, but an entry that is there is there.
#include <ostream>

#include "device_status_fixture.h"

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::SizeIs;

// Positions [begin, end).
struct Range {
  std::size_t begin;
  std::size_t end;
};
constexpr Range kNone = {0, 0};

std::string nameAt(std::size_t position, const std::string& mark = "") {
  return mark + std::to_string(position);
}

SppEntry entryAt(std::size_t position, const std::string& mark = "") {
  return entry(static_cast<std::uint8_t>(position % 251), nameAt(position, mark));
}

std::vector<SppEntry> entries(std::size_t count, const std::string& mark = "") {
  std::vector<SppEntry> made;
  for (std::size_t i = 0; i < count; ++i) {
    made.push_back(entryAt(i, mark));
  }
  return made;
}

SppInformation list(std::size_t count, const std::string& mark = "") {
  return listOf(entries(count, mark));
}

SppInformation unavailableList(std::size_t count) {
  SppInformation made = list(count);
  for (SppEntry& item : made.devices) {
    item.available = 0;
  }
  return made;
}

SppInformation listWithAppleAt(std::size_t position, std::size_t count) {
  SppInformation made = list(count);
  made.devices[position].vendorId = 0x05AC;
  return made;
}

Lines reports(Range range, int status, const std::string& mark = "") {
  Lines lines;
  for (std::size_t i = range.begin; i < range.end; ++i) {
    lines.push_back(sppReport(entryAt(i).deviceId, nameAt(i, mark), status));
  }
  return lines;
}

// What a list of `now` entries leads to after one of `before` entries.
struct Pairing {
  std::size_t before;
  std::size_t now;
  Range unchanged;    // reported present where all entries are equal
  Range renamed;      // reported present where all names differ
  Range unavailable;  // reported gone where no entry is available any more
};

void PrintTo(const Pairing& pairing, std::ostream* out) {
  *out << pairing.before << " to " << pairing.now;
}

std::string nameOf(const testing::TestParamInfo<Pairing>& info) {
  return std::to_string(info.param.before) + "To" + std::to_string(info.param.now);
}

class LongListPairing : public DeviceStatusTest, public testing::WithParamInterface<Pairing> {
 public:
  void SetUp() override {
    DeviceStatusTest::SetUp();
    given(list(GetParam().before));
  }
};

constexpr Range kAll255 = {0, 255};
constexpr Range kAllButFirst = {1, 255};
constexpr Range kFirst = {0, 1};

INSTANTIATE_TEST_SUITE_P(
    Sizes, LongListPairing,
    testing::Values(Pairing{255, 255, kNone, kAll255, kAll255}, Pairing{255, 256, kAll255, kAll255, kNone},
                    Pairing{255, 257, kAllButFirst, kAll255, kFirst}, Pairing{256, 255, kAll255, kAll255, kNone},
                    Pairing{256, 256, kNone, kNone, kNone}, Pairing{256, 257, kFirst, kFirst, kNone},
                    Pairing{257, 255, kAllButFirst, kAll255, kFirst}, Pairing{257, 256, kFirst, kFirst, kNone},
                    Pairing{257, 257, kNone, kFirst, kFirst}),
    nameOf);

TEST_P(LongListPairing, EqualEntriesAreReportedWhereTheCountsSayThatTheListGrew) {
  EXPECT_THAT(after(list(GetParam().now)), ElementsAreArray(reports(GetParam().unchanged, 1)));
  EXPECT_THAT(storedList(), ElementsAreArray(describeAll(entries(GetParam().now))));
}

TEST_P(LongListPairing, RenamedEntriesAreReportedUpToTheLargerCount) {
  EXPECT_THAT(after(list(GetParam().now, "new")), ElementsAreArray(reports(GetParam().renamed, 1, "new")));
  EXPECT_THAT(storedList(), ElementsAreArray(describeAll(entries(GetParam().now, "new"))));
}

TEST_P(LongListPairing, UnavailableEntriesAreReportedGoneUpToTheSmallerCount) {
  EXPECT_THAT(after(unavailableList(GetParam().now)), ElementsAreArray(reports(GetParam().unavailable, 0)));
  EXPECT_THAT(storedList(), SizeIs(GetParam().now));
}

using LongList = DeviceStatusTest;

TEST_F(LongList, Of255EntriesIsReportedWhole) {
  EXPECT_THAT(after(list(255)), ElementsAreArray(reports(kAll255, 1)));
}

TEST_F(LongList, Of256EntriesIsStoredWholeAndReportedAsEmpty) {
  EXPECT_THAT(after(list(256)), IsEmpty());
  EXPECT_THAT(storedList(), ElementsAreArray(describeAll(entries(256))));
}

TEST_F(LongList, Of257EntriesIsStoredWholeAndReportedAsOneEntry) {
  EXPECT_THAT(after(list(257)), ElementsAreArray(reports(kFirst, 1)));
  EXPECT_THAT(storedList(), ElementsAreArray(describeAll(entries(257))));
}

TEST_F(LongList, Of512EntriesIsReportedAsEmptyAndOf514AsTwo) {
  EXPECT_THAT(after(list(512)), IsEmpty());
  EXPECT_THAT(after(list(514, "new")), ElementsAreArray(reports({0, 2}, 1, "new")));
}

TEST_F(LongList, ThatBecomesEmptyIsReportedGoneUpToItsCount) {
  given(list(255));
  EXPECT_THAT(after(listOf({})), ElementsAreArray(reports(kAll255, 0)));
  given(list(256));
  EXPECT_THAT(after(listOf({})), IsEmpty());
  given(list(257));
  EXPECT_THAT(after(listOf({})), ElementsAreArray(reports(kFirst, 0)));
  given(list(258));
  EXPECT_THAT(after(listOf({})), ElementsAreArray(reports({0, 2}, 0)));
}

TEST_F(LongList, Of258EntriesThatBecomesOneEntryLosesOneEntry) {
  given(list(258));
  EXPECT_THAT(after(list(1)), ElementsAreArray(reports({1, 2}, 0)));
}

TEST_F(LongList, Of256EntriesThatBecomesAFewReportsThemAllAndNothingGone) {
  given(list(256));
  EXPECT_THAT(after(list(3)), ElementsAreArray(reports({0, 3}, 1)));
}

TEST_F(LongList, AnEntryBeyondTheSmallerCountThatIsThereIsReportedPresentAndNotGone) {
  given(list(2));
  EXPECT_THAT(after(list(257)), ElementsAreArray(reports({1, 2}, 1)));
  given(list(258));
  EXPECT_THAT(after(list(257)), ElementsAreArray(reports({1, 2}, 1)));
  given(list(1));
  EXPECT_THAT(after(list(256)), ElementsAreArray(reports(kFirst, 1)));
}

TEST_F(LongList, AnEntryBeyondTheSmallerCountThatIsThereButUnavailableIsNotReported) {
  given(list(2));
  SppInformation longer = list(257);
  longer.devices[1].available = 0;
  EXPECT_THAT(after(longer), IsEmpty());
}

TEST_F(LongList, ThatShrinksBy254ReportsEachEntryGone) {
  given(list(255));
  EXPECT_THAT(after(list(1)), ElementsAreArray(reports({1, 255}, 0)));
}

TEST_F(LongList, StopsAtAnAppleEntryInItsLastPlace) {
  EXPECT_THAT(after(listWithAppleAt(254, 255)), ElementsAreArray(reports({0, 254}, 1)));
}

TEST_F(LongList, Of256EntriesStopsAtAnAppleEntryWithinTheFormerCount) {
  given(list(255));
  EXPECT_THAT(after(listWithAppleAt(10, 256)), ElementsAreArray(reports({0, 10}, 1)));
  EXPECT_THAT(storedList(), SizeIs(256));
}

TEST_F(LongList, Of257EntriesStopsAtAnAppleEntryInFirstPlaceOnly) {
  EXPECT_THAT(after(listWithAppleAt(0, 257)), IsEmpty());
  given(listOf({}));
  EXPECT_THAT(after(listWithAppleAt(1, 257)), ElementsAreArray(reports(kFirst, 1)));
}

TEST_F(LongList, CarriesStatus0OnToItsEnd) {
  given(list(2));
  SppInformation longer = list(255);
  longer.devices[1].available = 0;
  EXPECT_THAT(after(longer), ElementsAreArray(reports(kAllButFirst, 0)));
}

// A device whose entry stands at `position` of a list of `count` entries and nowhere else.
SppInformation listWithDeviceAt(std::size_t position, std::size_t count) {
  SppInformation made = listOf(std::vector<SppEntry>(count, entry(1, "Other")));
  made.devices[position] = entry(77, "Phone");
  return made;
}

const std::string kOpened = sppReport(77, "Phone", 2, kService);

TEST_F(LongList, Of255EntriesIsSearchedToItsEndForAConnection) {
  given(listWithDeviceAt(254, 255));
  EXPECT_THAT(after(connection(77, 1)), ElementsAre(kOpened));
}

TEST_F(LongList, Of256EntriesHasNoDeviceThatCouldConnect) {
  given(listWithDeviceAt(0, 256));
  EXPECT_THAT(after(connection(77, 1)), IsEmpty());
  EXPECT_EQ(storedNotice(), describe(connection(77, 1)));
}

TEST_F(LongList, Of257EntriesHasOneDeviceThatCouldConnect) {
  given(listWithDeviceAt(0, 257));
  EXPECT_THAT(after(connection(77, 1)), ElementsAre(kOpened));
  given(listWithDeviceAt(1, 257));
  EXPECT_THAT(after(connection(77, 0)), IsEmpty());
  given(listWithDeviceAt(256, 257));
  EXPECT_THAT(after(connection(77, 1)), IsEmpty());
}

TEST_F(LongList, Of258EntriesHasTwoDevicesThatCouldConnect) {
  given(listWithDeviceAt(1, 258));
  EXPECT_THAT(after(connection(77, 1)), ElementsAre(kOpened));
  given(listWithDeviceAt(2, 258));
  EXPECT_THAT(after(connection(77, 0)), IsEmpty());
}

}  // namespace
