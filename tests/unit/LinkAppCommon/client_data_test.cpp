// iOSAppCommonClient's data path: sending, receiving, send results.
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <thread>

#include "LinkAppCommon/iOSAppCommonClient.h"
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

// The client's app id is 2.
constexpr std::uint32_t kApp = 2;

class ClientData : public ChannelTest {
 protected:
  void SetUp() override {
    ChannelTest::SetUp();
    { iOSAppCommonClient first("", "First", ""); }
    start("Radio");
  }
  void TearDown() override {
    events.reset();
    sut.reset();
    ChannelTest::TearDown();
  }

  void start(const std::string& appName) {
    events.reset();
    sut.reset();
    sut = std::make_unique<iOSAppCommonClient>("", appName, "radio://");
    events = std::make_unique<ClientEvents>(*sut);
    vqfake::clearLog();
  }

  void connect(std::uint32_t deviceId) {
    iosapp_def_::ConnectInfo info;
    info.deviceId = deviceId;
    info.connectStatus = 1;
    sut->addConnectInfoToList(info);
  }

  void openSession(std::uint32_t deviceId, std::uint32_t appId) {
    iosapp_def_::SessionInfo info;
    info.deviceId = deviceId;
    info.appId = appId;
    info.status = 1;
    sut->addSessionInfoToList(info);
  }

  void launch() {
    connect(1);
    ASSERT_EQ(sut->launch(1, iosapp_def_::APPLAUNCH_WITH_USER_ALERT), 1U);
  }

  void launchAndOpen(std::uint32_t appId = kApp) {
    launch();
    openSession(1, appId);
  }

  unsigned int send(const Bytes& bytes) {
    return sut->sendDataFromHU(bytes.data(), static_cast<unsigned int>(bytes.size()));
  }

  static testing::Matcher<const vqfake::LogLine&> notOpenedLine(unsigned int deviceId) {
    return logLine(kClientFile, "sendDataFromHU", 0, 1,
                   "##### Send Error : DeviceId[" + std::to_string(deviceId) + "]] not opened.\n");
  }

  static testing::Matcher<const vqfake::LogLine&> setDataLine(unsigned int size, unsigned int appId = kApp) {
    return logLine(kClientFile, "sendDataFromHU", 0, 1,
                   "##### Error set data from H/U : DevId[1] AppId[" + std::to_string(appId) + "] DataSize[" +
                       std::to_string(size) + "]\n");
  }

  static void fillSlot(std::uint32_t index, const Bytes& bytes) {
    SegmentView view(kFromDeviceSegment);
    iOSAppCommonDataSlot& slot = view.record<iOSAppCommonDataList>().slot[index];
    std::memcpy(slot.data, bytes.data(), bytes.size());
    slot.size = static_cast<std::uint32_t>(bytes.size());
  }

  static void setSlotSize(std::uint32_t index, std::uint32_t size) {
    SegmentView(kFromDeviceSegment).record<iOSAppCommonDataList>().slot[index].size = size;
  }

  unsigned int announce(std::uint32_t deviceId, std::uint32_t appId, std::uint32_t slotIndex) {
    iOSAppCommonDataNotify message = {deviceId, appId, slotIndex};
    return sut->onFromDeviceUpdate(3, &message, sizeof(message));
  }

  static iosapp_def_::ConnectStatusNotify resultMessage(std::uint32_t deviceId, std::uint32_t appId,
                                                        std::uint32_t result) {
    iosapp_def_::ConnectStatusNotify message = statusMessage(iosapp_def_::NOTIFYID_SENDRESULT, deviceId);
    message.appId = appId;
    message.sendResult = result;
    return message;
  }

  std::unique_ptr<iOSAppCommonClient> sut;
  std::unique_ptr<ClientEvents> events;
};

TEST_F(ClientData, SentDataLiesInTheSlotAndIsAnnouncedWhileTheLockIsHeld) {
  launchAndOpen();
  PostedSince posted;
  EXPECT_EQ(send(patternOf(100)), 1U);
  const vqfake::Message message = posted.single();
  EXPECT_EQ(message.id, 2U);
  EXPECT_THAT(message.locksHeld, ElementsAre(kFromHuSegment));
  const auto notify = payloadAs<iOSAppCommonDataNotify>(message);
  EXPECT_EQ(notify.deviceId, 1U);
  EXPECT_EQ(notify.appId, kApp);
  EXPECT_EQ(notify.slotIndex, 0U);
  SegmentView view(kFromHuSegment);
  const auto& ring = view.record<iOSAppCommonDataList>();
  EXPECT_EQ(ring.slot[0].size, 100U);
  EXPECT_EQ(Bytes(ring.slot[0].data, ring.slot[0].data + 100), patternOf(100));
  EXPECT_THAT(Bytes(ring.slot[0].data + 100, ring.slot[0].data + 4096), Each(0));
  EXPECT_EQ(ring.writeIndex, 1U);
  EXPECT_THAT(vqfake::log(), IsEmpty());
  EXPECT_EQ(vqfake::lockDepth(kFromHuSegment), 0U);
}

TEST_F(ClientData, SendDataFromHUWith4096BytesSucceeds) {
  launchAndOpen();
  EXPECT_EQ(send(patternOf(4096)), 1U);
  SegmentView view(kFromHuSegment);
  const auto& slot = view.record<iOSAppCommonDataList>().slot[0];
  EXPECT_EQ(slot.size, 4096U);
  EXPECT_EQ(Bytes(slot.data, slot.data + 4096), patternOf(4096));
  EXPECT_EQ(view.record<iOSAppCommonDataList>().slot[1].data[0], 0U);
}

TEST_F(ClientData, SendDataFromHUWithOneByteMoreOr0BytesLogsErrorSetDataAndReturns0) {
  launchAndOpen();
  const Bytes before = SegmentView(kFromHuSegment).copy();
  PostedSince posted;
  EXPECT_EQ(send(patternOf(4097)), 0U);
  const std::uint8_t byte = 1;
  EXPECT_EQ(sut->sendDataFromHU(&byte, 0), 0U);
  EXPECT_THAT(vqfake::log(), ElementsAre(setDataLine(4097), setDataLine(0)));
  EXPECT_TRUE(posted.none());
  EXPECT_EQ(SegmentView(kFromHuSegment).copy(), before);
}

TEST_F(ClientData, SendingNullLogsErrorSetDataAndReturns0) {
  launchAndOpen();
  PostedSince posted;
  EXPECT_EQ(sut->sendDataFromHU(nullptr, 7), 0U);
  EXPECT_THAT(vqfake::log(), ElementsAre(setDataLine(7)));
  EXPECT_TRUE(posted.none());
}

TEST_F(ClientData, SendingWithoutAMappedSegmentLogsErrorSetDataAndReturns0) {
  LibcFaults faults;
  faults.failShmOpenOf(kFromHuSegment, EACCES);
  start("Maps");
  launchAndOpen(3);
  PostedSince posted;
  EXPECT_EQ(send(patternOf(7)), 0U);
  EXPECT_THAT(vqfake::log(), ElementsAre(setDataLine(7, 3)));
  EXPECT_TRUE(posted.none());
}

TEST_F(ClientData, SendingBeforeAnyLaunchLogsNotOpenedWithDevice0) {
  connect(1);
  openSession(1, kApp);
  PostedSince posted;
  EXPECT_EQ(send(patternOf(7)), 0U);
  EXPECT_THAT(vqfake::log(), ElementsAre(notOpenedLine(0)));
  EXPECT_TRUE(posted.none());
}

TEST_F(ClientData, SendingWithoutASessionLogsNotOpened) {
  launch();
  openSession(1, 1);
  openSession(2, kApp);
  PostedSince posted;
  EXPECT_EQ(send(patternOf(7)), 0U);
  EXPECT_THAT(vqfake::log(), ElementsAre(notOpenedLine(1)));
  EXPECT_TRUE(posted.none());
}

TEST_F(ClientData, SendingWithASessionButNoConnectionLogsNotOpened) {
  launchAndOpen();
  sut->removeConnectInfoFromList(1);
  EXPECT_EQ(send(patternOf(7)), 0U);
  EXPECT_THAT(vqfake::log(), ElementsAre(notOpenedLine(1)));
}

TEST_F(ClientData, NotOpenedComesBeforeEveryOtherRefusal) {
  EXPECT_EQ(sut->sendDataFromHU(nullptr, 0), 0U);
  EXPECT_THAT(vqfake::log(), ElementsAre(notOpenedLine(0)));
}

TEST_F(ClientData, AnUnregisteredClientWithAnOpenSessionIsRefusedSilently) {
  start("");
  connect(0);
  openSession(0, 0);
  PostedSince posted;
  EXPECT_EQ(sut->sendDataFromHU(nullptr, 0), 0U);
  EXPECT_THAT(vqfake::log(), IsEmpty());
  EXPECT_TRUE(posted.none());
}

TEST_F(ClientData, ADeviceWithoutAPackIsRefusedSilently) {
  connect(0);
  openSession(0, kApp);
  PostedSince posted;
  EXPECT_EQ(sut->sendDataFromHU(nullptr, 0), 0U);
  EXPECT_THAT(vqfake::log(), IsEmpty());
  EXPECT_TRUE(posted.none());
}

TEST_F(ClientData, The41stSendReusesSlot0) {
  launchAndOpen();
  PostedSince posted;
  for (unsigned int i = 0; i < 41; ++i) {
    EXPECT_EQ(send(patternOf(4, i)), 1U);
  }
  const std::vector<vqfake::Message> messages = posted.messages();
  ASSERT_EQ(messages.size(), 41U);
  for (std::uint32_t i = 0; i < 41; ++i) {
    EXPECT_EQ(payloadAs<iOSAppCommonDataNotify>(messages[i]).slotIndex, i % 40);
  }
  SegmentView view(kFromHuSegment);
  const auto& ring = view.record<iOSAppCommonDataList>();
  EXPECT_EQ(Bytes(ring.slot[0].data, ring.slot[0].data + 4), patternOf(4, 40));
  EXPECT_EQ(Bytes(ring.slot[1].data, ring.slot[1].data + 4), patternOf(4, 1));
  EXPECT_EQ(Bytes(ring.slot[39].data, ring.slot[39].data + 4), patternOf(4, 39));
  EXPECT_EQ(ring.writeIndex, 1U);
}

TEST_F(ClientData, AWriteIndexThatAnotherProcessSpoiltIsTakenModulo40) {
  launchAndOpen();
  SegmentView view(kFromHuSegment);
  auto& ring = view.record<iOSAppCommonDataList>();
  for (const std::uint32_t spoilt : {40U, 0xFFFFFFFFU}) {
    ring.writeIndex = spoilt;
    PostedSince posted;
    EXPECT_EQ(send(patternOf(4)), 1U);
    EXPECT_EQ(payloadAs<iOSAppCommonDataNotify>(posted.single()).slotIndex, spoilt % 40);
    EXPECT_EQ(ring.slot[spoilt % 40].size, 4U);
    EXPECT_EQ(ring.writeIndex, spoilt % 40 + 1);
  }
}

TEST_F(ClientData, AfterADisconnectAndReconnectTheOldSelectionIsInForce) {
  launchAndOpen();
  handleStatus(*sut, connectMessage(1, 0));
  EXPECT_EQ(send(patternOf(4)), 0U);
  EXPECT_THAT(vqfake::log(), ElementsAre(notOpenedLine(1)));
  handleStatus(*sut, connectMessage(1, 1));
  handleStatus(*sut, sessionMessage(1, kApp, 1));
  EXPECT_EQ(send(patternOf(4)), 1U);
}

TEST_F(ClientData, DataFromTheDeviceIsNotified) {
  launch();
  fillSlot(5, patternOf(100));
  EXPECT_EQ(announce(1, kApp, 5), 0U);
  EXPECT_THAT(events->headers, ElementsAre(EventHeader{2, 20}));
  ASSERT_THAT(events->data, SizeIs(1));
  EXPECT_EQ(events->data[0].deviceId, 1U);
  EXPECT_EQ(events->data[0].appName, "Radio");
  EXPECT_EQ(events->data[0].size, 100U);
  EXPECT_EQ(events->data[0].bytes(), patternOf(100));
  EXPECT_EQ(events->data[0].sessionId, 0U);
}

TEST_F(ClientData, DataArrivesThroughTheNotifier) {
  launch();
  fillSlot(39, patternOf(4096));
  const iOSAppCommonDataNotify message = {1, kApp, 39};
  vqfake::post(3, &message, sizeof(message));
  vqfake::deliverAll();
  ASSERT_THAT(events->data, SizeIs(1));
  EXPECT_EQ(events->data[0].bytes(), patternOf(4096));
}

TEST_F(ClientData, TheBufferIsAWholeSlotWithAZeroTail) {
  launch();
  SegmentView view(kFromDeviceSegment);
  std::memset(view.record<iOSAppCommonDataList>().slot[0].data, 0x5A, 4096);
  setSlotSize(0, 10);
  announce(1, kApp, 0);
  ASSERT_THAT(events->data, SizeIs(1));
  EXPECT_THAT(events->data[0].bytes(), AllOf(SizeIs(10), Each(0x5A)));
  EXPECT_THAT(Bytes(events->data[0].slot.begin() + 10, events->data[0].slot.end()), Each(0));
}

TEST_F(ClientData, ASlotIsReadInTwoHoldsOfTheLockAndNotifiedWithNone) {
  launch();
  fillSlot(0, patternOf(4));
  const unsigned int before = vqfake::lockCount(kFromDeviceSegment);
  unsigned int depth = 1;
  events->during = [&] { depth = vqfake::lockDepth(kFromDeviceSegment); };
  announce(1, kApp, 0);
  EXPECT_EQ(vqfake::lockCount(kFromDeviceSegment), before + 2);
  EXPECT_EQ(depth, 0U);
}

TEST_F(ClientData, ASlotThatGrowsBetweenTheReadsReportsTheFirstSizeWithTheBytesOfTheSecond) {
  launch();
  fillSlot(0, patternOf(30));
  setSlotSize(0, 10);
  BetweenTheReads change(kFromDeviceSegment, 0, 30);
  announce(1, kApp, 0);
  ASSERT_THAT(events->data, SizeIs(1));
  EXPECT_EQ(events->data[0].size, 10U);
  const Bytes& slot = events->data[0].slot;
  EXPECT_EQ(Bytes(slot.begin(), slot.begin() + 30), patternOf(30));
  EXPECT_THAT(Bytes(slot.begin() + 30, slot.end()), Each(0));
}

TEST_F(ClientData, ASlotThatShrinksBetweenTheReadsReportsTheFirstSizeWithAZeroTail) {
  launch();
  fillSlot(0, patternOf(30));
  BetweenTheReads change(kFromDeviceSegment, 0, 10);
  announce(1, kApp, 0);
  ASSERT_THAT(events->data, SizeIs(1));
  EXPECT_EQ(events->data[0].size, 30U);
  const Bytes& slot = events->data[0].slot;
  EXPECT_EQ(Bytes(slot.begin(), slot.begin() + 10), patternOf(10));
  EXPECT_THAT(Bytes(slot.begin() + 10, slot.end()), Each(0));
}

TEST_F(ClientData, ASlotThatIsEmptiedOrSpoiltBetweenTheReadsIsDeliveredAsZeros) {
  launch();
  for (const std::uint32_t newSize : {0U, 4097U, 5000U, 0xFFFFFFFFU}) {
    events->data.clear();
    fillSlot(0, patternOf(30));
    BetweenTheReads change(kFromDeviceSegment, 0, newSize);
    announce(1, kApp, 0);
    ASSERT_THAT(events->data, SizeIs(1)) << newSize;
    EXPECT_EQ(events->data[0].size, 30U) << newSize;
    EXPECT_THAT(events->data[0].slot, Each(0)) << newSize;
  }
}

TEST_F(ClientData, ADeviceToHUMessageWhoseSlotSizeIs0ProducesNoNotification) {
  launch();
  EXPECT_EQ(announce(1, kApp, 0), 0U);
  EXPECT_TRUE(events->none());
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(ClientData, ASlotSizeAbove4096CountsAsNeverWritten) {
  launch();
  for (const std::uint32_t size : {4097U, 5000U, 0xFFFFFFFFU}) {
    setSlotSize(0, size);
    EXPECT_EQ(announce(1, kApp, 0), 0U);
  }
  EXPECT_TRUE(events->none());
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(ClientData, ASlotIndexAbove39IsIgnored) {
  launch();
  for (std::uint32_t i = 0; i < 40; ++i) {
    setSlotSize(i, 4);
  }
  for (const std::uint32_t slotIndex : {40U, 41U, 0x80000000U, 0xFFFFFFFFU}) {
    EXPECT_EQ(announce(1, kApp, slotIndex), 0U);
  }
  EXPECT_TRUE(events->none());
}

TEST_F(ClientData, DataBeforeAnyLaunchIsIgnored) {
  connect(1);
  openSession(1, kApp);
  fillSlot(0, patternOf(4));
  announce(1, kApp, 0);
  EXPECT_TRUE(events->none());
}

TEST_F(ClientData, DataOfAnotherAppIsIgnored) {
  launch();
  fillSlot(0, patternOf(4));
  announce(1, kApp + 1, 0);
  announce(1, 0, 0);
  EXPECT_TRUE(events->none());
}

TEST_F(ClientData, DataOfAnotherDeviceIsIgnored) {
  launch();
  fillSlot(0, patternOf(4));
  announce(2, kApp, 0);
  announce(0, kApp, 0);
  EXPECT_TRUE(events->none());
}

TEST_F(ClientData, DataOfDevice0BeforeAnyLaunchHasNoPack) {
  fillSlot(0, patternOf(4));
  announce(0, kApp, 0);
  EXPECT_TRUE(events->none());
}

TEST_F(ClientData, AnUnregisteredClientIgnoresAppId0) {
  start("");
  fillSlot(0, patternOf(4));
  announce(0, 0, 0);
  announce(1, 0, 0);
  EXPECT_TRUE(events->none());
}

TEST_F(ClientData, DataFlowsAfterALaunchWithoutASessionAndAfterADisconnect) {
  launch();
  handleStatus(*sut, connectMessage(1, 0));
  fillSlot(0, patternOf(4));
  announce(1, kApp, 0);
  EXPECT_THAT(events->data, SizeIs(1));
}

TEST_F(ClientData, DeviceMessagesOfForeignIdentifierNullPayloadOrZeroSizeAreIgnored) {
  launch();
  fillSlot(0, patternOf(4));
  iOSAppCommonDataNotify message = {1, kApp, 0};
  EXPECT_EQ(sut->onFromDeviceUpdate(2, &message, 12), 0U);
  EXPECT_EQ(sut->onFromDeviceUpdate(4, &message, 12), 0U);
  EXPECT_EQ(sut->onFromDeviceUpdate(3, nullptr, 12), 0U);
  EXPECT_EQ(sut->onFromDeviceUpdate(3, &message, 0), 0U);
  EXPECT_TRUE(events->none());
}

TEST_F(ClientData, DataWithoutAMappedSegmentIsIgnored) {
  fillSlot(0, patternOf(4));
  LibcFaults faults;
  faults.failShmOpenOf(kFromDeviceSegment, EACCES);
  start("Maps");
  launch();
  announce(1, 3, 0);
  EXPECT_TRUE(events->none());
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(ClientData, ASendResultIsNotifiedWithTheAppsNameAndAppId0) {
  launch();
  EXPECT_EQ(handleStatus(*sut, resultMessage(1, kApp, 0xFEDCBA98)), 0U);
  EXPECT_THAT(events->headers, ElementsAre(EventHeader{1, 16}));
  ASSERT_THAT(events->results, SizeIs(1));
  EXPECT_EQ(events->results[0].deviceId, 1U);
  EXPECT_EQ(events->results[0].appId, 0U);
  EXPECT_EQ(events->results[0].appName, "Radio");
  EXPECT_EQ(events->results[0].result, 0xFEDCBA98U);
}

TEST_F(ClientData, ASendResultForAnotherAppIdIsDropped) {
  launch();
  handleStatus(*sut, resultMessage(1, kApp + 1, 1));
  handleStatus(*sut, resultMessage(1, 0, 1));
  EXPECT_TRUE(events->none());
}

TEST_F(ClientData, ASendResultBeforeAnyLaunchIsDropped) {
  connect(1);
  openSession(1, kApp);
  handleStatus(*sut, resultMessage(1, kApp, 1));
  EXPECT_TRUE(events->none());
}

TEST_F(ClientData, ASendResultOfAnotherDeviceIsDropped) {
  launch();
  handleStatus(*sut, resultMessage(2, kApp, 1));
  handleStatus(*sut, resultMessage(0, kApp, 1));
  EXPECT_TRUE(events->none());
}

TEST_F(ClientData, AnUnregisteredClientDropsSendResults) {
  start("");
  handleStatus(*sut, resultMessage(0, 0, 1));
  EXPECT_TRUE(events->none());
}

TEST_F(ClientData, ASendResultAfterADisconnectIsNotified) {
  launch();
  sut->removeConnectInfoFromList(1);
  handleStatus(*sut, resultMessage(1, kApp, 0));
  ASSERT_THAT(events->results, SizeIs(1));
  EXPECT_EQ(events->results[0].result, iosapp_def_::SENDRESULT_FAILURE);
}

TEST_F(ClientData, AnObserverThatIsRunningMayUseTheClientWhoseDestructionWaitsForIt) {
  launch();
  fillSlot(0, patternOf(10));
  vqfake::deliverAll();
  const iOSAppCommonDataNotify announcement = {1, kApp, 0};
  vqfake::post(3, &announcement, sizeof(announcement));
  iOSAppCommonClient& client = *sut;
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
    client.launch(1, iosapp_def_::APPLAUNCH_WITH_USER_ALERT);
    EXPECT_EQ(posted.single().id, 4U);
  };
  vqfake::deliverAll();
  destruction.join();
}

}  // namespace
