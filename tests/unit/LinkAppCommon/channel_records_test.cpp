// The records: what lies where in the messages and segments, and the value records of one process.
#include <memory>
#include <type_traits>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "LinkAppCommon/iOSAppCommonServer.h"
#include "channel_events.h"
#include "channel_fixture.h"

namespace {

using testing::Each;
using testing::IsEmpty;
using testing::SizeIs;

using ChannelRecords = ChannelTest;

TEST_F(ChannelRecords, TheFourSegmentsHaveTheirSizesAndSizeWords) {
  iOSAppCommonClient client("", "Radio", "");
  const struct {
    const char* name;
    std::size_t recordSize;
  } segments[] = {
      {kConnectStatusSegment, 304}, {kFromHuSegment, 164004}, {kFromDeviceSegment, 164004}, {kAppInfoSegment, 5444}};
  for (const auto& segment : segments) {
    SegmentView view(segment.name);
    EXPECT_EQ(view.size(), 4 + segment.recordSize) << segment.name;
    EXPECT_EQ(view.sizeWord(), segment.recordSize) << segment.name;
  }
}

TEST_F(ChannelRecords, AKind2MessageOfTheServerCarriesAppIdAt8AndStatusAt24AndNothingAt12To20) {
  iOSAppCommonServer server(1);
  PostedSince posted;
  server.notifySessionOpen(0x0506, 9);
  const vqfake::Message message = posted.single();
  ASSERT_EQ(message.payload.size(), 304U);
  EXPECT_EQ(wordAt(message, 0), 2U);
  EXPECT_EQ(wordAt(message, 4), 1U);
  EXPECT_EQ(wordAt(message, 8), 0x0506U);
  EXPECT_THAT(bytesOf(message, 12, 24), Each(0));
  EXPECT_EQ(wordAt(message, 24), 1U);
  EXPECT_THAT(bytesOf(message, 28, 304), Each(0));
}

// Sends `size` bytes as the app with session 3.
void sendFromDevice(iOSAppCommonServer& server, std::size_t size) {
  const Bytes bytes = patternOf(size);
  server.sendDataFromDevice(3, bytes.data(), static_cast<unsigned int>(size));
}

class RingRecords : public ChannelTest {
 protected:
  void SetUp() override {
    ChannelTest::SetUp();
    client = std::make_unique<iOSAppCommonClient>("", "Radio", "");
    server = std::make_unique<iOSAppCommonServer>(1);
    server->setSessionIdToAppList(1, 3);
  }
  void TearDown() override {
    server.reset();
    client.reset();
    ChannelTest::TearDown();
  }

  std::unique_ptr<iOSAppCommonClient> client;
  std::unique_ptr<iOSAppCommonServer> server;
};

TEST_F(RingRecords, A4096BytePayloadFillsTheSlotExactly) {
  sendFromDevice(*server, 4096);
  SegmentView view(kFromDeviceSegment);
  const std::uint8_t* const slot = view.bytes() + 4;
  EXPECT_EQ(Bytes(slot, slot + 4096), patternOf(4096));
  std::uint32_t size = 0;
  std::memcpy(&size, slot + 4096, sizeof(size));
  EXPECT_EQ(size, 4096U);
  EXPECT_THAT(Bytes(slot + 4100, slot + 8200), Each(0));
}

TEST_F(RingRecords, PayloadsOf4097Or0BytesAreNeverWritten) {
  const Bytes before = SegmentView(kFromDeviceSegment).copy();
  sendFromDevice(*server, 4097);
  sendFromDevice(*server, 0);
  EXPECT_EQ(SegmentView(kFromDeviceSegment).copy(), before);
}

TEST_F(RingRecords, After40WritesTheWriteIndexIsBackAtItsStartingValue) {
  SegmentView view(kFromDeviceSegment);
  std::uint32_t& writeIndex = view.record<iOSAppCommonDataList>().writeIndex;
  EXPECT_EQ(writeIndex, 0U);
  for (unsigned int i = 0; i < 39; ++i) {
    sendFromDevice(*server, 1);
  }
  EXPECT_EQ(writeIndex, 39U);
  sendFromDevice(*server, 1);
  EXPECT_EQ(writeIndex, 0U);
}

TEST_F(ChannelRecords, TheWriteIndexLiesAtByte164000AndTheCountAtByte5440OfTheirRecords) {
  iOSAppCommonClient client("", "Radio", "");
  SegmentView ring(kFromHuSegment);
  ring.record<iOSAppCommonDataList>().writeIndex = 0x01020304;
  EXPECT_EQ(ring.bytes()[4 + 164000], 4U);
  EXPECT_EQ(SegmentView(kAppInfoSegment).bytes()[4 + 5440], 1U);
}

TEST(ValueRecords, ADefaultLinkAppInfoIsBlank) {
  const iOSLinkAppInfo sut;
  EXPECT_EQ(sut.appId, 0U);
  EXPECT_EQ(sut.iAP1Name, "");
  EXPECT_EQ(sut.appName, "");
  EXPECT_EQ(sut.launchString, "");
  EXPECT_EQ(sut.sessionId, 0U);
  EXPECT_EQ(sut.iAP1Id, 0U);
}

iOSLinkAppInfo fullInfo() {
  iOSLinkAppInfo info;
  info.appId = 7;
  info.iAP1Name = "com.radio";
  info.appName = "Radio";
  info.launchString = "radio://";
  info.sessionId = 12;
  info.iAP1Id = 3;
  return info;
}

void expectFull(const iOSLinkAppInfo& info) {
  EXPECT_EQ(info.appId, 7U);
  EXPECT_EQ(info.iAP1Name, "com.radio");
  EXPECT_EQ(info.appName, "Radio");
  EXPECT_EQ(info.launchString, "radio://");
  EXPECT_EQ(info.sessionId, 12U);
  EXPECT_EQ(info.iAP1Id, 3U);
}

TEST(ValueRecords, ALinkAppInfoIsCopiedAndAssignedFieldByField) {
  const iOSLinkAppInfo source = fullInfo();
  const iOSLinkAppInfo copied(source);  // NOLINT(performance-unnecessary-copy-initialization): the copy is the test
  iOSLinkAppInfo assigned;
  assigned = source;
  expectFull(copied);
  expectFull(assigned);
}

TEST(ValueRecords, TheAppRecordsArePolymorphic) {
  EXPECT_TRUE(std::has_virtual_destructor<iOSLinkAppInfo>::value);
  EXPECT_TRUE(std::has_virtual_destructor<SupportiOSLinkAppInfo>::value);
}

TEST(ValueRecords, ANewTableHoldsOneBlankEntry) {
  const SupportiOSLinkAppInfo sut;
  ASSERT_THAT(sut.list, SizeIs(1));
  EXPECT_EQ(sut.list[0].appId, 0U);
  EXPECT_EQ(sut.list[0].appName, "");
}

TEST(ValueRecords, ACopyOfATableHasTheSameEntriesAndNoBlankOneMore) {
  SupportiOSLinkAppInfo source;
  source.list.push_back(fullInfo());
  const SupportiOSLinkAppInfo copied(source);
  SupportiOSLinkAppInfo assigned;
  assigned.list.resize(5);
  assigned = source;
  for (const SupportiOSLinkAppInfo* sut : {&copied, static_cast<const SupportiOSLinkAppInfo*>(&assigned)}) {
    ASSERT_THAT(sut->list, SizeIs(2));
    EXPECT_EQ(sut->list[0].appName, "");
    expectFull(sut->list[1]);
  }
}

TEST(ValueRecords, ATableWithoutEntriesIsCopiedWithoutEntries) {
  SupportiOSLinkAppInfo source;
  source.list.clear();
  const SupportiOSLinkAppInfo sut(source);
  EXPECT_THAT(sut.list, IsEmpty());
}

TEST(ValueRecords, ACopyOfATableHasALockOfItsOwn) VQ_NO_THREAD_SAFETY_ANALYSIS {
  const SupportiOSLinkAppInfo source;
  ASSERT_TRUE(source.lock.Lock());
  const SupportiOSLinkAppInfo sut(source);
  EXPECT_TRUE(sut.lock.Lock());
  sut.lock.Unlock();
  source.lock.Unlock();
}

TEST(ValueRecords, NewValueRecordsAreZeroAndEmpty) {
  const iosapp_def_::CommData data;
  EXPECT_EQ(data.deviceId, 0U);
  EXPECT_EQ(data.appName, "");
  EXPECT_EQ(data.data, nullptr);
  EXPECT_EQ(data.size, 0U);
  EXPECT_EQ(data.sessionId, 0U);
  const iosapp_def_::SendResultInfo result;
  EXPECT_EQ(result.deviceId, 0U);
  EXPECT_EQ(result.appId, 0U);
  EXPECT_EQ(result.appName, "");
  EXPECT_EQ(result.result, 0U);
}

TEST(ValueRecords, EnumerationsCarryEvery32BitValue) {
  EXPECT_TRUE((std::is_same<std::underlying_type<iosapp_def_::AppLaunchMethod>::type, unsigned int>::value));
  EXPECT_TRUE((std::is_same<std::underlying_type<iosapp_def_::SendResult>::type, unsigned int>::value));
}

}  // namespace
