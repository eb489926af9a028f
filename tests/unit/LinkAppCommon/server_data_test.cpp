// iOSAppCommonServer's data path: the ring from the device, the ring from the head unit, send results.
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <thread>

#include "LinkAppCommon/iOSAppCommonServer.h"
#include "between_reads.h"
#include "channel_events.h"
#include "channel_fixture.h"
#include "libc_faults.h"
#include "tests/support/wait_until.h"

namespace {

using test_support::isAsleep;
using test_support::waitUntil;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::uint16_t kSession = 3;
constexpr std::uint16_t kApp = 5;

class ServerData : public ChannelTest {
 protected:
  void SetUp() override {
    ChannelTest::SetUp();
    putApp(kApp, kSession);
    start(1);
  }
  void TearDown() override {
    events.reset();
    sut.reset();
    ChannelTest::TearDown();
  }

  void start(unsigned int deviceId) {
    events.reset();
    sut.reset();
    sut = std::make_unique<iOSAppCommonServer>(deviceId);
    events = std::make_unique<ServerEvents>(*sut);
    vqfake::clearLog();
  }

  static void putApp(std::uint16_t appId, std::uint16_t sessionId) {
    iOSLinkAppInfo info;
    info.appId = appId;
    info.appName = "App";
    info.sessionId = sessionId;
    VQSingleton<iOSAppCommonUtil>::getInstance()->pushAppInfo(info);
  }

  void send(const Bytes& bytes, std::uint16_t sessionId = kSession) {
    sut->sendDataFromDevice(sessionId, bytes.data(), static_cast<unsigned int>(bytes.size()));
  }

  static testing::Matcher<const vqfake::LogLine&> sendErrorLine(unsigned int appId, unsigned int size) {
    return logLine(kServerFile, "sendDataFromDevice", 186, 1,
                   "##### Error set data from Device : AppId[" + std::to_string(appId) + "] DataSize[" +
                       std::to_string(size) + "]\n");
  }

  // Fills a slot of the head unit's ring as a client would.
  static void fillSlot(std::uint32_t index, const Bytes& bytes) {
    SegmentView view(kFromHuSegment);
    iOSAppCommonDataSlot& slot = view.record<iOSAppCommonDataList>().slot[index];
    std::memcpy(slot.data, bytes.data(), bytes.size());
    slot.size = static_cast<std::uint32_t>(bytes.size());
  }

  static void setSlotSize(std::uint32_t index, std::uint32_t size) {
    SegmentView(kFromHuSegment).record<iOSAppCommonDataList>().slot[index].size = size;
  }

  unsigned int announce(std::uint32_t deviceId, std::uint32_t appId, std::uint32_t slotIndex) {
    iOSAppCommonDataNotify message = {deviceId, appId, slotIndex};
    return sut->onFromHUUpdate(2, &message, sizeof(message));
  }

  std::unique_ptr<iOSAppCommonServer> sut;
  std::unique_ptr<ServerEvents> events;
};

TEST_F(ServerData, DataFromTheDeviceLiesInTheSlotAndIsAnnouncedWhileTheLockIsHeld) {
  PostedSince posted;
  send(patternOf(100));
  const vqfake::Message message = posted.single();
  EXPECT_EQ(message.id, 3U);
  EXPECT_THAT(message.locksHeld, ElementsAre(kFromDeviceSegment));
  const auto notify = payloadAs<iOSAppCommonDataNotify>(message);
  EXPECT_EQ(notify.deviceId, 1U);
  EXPECT_EQ(notify.appId, kApp);
  EXPECT_EQ(notify.slotIndex, 0U);
  SegmentView view(kFromDeviceSegment);
  const auto& ring = view.record<iOSAppCommonDataList>();
  EXPECT_EQ(ring.slot[0].size, 100U);
  EXPECT_EQ(Bytes(ring.slot[0].data, ring.slot[0].data + 100), patternOf(100));
  EXPECT_THAT(Bytes(ring.slot[0].data + 100, ring.slot[0].data + 4096), Each(0));
  EXPECT_EQ(ring.writeIndex, 1U);
  EXPECT_THAT(vqfake::log(), IsEmpty());
  EXPECT_EQ(vqfake::lockDepth(kFromDeviceSegment), 0U);
}

TEST_F(ServerData, TheRestOfAReusedSlotIsLeftAsItWas) {
  SegmentView view(kFromDeviceSegment);
  auto& ring = view.record<iOSAppCommonDataList>();
  std::memset(ring.slot[0].data, 0x5A, 4096);
  send(patternOf(10));
  EXPECT_THAT(Bytes(ring.slot[0].data + 10, ring.slot[0].data + 4096), Each(0x5A));
}

TEST_F(ServerData, SendDataFromDeviceWith4096BytesSucceeds) {
  PostedSince posted;
  send(patternOf(4096));
  EXPECT_EQ(payloadAs<iOSAppCommonDataNotify>(posted.single()).slotIndex, 0U);
  SegmentView view(kFromDeviceSegment);
  const auto& slot = view.record<iOSAppCommonDataList>().slot[0];
  EXPECT_EQ(slot.size, 4096U);
  EXPECT_EQ(Bytes(slot.data, slot.data + 4096), patternOf(4096));
}

TEST_F(ServerData, SendDataFromDeviceWith4097Or0BytesLogsAndWritesNothing) {
  const Bytes before = SegmentView(kFromDeviceSegment).copy();
  PostedSince posted;
  send(patternOf(4097));
  const std::uint8_t byte = 1;
  sut->sendDataFromDevice(kSession, &byte, 0);
  EXPECT_THAT(vqfake::log(), ElementsAre(sendErrorLine(kApp, 4097), sendErrorLine(kApp, 0)));
  EXPECT_TRUE(posted.none());
  EXPECT_EQ(SegmentView(kFromDeviceSegment).copy(), before);
}

TEST_F(ServerData, SendDataFromDeviceForASessionThatMapsToAppId0LogsAndWritesNothing) {
  const Bytes before = SegmentView(kFromDeviceSegment).copy();
  PostedSince posted;
  send(patternOf(7), 99);
  EXPECT_THAT(vqfake::log(), ElementsAre(sendErrorLine(0, 7)));
  EXPECT_TRUE(posted.none());
  EXPECT_EQ(SegmentView(kFromDeviceSegment).copy(), before);
}

TEST_F(ServerData, SendDataFromDeviceOfNullLogsAndWritesNothing) {
  PostedSince posted;
  sut->sendDataFromDevice(kSession, nullptr, 7);
  EXPECT_THAT(vqfake::log(), ElementsAre(sendErrorLine(kApp, 7)));
  EXPECT_TRUE(posted.none());
}

TEST_F(ServerData, SendDataFromDeviceWithoutAMappedSegmentLogs) {
  LibcFaults faults;
  faults.failShmOpenOf(kFromDeviceSegment, EACCES);
  start(1);
  PostedSince posted;
  send(patternOf(7));
  EXPECT_THAT(vqfake::log(), ElementsAre(sendErrorLine(kApp, 7)));
  EXPECT_TRUE(posted.none());
}

TEST_F(ServerData, SendDataFromDeviceOfAnotherDeviceHasNoSegmentAndLogs) {
  start(2);
  PostedSince posted;
  send(patternOf(7));
  EXPECT_THAT(vqfake::log(), ElementsAre(sendErrorLine(kApp, 7)));
  EXPECT_TRUE(posted.none());
}

TEST_F(ServerData, The41stMessageWrittenLandsInSlot0Again) {
  PostedSince posted;
  for (unsigned int i = 0; i < 41; ++i) {
    send(patternOf(4, i));
  }
  const std::vector<vqfake::Message> messages = posted.messages();
  ASSERT_EQ(messages.size(), 41U);
  for (std::uint32_t i = 0; i < 41; ++i) {
    EXPECT_EQ(payloadAs<iOSAppCommonDataNotify>(messages[i]).slotIndex, i % 40);
  }
  SegmentView view(kFromDeviceSegment);
  const auto& ring = view.record<iOSAppCommonDataList>();
  EXPECT_EQ(Bytes(ring.slot[0].data, ring.slot[0].data + 4), patternOf(4, 40));
  EXPECT_EQ(Bytes(ring.slot[1].data, ring.slot[1].data + 4), patternOf(4, 1));
  EXPECT_EQ(Bytes(ring.slot[39].data, ring.slot[39].data + 4), patternOf(4, 39));
  EXPECT_EQ(ring.writeIndex, 1U);
}

TEST_F(ServerData, AWriteIndexThatAnotherProcessSpoiltIsTakenModulo40) {
  SegmentView view(kFromDeviceSegment);
  auto& ring = view.record<iOSAppCommonDataList>();
  for (const std::uint32_t spoilt : {40U, 0xFFFFFFFFU}) {
    ring.writeIndex = spoilt;
    PostedSince posted;
    send(patternOf(4));
    EXPECT_EQ(payloadAs<iOSAppCommonDataNotify>(posted.single()).slotIndex, spoilt % 40);
    EXPECT_EQ(ring.slot[spoilt % 40].size, 4U);
    EXPECT_EQ(ring.writeIndex, spoilt % 40 + 1);
  }
}

TEST_F(ServerData, DataFromAHeadUnitIsHandedOnWithItsSession) {
  fillSlot(0, patternOf(100));
  EXPECT_EQ(announce(1, kApp, 0), 0U);
  EXPECT_THAT(events->headers, ElementsAre(EventHeader{1, 20}));
  ASSERT_THAT(events->data, SizeIs(1));
  EXPECT_EQ(events->data[0].deviceId, 1U);
  EXPECT_EQ(events->data[0].appName, "");
  EXPECT_EQ(events->data[0].size, 100U);
  EXPECT_EQ(events->data[0].bytes(), patternOf(100));
  EXPECT_EQ(events->data[0].sessionId, kSession);
}

TEST_F(ServerData, DataArrivesThroughTheNotifier) {
  fillSlot(39, patternOf(4096));
  const iOSAppCommonDataNotify message = {1, kApp, 39};
  vqfake::post(2, &message, sizeof(message));
  vqfake::deliverAll();
  ASSERT_THAT(events->data, SizeIs(1));
  EXPECT_EQ(events->data[0].bytes(), patternOf(4096));
}

TEST_F(ServerData, AHeadUnitMessageForAnAppWithoutAnOpenSessionIsDeliveredWithSessionId0) {
  fillSlot(0, patternOf(4));
  announce(1, 77, 0);
  ASSERT_THAT(events->data, SizeIs(1));
  EXPECT_EQ(events->data[0].sessionId, 0U);
  EXPECT_EQ(events->data[0].bytes(), patternOf(4));
}

TEST_F(ServerData, TheArrayIsAWholeSlotWithAZeroTail) {
  SegmentView view(kFromHuSegment);
  std::memset(view.record<iOSAppCommonDataList>().slot[0].data, 0x5A, 4096);
  setSlotSize(0, 10);
  announce(1, kApp, 0);
  ASSERT_THAT(events->data, SizeIs(1));
  EXPECT_THAT(events->data[0].bytes(), AllOf(SizeIs(10), Each(0x5A)));
  EXPECT_THAT(Bytes(events->data[0].slot.begin() + 10, events->data[0].slot.end()), Each(0));
}

TEST_F(ServerData, ASlotIsReadInTwoHoldsOfTheLock) {
  fillSlot(0, patternOf(4));
  const unsigned int before = vqfake::lockCount(kFromHuSegment);
  unsigned int depth = 1;
  events->during = [&] { depth = vqfake::lockDepth(kFromHuSegment); };
  announce(1, kApp, 0);
  EXPECT_EQ(vqfake::lockCount(kFromHuSegment), before + 2);
  EXPECT_EQ(depth, 0U) << "observers run without the lock";
}

TEST_F(ServerData, ASlotThatGrowsBetweenTheReadsReportsTheFirstSizeWithTheBytesOfTheSecond) {
  fillSlot(0, patternOf(30));
  setSlotSize(0, 10);
  BetweenTheReads change(kFromHuSegment, 0, 30);
  announce(1, kApp, 0);
  ASSERT_THAT(events->data, SizeIs(1));
  EXPECT_EQ(events->data[0].size, 10U);
  const Bytes& slot = events->data[0].slot;
  EXPECT_EQ(Bytes(slot.begin(), slot.begin() + 30), patternOf(30));
  EXPECT_THAT(Bytes(slot.begin() + 30, slot.end()), Each(0));
}

TEST_F(ServerData, ASlotThatGrowsToAWholeSlotIsCopiedWhole) {
  fillSlot(0, patternOf(4096));
  setSlotSize(0, 1);
  BetweenTheReads change(kFromHuSegment, 0, 4096);
  announce(1, kApp, 0);
  ASSERT_THAT(events->data, SizeIs(1));
  EXPECT_EQ(events->data[0].size, 1U);
  EXPECT_EQ(events->data[0].slot, patternOf(4096));
}

TEST_F(ServerData, ASlotThatShrinksBetweenTheReadsReportsTheFirstSizeWithAZeroTail) {
  fillSlot(0, patternOf(30));
  BetweenTheReads change(kFromHuSegment, 0, 10);
  announce(1, kApp, 0);
  ASSERT_THAT(events->data, SizeIs(1));
  EXPECT_EQ(events->data[0].size, 30U);
  const Bytes& slot = events->data[0].slot;
  EXPECT_EQ(Bytes(slot.begin(), slot.begin() + 10), patternOf(10));
  EXPECT_THAT(Bytes(slot.begin() + 10, slot.end()), Each(0));
}

TEST_F(ServerData, ASlotThatIsEmptiedOrSpoiltBetweenTheReadsIsDeliveredAsZeros) {
  for (const std::uint32_t newSize : {0U, 4097U, 5000U, 0xFFFFFFFFU}) {
    events->data.clear();
    fillSlot(0, patternOf(30));
    BetweenTheReads change(kFromHuSegment, 0, newSize);
    announce(1, kApp, 0);
    ASSERT_THAT(events->data, SizeIs(1)) << newSize;
    EXPECT_EQ(events->data[0].size, 30U) << newSize;
    EXPECT_THAT(events->data[0].slot, Each(0)) << newSize;
  }
}

TEST_F(ServerData, AHeadUnitNotificationWhoseSlotIndexIs40OrMoreProducesNothing) {
  for (std::uint32_t i = 0; i < 40; ++i) {
    setSlotSize(i, 4);
  }
  for (const std::uint32_t slotIndex : {40U, 41U, 0x80000000U, 0xFFFFFFFFU}) {
    EXPECT_EQ(announce(1, kApp, slotIndex), 0U);
  }
  EXPECT_TRUE(events->none());
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(ServerData, AHeadUnitNotificationWhoseSlotSizeIs0ProducesNothing) {
  EXPECT_EQ(announce(1, kApp, 0), 0U);
  EXPECT_TRUE(events->none());
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(ServerData, ASlotSizeAbove4096CountsAsNeverWritten) {
  for (const std::uint32_t size : {4097U, 5000U, 0xFFFFFFFFU}) {
    setSlotSize(0, size);
    EXPECT_EQ(announce(1, kApp, 0), 0U);
  }
  EXPECT_TRUE(events->none());
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(ServerData, HeadUnitNotificationsOfForeignIdentifierNullPayloadOrZeroSizeAreIgnored) {
  fillSlot(0, patternOf(4));
  iOSAppCommonDataNotify message = {1, kApp, 0};
  EXPECT_EQ(sut->onFromHUUpdate(3, &message, 12), 0U);
  EXPECT_EQ(sut->onFromHUUpdate(0, &message, 12), 0U);
  EXPECT_EQ(sut->onFromHUUpdate(2, nullptr, 12), 0U);
  EXPECT_EQ(sut->onFromHUUpdate(2, &message, 0), 0U);
  EXPECT_TRUE(events->none());
}

TEST_F(ServerData, ANotificationOfADeviceWithoutAPackIsIgnored) {
  fillSlot(0, patternOf(4));
  announce(2, kApp, 0);
  announce(0, kApp, 0);
  EXPECT_TRUE(events->none());
}

TEST_F(ServerData, AServerOfAnotherDeviceHasNoSlotsToRead) {
  start(2);
  announce(2, kApp, 0);
  announce(1, kApp, 0);
  EXPECT_TRUE(events->none());
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(ServerData, ANotificationWithoutAMappedSegmentIsIgnored) {
  fillSlot(0, patternOf(4));
  LibcFaults faults;
  faults.failShmOpenOf(kFromHuSegment, EACCES);
  start(1);
  announce(1, kApp, 0);
  EXPECT_TRUE(events->none());
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(ServerData, ASendResultIsSentAsKind3WithTheSessionsApp) {
  PostedSince posted;
  sut->notifySendResult(kSession, static_cast<iosapp_def_::SendResult>(0xFEDCBA98));
  const vqfake::Message message = posted.single();
  EXPECT_EQ(message.id, 4U);
  EXPECT_THAT(message.locksHeld, IsEmpty());
  ASSERT_EQ(message.payload.size(), 304U);
  EXPECT_EQ(wordAt(message, 0), 3U);
  EXPECT_EQ(wordAt(message, 4), 1U);
  EXPECT_EQ(wordAt(message, 8), kApp);
  EXPECT_THAT(bytesOf(message, 12, 28), Each(0));
  EXPECT_EQ(wordAt(message, 28), 0xFEDCBA98U);
  EXPECT_THAT(bytesOf(message, 32, 304), Each(0));
}

TEST_F(ServerData, ASendResultOfAnUnknownSessionIsSentWithAppId0) {
  PostedSince posted;
  sut->notifySendResult(99, iosapp_def_::SENDRESULT_SUCCESS);
  EXPECT_EQ(wordAt(posted.single(), 8), 0U);
}

TEST_F(ServerData, ASendResultOfAnotherDeviceCarriesItsId) {
  start(2);
  PostedSince posted;
  sut->notifySendResult(kSession, iosapp_def_::SENDRESULT_SUCCESS);
  EXPECT_EQ(wordAt(posted.single(), 4), 2U);
}

TEST_F(ServerData, AnObserverThatIsRunningMayUseTheServerWhoseDestructionWaitsForIt) {
  fillSlot(0, patternOf(10));
  const iOSAppCommonDataNotify announcement = {1, kApp, 0};
  vqfake::post(2, &announcement, sizeof(announcement));
  iOSAppCommonServer& server = *sut;
  std::atomic<long> destroyer{0};
  std::thread destruction;
  events->during = [&] {
    destruction = std::thread([&] {
      destroyer = syscall(SYS_gettid);
      sut.reset();
    });
    ASSERT_TRUE(waitUntil([&] { return destroyer != 0 && isAsleep(destroyer); }));
    ASSERT_THAT(vqfake::registrations(), Contains(ElementsAre(4U)));
    PostedSince posted;
    server.notifySendResult(kSession, iosapp_def_::SENDRESULT_SUCCESS);
    EXPECT_EQ(posted.single().id, 4U);
  };
  vqfake::deliverAll();
  destruction.join();
}

}  // namespace
