// iOSAppCommonLocalMem_AppInfo::registAppInfo: what a registration writes, byte for byte, and when it is announced.
#include <algorithm>
#include <atomic>
#include <memory>

#include "LinkAppCommon/iOSAppCommonLocalMem_AppInfo.h"
#include "channel_fixture.h"
#include "libc_faults.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t kEntryBytes = 272;
constexpr std::size_t kTableBytes = 5444;
constexpr std::size_t kCountAt = 5440;

// What the table's bytes are after a number of registrations.
class TableModel {
 public:
  void add(const std::string& iAP1Name, const std::string& appName, const std::string& launchString) {
    const std::size_t start = count_ * kEntryBytes;
    put(start + 4, iAP1Name);
    put(start + 15, appName);
    put(start + 143, launchString);
    ++count_;
    putWord(start, count_);
    putWord(kCountAt, count_);
  }

  const Bytes& bytes() const { return bytes_; }

 private:
  void put(std::size_t at, const std::string& text) {
    const std::size_t fitting = std::min(text.size(), kTableBytes - at);
    std::copy_n(text.begin(), fitting, bytes_.begin() + static_cast<std::ptrdiff_t>(at));
  }

  void putWord(std::size_t at, std::uint32_t word) {
    for (std::size_t i = 0; i < 4; ++i) {
      bytes_[at + i] = static_cast<std::uint8_t>(word >> (8 * i));
    }
  }

  Bytes bytes_ = Bytes(kTableBytes);
  std::uint32_t count_ = 0;
};

class Registration : public ChannelTest {
 protected:
  void SetUp() override {
    ChannelTest::SetUp();
    sut = std::make_unique<iOSAppCommonLocalMem_AppInfo>();
  }
  void TearDown() override {
    sut.reset();
    ChannelTest::TearDown();
  }

  // Registers with the endpoint and with the model; returns the app id.
  std::uint32_t add(const std::string& iAP1Name, const std::string& appName, const std::string& launchString) {
    std::atomic<std::uint32_t> appId{0};
    sut->registAppInfo(iAP1Name, appName, launchString, appId);
    model.add(iAP1Name, appName, launchString);
    return appId;
  }

  void addShortApps(unsigned int howMany) {
    for (unsigned int i = 0; i < howMany; ++i) {
      const std::string number = std::to_string(i);
      add("iap" + number, "app" + number, "launch" + number);
    }
  }

  static void expectTable(const Bytes& expected) {
    SegmentView view(kAppInfoSegment);
    ASSERT_EQ(view.size(), 4 + kTableBytes);
    EXPECT_EQ(view.sizeWord(), kTableBytes);
    EXPECT_EQ(Bytes(view.bytes() + 4, view.bytes() + 4 + kTableBytes), expected);
    EXPECT_THAT(view.slack(), Each(0)) << "nothing is written behind the table";
  }

  std::unique_ptr<iOSAppCommonLocalMem_AppInfo> sut;
  TableModel model;
};

TEST_F(Registration, TheFirstAppGetsAppId1AndItsThreeStrings) {
  EXPECT_EQ(add("com.radio", "Radio", "radio://"), 1U);
  expectTable(model.bytes());
  SegmentView view(kAppInfoSegment);
  const iOSAppInfoList& table = view.record<iOSAppInfoList>();
  EXPECT_EQ(table.count, 1U);
  EXPECT_EQ(table.entry[0].appId, 1U);
  EXPECT_STREQ(table.entry[0].iAP1Name, "com.radio");
  EXPECT_STREQ(table.entry[0].appName, "Radio");
  EXPECT_STREQ(table.entry[0].launchString, "radio://");
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(Registration, TheNextAppGetsTheNextEntry) {
  add("com.radio", "Radio", "radio://");
  EXPECT_EQ(add("", "Maps", ""), 2U);
  expectTable(model.bytes());
}

TEST_F(Registration, IsAnnouncedByItsIndexWithIdentifier5WhileTheLockIsHeld) {
  add("", "Radio", "");
  PostedSince posted;
  add("", "Maps", "");
  const vqfake::Message message = posted.single();
  EXPECT_EQ(message.id, 5U);
  EXPECT_EQ(payloadAs<std::uint32_t>(message), 1U);
  EXPECT_THAT(message.locksHeld, ElementsAre(kAppInfoSegment));
}

TEST_F(Registration, TheAppKnowsItsIdWhenTheLockIsGivenBack) {
  std::atomic<std::uint32_t> appId{0};
  std::vector<std::uint32_t> seen;
  vqfake::setAfterUnlock([&](const std::string&) { seen.push_back(appId); });
  sut->registAppInfo("", "Radio", "", appId);
  vqfake::setAfterUnlock({});
  EXPECT_THAT(seen, ElementsAre(1U));
}

TEST_F(Registration, TakesTheLockOnceAndGivesItBack) {
  const unsigned int before = vqfake::lockCount(kAppInfoSegment);
  add("", "Radio", "");
  EXPECT_EQ(vqfake::lockCount(kAppInfoSegment), before + 1);
  EXPECT_EQ(vqfake::lockDepth(kAppInfoSegment), 0U);
}

TEST_F(Registration, TheTwentiethIsAcceptedAndFillsTheTable) {
  addShortApps(19);
  EXPECT_EQ(add("last.iap", "Last", "last://"), 20U);
  expectTable(model.bytes());
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

testing::Matcher<const vqfake::LogLine&> overflowLine() {
  return logLine(kAppInfoFile, "registAppInfo", 0, 1, "### Error : iOSAppInfoList overflow!\r\n");
}

TEST_F(Registration, TheTwentyFirstIsRefusedAndTheCountStays20) {
  addShortApps(20);
  PostedSince posted;
  std::atomic<std::uint32_t> appId{0};
  sut->registAppInfo("iap", "Radio", "radio://", appId);
  EXPECT_EQ(appId, 0U);
  EXPECT_TRUE(posted.none());
  EXPECT_THAT(vqfake::log(), ElementsAre(overflowLine()));
  EXPECT_EQ(vqfake::lockDepth(kAppInfoSegment), 0U);
  expectTable(model.bytes());
  EXPECT_EQ(SegmentView(kAppInfoSegment).record<iOSAppInfoList>().count, 20U);
}

TEST_F(Registration, ARefusalLeavesTheCallersAppIdAsItIs) {
  addShortApps(20);
  std::atomic<std::uint32_t> appId{77};
  sut->registAppInfo("", "Radio", "", appId);
  EXPECT_EQ(appId, 77U);
}

TEST_F(Registration, ACountThatAnotherProcessSpoiltIsTakenForAFullTable) {
  SegmentView view(kAppInfoSegment);
  view.record<iOSAppInfoList>().count = 0xFFFFFFFF;
  const Bytes before = view.copy();
  PostedSince posted;
  std::atomic<std::uint32_t> appId{0};
  sut->registAppInfo("", "Radio", "", appId);
  EXPECT_EQ(appId, 0U);
  EXPECT_TRUE(posted.none());
  EXPECT_THAT(vqfake::log(), ElementsAre(overflowLine()));
  EXPECT_EQ(view.copy(), before);
}

TEST_F(Registration, WithoutAMappedSegmentNothingHappens) {
  sut.reset();
  LibcFaults faults;
  faults.failShmOpenOf(kAppInfoSegment, EACCES);
  iOSAppCommonLocalMem_AppInfo unmapped;
  vqfake::clearLog();
  PostedSince posted;
  std::atomic<std::uint32_t> appId{77};
  unmapped.registAppInfo("", "Radio", "", appId);
  EXPECT_EQ(appId, 77U);
  EXPECT_TRUE(posted.none());
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(Registration, NoTerminatorIsWrittenOverWhatWasThere) {
  SegmentView view(kAppInfoSegment);
  std::memset(view.bytes() + 4, 'z', kEntryBytes);
  std::atomic<std::uint32_t> appId{0};
  sut->registAppInfo("ab", "cd", "ef", appId);
  const iOSAppInfo& entry = view.record<iOSAppInfoList>().entry[0];
  EXPECT_EQ(std::string(entry.iAP1Name, 11), "ab" + std::string(9, 'z'));
  EXPECT_EQ(std::string(entry.appName, 128), "cd" + std::string(126, 'z'));
  EXPECT_EQ(std::string(entry.launchString, 128), "ef" + std::string(126, 'z'));
  EXPECT_EQ(entry.padding[0], 'z');
}

TEST_F(Registration, ALongStringOfOneAppShowsInTheNextAppsEntry) {
  add("", "Radio", std::string(300, 'L'));
  EXPECT_EQ(add("x", "y", "z"), 2U);
  expectTable(model.bytes());
  SegmentView view(kAppInfoSegment);
  const iOSAppInfo& entry = view.record<iOSAppInfoList>().entry[1];
  EXPECT_EQ(entry.appId, 2U);
  EXPECT_EQ(std::string(entry.iAP1Name, 3), "xLL");
  EXPECT_EQ(std::string(entry.appName, 3), "yLL");
  EXPECT_EQ(std::string(entry.launchString), "z" + std::string(27, 'L'));
}

TEST_F(Registration, AStringThatRunsOverTheCountLeavesTheCountRight) {
  EXPECT_EQ(add("", "Radio", std::string(6000, 'L')), 1U);
  EXPECT_EQ(SegmentView(kAppInfoSegment).record<iOSAppInfoList>().count, 1U);
  EXPECT_EQ(add("", "Maps", ""), 2U);
  expectTable(model.bytes());
}

// Every length around a field's width and beyond the table, in each field, in the first and the last entry.
struct LongString {
  std::size_t length;
  unsigned int field;
  unsigned int entry;
};

class RegistrationOfLongStrings : public Registration, public testing::WithParamInterface<LongString> {};

TEST_P(RegistrationOfLongStrings, RunOnIntoWhatFollowsButNeverPastTheTable) {
  addShortApps(GetParam().entry);
  std::string fields[3] = {"iap", "app", "launch"};
  fields[GetParam().field] = std::string(GetParam().length, 'L');
  PostedSince posted;
  EXPECT_EQ(add(fields[0], fields[1], fields[2]), GetParam().entry + 1);
  EXPECT_EQ(payloadAs<std::uint32_t>(posted.single()), GetParam().entry);
  expectTable(model.bytes());
}

std::vector<LongString> longStrings() {
  std::vector<LongString> all;
  for (const unsigned int entry : {0U, 19U}) {
    for (const unsigned int field : {0U, 1U, 2U}) {
      for (const std::size_t length : {10U, 11U, 127U, 128U, 129U, 300U, 6000U}) {
        all.push_back({length, field, entry});
      }
    }
  }
  return all;
}

std::string nameOf(const testing::TestParamInfo<LongString>& info) {
  static const char* const names[] = {"iAP1Name", "appName", "launchString"};
  return std::string(names[info.param.field]) + "Of" + std::to_string(info.param.length) + "InEntry" +
         std::to_string(info.param.entry);
}

INSTANTIATE_TEST_SUITE_P(Fields, RegistrationOfLongStrings, testing::ValuesIn(longStrings()), nameOf);

}  // namespace
