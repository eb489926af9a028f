// iOSAppCommonClient's connection-status handler: kinds 1, 2, 4 and 5, and what it ignores. (Kind 3: client_data_test.)
#include <memory>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "channel_events.h"
#include "channel_fixture.h"

namespace {

using iosapp_def_::ConnectStatusNotify;
using testing::ElementsAre;
using testing::IsEmpty;

// The client's app id is 1.
class ClientStatus : public ChannelTest {
 protected:
  void SetUp() override {
    ChannelTest::SetUp();
    sut = std::make_unique<iOSAppCommonClient>("", "Radio", "radio://");
    events = std::make_unique<ClientEvents>(*sut);
  }
  void TearDown() override {
    events.reset();
    sut.reset();
    ChannelTest::TearDown();
  }

  // Handles a message and returns the one device information that it gave, empty where it gave nothing.
  std::string deviceAfter(const ConnectStatusNotify& message) {
    events->headers.clear();
    events->devices.clear();
    EXPECT_EQ(handleStatus(*sut, message), 0U);
    if (events->none()) {
      return "";
    }
    EXPECT_THAT(events->headers, ElementsAre(EventHeader{0, 32}));
    return events->devices.empty() ? "" : describe(events->devices.front());
  }

  void connect(std::uint32_t connectType = 0, std::uint32_t iapType = 0) {
    handleStatus(*sut, connectMessage(1, 1, connectType, iapType));
    events->headers.clear();
    events->devices.clear();
  }

  void addHandsFree(std::uint32_t btConnected, const Bytes& address, std::uint32_t deviceId = 1) {
    iosapp_def_::BtHfInfo info;
    info.deviceId = deviceId;
    info.btConnected = btConnected;
    std::memcpy(info.btAddress, address.data(), 6);
    sut->addBtHfInfoToList(info);
  }

  static ConnectStatusNotify handsFreeMessage(std::uint32_t btConnected, std::uint32_t status,
                                              const Bytes& address = Bytes(6), std::uint32_t deviceId = 1) {
    ConnectStatusNotify message = statusMessage(iosapp_def_::NOTIFYID_BTHFSTATUS, deviceId);
    message.btConnected = btConnected;
    message.status = status;
    std::memcpy(message.btAddress, address.data(), 6);
    return message;
  }

  std::unique_ptr<iOSAppCommonClient> sut;
  std::unique_ptr<ClientEvents> events;
};

const Bytes kAddress = {0x00, 0x1B, 0xAC, 0x0D, 0xEF, 0xFF};
constexpr const char* kConnectedUsb = "1 00:00:00:00:00:00 spp 0 [] usb 1 [Radio] iap 1 hfp 0";

TEST_F(ClientStatus, AConnectionOverUsbIsListedAndReported) {
  EXPECT_EQ(deviceAfter(connectMessage(1, 1, 0, 0)), kConnectedUsb);
  EXPECT_EQ(sut->isDeviceConnected(1), 1U);
}

TEST_F(ClientStatus, AConnectionOverBluetoothIsReportedInTheSppPair) {
  EXPECT_EQ(deviceAfter(connectMessage(1, 1, 1, 0)), "1 00:00:00:00:00:00 spp 1 [Radio] usb 0 [] iap 1 hfp 0");
}

TEST_F(ClientStatus, EveryConnectTypeBut1IsUsb) {
  for (const std::uint32_t connectType : {2U, 3U, 0xFFFFFFFFU}) {
    EXPECT_EQ(deviceAfter(connectMessage(1, 1, connectType, 0)), kConnectedUsb);
  }
}

TEST_F(ClientStatus, EveryNonZeroIapTypeIsVersion2) {
  for (const std::uint32_t iapType : {1U, 2U, 0xFFFFFFFFU}) {
    EXPECT_EQ(deviceAfter(connectMessage(1, 1, 0, iapType)), "1 00:00:00:00:00:00 spp 0 [] usb 1 [Radio] iap 2 hfp 0");
  }
}

TEST_F(ClientStatus, TheListKeepsTheFourWordsOfTheMessage) {
  handleStatus(*sut, connectMessage(9, 1, 7, 6));
  const iosapp_def_::ConnectInfo info = sut->getConnectInfoToList(9);
  EXPECT_EQ(info.deviceId, 9U);
  EXPECT_EQ(info.connectStatus, 1U);
  EXPECT_EQ(info.connectType, 7U);
  EXPECT_EQ(info.iapType, 6U);
}

TEST_F(ClientStatus, ADeviceIdIsReportedByItsLowByteAndListedWhole) {
  EXPECT_EQ(deviceAfter(connectMessage(0x102, 1)), "2 00:00:00:00:00:00 spp 0 [] usb 1 [Radio] iap 1 hfp 0");
  EXPECT_EQ(sut->isDeviceConnected(0x102), 1U);
  EXPECT_EQ(sut->isDeviceConnected(2), 0U);
}

TEST_F(ClientStatus, AConnectionIsReportedWithTheListedHandsFreeState) {
  addHandsFree(1, kAddress);
  EXPECT_EQ(deviceAfter(connectMessage(1, 1)), "1 00:1b:ac:0d:ef:ff spp 0 [] usb 1 [Radio] iap 1 hfp 1");
  addHandsFree(2, kAddress);
  EXPECT_EQ(deviceAfter(connectMessage(1, 1)), "1 00:1b:ac:0d:ef:ff spp 0 [] usb 1 [Radio] iap 1 hfp 0");
  EXPECT_EQ(deviceAfter(connectMessage(2, 1)), "2 00:00:00:00:00:00 spp 0 [] usb 1 [Radio] iap 1 hfp 0");
}

TEST_F(ClientStatus, TheMessagesOwnHandsFreeFieldsAreNotReadForAConnection) {
  ConnectStatusNotify message = connectMessage(1, 1);
  message.btConnected = 1;
  std::memcpy(message.btAddress, kAddress.data(), 6);
  EXPECT_EQ(deviceAfter(message), kConnectedUsb);
}

TEST_F(ClientStatus, ADisconnectRemovesTheConnectionAndAllItsSessionsKeepsItsHandsFreeEntryAndReportsStatus0) {
  connect();
  addHandsFree(1, kAddress);
  for (const std::uint32_t appId : {1U, 5U}) {
    iosapp_def_::SessionInfo session;
    session.deviceId = 1;
    session.appId = appId;
    session.status = 1;
    sut->addSessionInfoToList(session);
  }
  EXPECT_EQ(deviceAfter(connectMessage(1, 0)), "1 00:1b:ac:0d:ef:ff spp 0 [] usb 0 [Radio] iap 1 hfp 1");
  EXPECT_EQ(sut->getConnectInfoToList(1).deviceId, 0U);
  EXPECT_EQ(sut->isSessionOpened(1, 1), 0U);
  EXPECT_EQ(sut->isSessionOpened(1, 5), 0U);
  EXPECT_EQ(sut->getBtHfInfoToList(1).btConnected, 1U);
}

TEST_F(ClientStatus, ADisconnectReportsInThePairThatItsOwnConnectTypeChooses) {
  connect(0, 0);
  EXPECT_EQ(deviceAfter(connectMessage(1, 0, 1, 5)), "1 00:00:00:00:00:00 spp 0 [Radio] usb 0 [] iap 2 hfp 0");
}

TEST_F(ClientStatus, ADisconnectLeavesOtherDevicesAlone) {
  connect();
  handleStatus(*sut, connectMessage(2, 1));
  handleStatus(*sut, sessionMessage(2, 1, 1));
  handleStatus(*sut, connectMessage(1, 0));
  EXPECT_EQ(sut->isDeviceConnected(2), 1U);
  EXPECT_EQ(sut->isSessionOpened(2, 1), 1U);
}

TEST_F(ClientStatus, ConnectStatus2RemovesTheConnectionEntryButReportsStatus1) {
  connect();
  handleStatus(*sut, sessionMessage(1, 1, 1));
  EXPECT_EQ(deviceAfter(connectMessage(1, 2)), kConnectedUsb);
  EXPECT_EQ(sut->getConnectInfoToList(1).deviceId, 0U);
  EXPECT_EQ(sut->isSessionOpened(1, 1), 0U);
  EXPECT_EQ(deviceAfter(connectMessage(1, 2, 1)), "1 00:00:00:00:00:00 spp 1 [Radio] usb 0 [] iap 1 hfp 0");
}

TEST_F(ClientStatus, ASecondConnectionMessageReplacesTheFirstEntry) {
  connect(0, 0);
  connect(1, 1);
  EXPECT_EQ(sut->getConnectInfoToList(1).connectType, 1U);
  sut->removeConnectInfoFromList(1);
  EXPECT_EQ(sut->isDeviceConnected(1), 0U) << "one entry per device";
}

TEST_F(ClientStatus, AConnectionMessageLeavesAnOpenSessionAloneAndReportsStatus1) {
  connect();
  handleStatus(*sut, sessionMessage(1, 1, 1));
  EXPECT_EQ(deviceAfter(connectMessage(1, 1)), kConnectedUsb);
  EXPECT_EQ(sut->isSessionOpened(1, 1), 1U);
}

testing::Matcher<const vqfake::LogLine&> notConnectedLine(unsigned int deviceId) {
  return logLine(kClientFile, "onConnectStatusUpdate", 0, 1,
                 "[NOTIFYID_SESSIONSTATUS] Error: DeviceId[" + std::to_string(deviceId) + "] not connected!\n");
}

TEST_F(ClientStatus, ASessionMessageForADeviceWithNoConnectionEntryLogsTheErrorAndSendsNothing) {
  EXPECT_EQ(deviceAfter(sessionMessage(1, 1, 1)), "");
  EXPECT_THAT(vqfake::log(), ElementsAre(notConnectedLine(1)));
  EXPECT_EQ(sut->isSessionOpened(1, 1), 0U);
}

TEST_F(ClientStatus, ASessionMessageForADeviceOfAnotherConnectStatusLogsTheError) {
  iosapp_def_::ConnectInfo info;
  info.deviceId = 7;
  info.connectStatus = 2;
  sut->addConnectInfoToList(info);
  EXPECT_EQ(deviceAfter(sessionMessage(7, 1, 1)), "");
  EXPECT_THAT(vqfake::log(), ElementsAre(notConnectedLine(7)));
}

TEST_F(ClientStatus, ASessionMessageOfAnotherAppForAnUnconnectedDeviceIsLoggedToo) {
  EXPECT_EQ(deviceAfter(sessionMessage(1, 99, 1)), "");
  EXPECT_THAT(vqfake::log(), ElementsAre(notConnectedLine(1)));
}

TEST_F(ClientStatus, ASessionMessageForAnotherAppsIdChangesNothingAndSendsNothing) {
  connect();
  handleStatus(*sut, sessionMessage(1, 1, 1));
  EXPECT_EQ(deviceAfter(sessionMessage(1, 2, 1)), "");
  EXPECT_EQ(deviceAfter(sessionMessage(1, 0, 0)), "");
  EXPECT_EQ(sut->isSessionOpened(1, 2), 0U);
  EXPECT_EQ(sut->isSessionOpened(1, 1), 1U);
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(ClientStatus, AnUnregisteredClientFollowsNoSessions) {
  iOSAppCommonClient unregistered("", "", "");
  ClientEvents unregisteredEvents(unregistered);
  handleStatus(unregistered, connectMessage(1, 1));
  handleStatus(unregistered, sessionMessage(1, 0, 1));
  EXPECT_EQ(unregisteredEvents.headers.size(), 1U) << "the connection only";
  EXPECT_EQ(unregistered.isSessionOpened(1, 0), 0U);
}

TEST_F(ClientStatus, AnOpenSessionIsListedAndReportedAs2) {
  connect();
  EXPECT_EQ(deviceAfter(sessionMessage(1, 1, 1)), "1 00:00:00:00:00:00 spp 0 [] usb 2 [Radio] iap 1 hfp 0");
  EXPECT_EQ(sut->isSessionOpened(1, 1), 1U);
}

TEST_F(ClientStatus, ASessionTakesTransportVersionAndHandsFreeStateFromTheLists) {
  connect(1, 3);
  addHandsFree(1, kAddress);
  ConnectStatusNotify message = sessionMessage(1, 1, 1);
  message.connectType = 0;
  message.iapType = 0;
  EXPECT_EQ(deviceAfter(message), "1 00:1b:ac:0d:ef:ff spp 2 [Radio] usb 0 [] iap 2 hfp 1");
  message.status = 0;
  EXPECT_EQ(deviceAfter(message), "1 00:1b:ac:0d:ef:ff spp 1 [Radio] usb 0 [] iap 2 hfp 1");
}

TEST_F(ClientStatus, AClosedSessionIsRemovedAndReportedAs1) {
  for (const std::uint32_t status : {0U, 2U, 0xFFFFFFFFU}) {
    connect();
    handleStatus(*sut, sessionMessage(1, 1, 1));
    EXPECT_EQ(deviceAfter(sessionMessage(1, 1, status)), kConnectedUsb) << status;
    EXPECT_EQ(sut->isSessionOpened(1, 1), 0U) << status;
  }
}

TEST_F(ClientStatus, AHandsFreeMessageWithStatus1IsListed) {
  connect();
  EXPECT_EQ(deviceAfter(handsFreeMessage(1, 1, kAddress)), "1 00:1b:ac:0d:ef:ff spp 0 [] usb 1 [Radio] iap 1 hfp 1");
  const iosapp_def_::BtHfInfo info = sut->getBtHfInfoToList(1);
  EXPECT_EQ(info.deviceId, 1U);
  EXPECT_EQ(info.btConnected, 1U);
  EXPECT_EQ(Bytes(info.btAddress, info.btAddress + 6), kAddress);
}

TEST_F(ClientStatus, AHandsFreeMessageIsListedOrRemovedByStatusNotByBtConnected) {
  connect();
  handleStatus(*sut, handsFreeMessage(0, 1, kAddress));
  EXPECT_EQ(sut->getBtHfInfoToList(1).deviceId, 1U) << "listed although not connected";
  EXPECT_EQ(deviceAfter(handsFreeMessage(1, 0, kAddress)), "1 00:1b:ac:0d:ef:ff spp 0 [] usb 1 [Radio] iap 1 hfp 1");
  EXPECT_EQ(sut->getBtHfInfoToList(1).deviceId, 0U) << "removed although connected";
  handleStatus(*sut, handsFreeMessage(1, 1, kAddress));
  handleStatus(*sut, handsFreeMessage(1, 2, kAddress));
  EXPECT_EQ(sut->getBtHfInfoToList(1).deviceId, 0U);
}

TEST_F(ClientStatus, OnlyBtConnected1IsReportedAsHandsFree) {
  connect();
  EXPECT_EQ(deviceAfter(handsFreeMessage(0, 1)), kConnectedUsb);
  EXPECT_EQ(deviceAfter(handsFreeMessage(2, 1)), kConnectedUsb);
  EXPECT_EQ(sut->getBtHfInfoToList(1).btConnected, 2U);
}

TEST_F(ClientStatus, AHandsFreeMessageReportsItsOwnAddressNotTheListedOne) {
  connect();
  addHandsFree(1, Bytes(6, 0x11));
  EXPECT_EQ(deviceAfter(handsFreeMessage(1, 0, kAddress)), "1 00:1b:ac:0d:ef:ff spp 0 [] usb 1 [Radio] iap 1 hfp 1");
}

TEST_F(ClientStatus, AHandsFreeMessageOfAnUnknownDeviceReportsUsb0WithTheAppName) {
  EXPECT_EQ(deviceAfter(handsFreeMessage(1, 0, kAddress)), "1 00:1b:ac:0d:ef:ff spp 0 [] usb 0 [Radio] iap 1 hfp 1");
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(ClientStatus, AHandsFreeMessageReportsTheTrueStateOfTheLink) {
  connect(1, 1);
  EXPECT_EQ(deviceAfter(handsFreeMessage(0, 0)), "1 00:00:00:00:00:00 spp 1 [Radio] usb 0 [] iap 2 hfp 0");
  handleStatus(*sut, sessionMessage(1, 1, 1));
  EXPECT_EQ(deviceAfter(handsFreeMessage(0, 0)), "1 00:00:00:00:00:00 spp 2 [Radio] usb 0 [] iap 2 hfp 0");
  connect(0, 0);
  EXPECT_EQ(deviceAfter(handsFreeMessage(0, 0)), "1 00:00:00:00:00:00 spp 0 [] usb 2 [Radio] iap 1 hfp 0");
}

TEST_F(ClientStatus, AHandsFreeMessageOfAnEntryThatIsNotConnectedReports0EvenWithAnOpenSession) {
  iosapp_def_::ConnectInfo info;
  info.deviceId = 1;
  info.connectStatus = 2;
  info.connectType = 1;
  info.iapType = 1;
  sut->addConnectInfoToList(info);
  iosapp_def_::SessionInfo session;
  session.deviceId = 1;
  session.appId = 1;
  session.status = 1;
  sut->addSessionInfoToList(session);
  EXPECT_EQ(deviceAfter(handsFreeMessage(1, 0)), "1 00:00:00:00:00:00 spp 0 [Radio] usb 0 [] iap 2 hfp 1");
}

TEST_F(ClientStatus, AHandsFreeMessageLooksAtThisClientsSessionOnly) {
  connect();
  iosapp_def_::SessionInfo session;
  session.deviceId = 1;
  session.appId = 2;
  session.status = 1;
  sut->addSessionInfoToList(session);
  EXPECT_EQ(deviceAfter(handsFreeMessage(0, 0)), kConnectedUsb);
}

TEST_F(ClientStatus, APlaybackMessageIsNotifiedWithoutAnyFilter) {
  ConnectStatusNotify message = statusMessage(iosapp_def_::NOTIFYID_PLAYBACKAPPINFO, 0x01020304);
  std::memcpy(message.playbackAppName, "Music", 5);
  EXPECT_EQ(handleStatus(*sut, message), 0U);
  EXPECT_THAT(events->headers, ElementsAre(EventHeader{3, 8}));
  ASSERT_EQ(events->playbackApps.size(), 1U);
  EXPECT_EQ(events->playbackApps[0].deviceId, 0x01020304U);
  EXPECT_EQ(events->playbackApps[0].appName, "Music");
}

TEST_F(ClientStatus, AnEmptyPlaybackNameIsNotifiedToo) {
  handleStatus(*sut, statusMessage(iosapp_def_::NOTIFYID_PLAYBACKAPPINFO, 1));
  ASSERT_EQ(events->playbackApps.size(), 1U);
  EXPECT_EQ(events->playbackApps[0].appName, "");
}

TEST_F(ClientStatus, APlaybackNameWithoutATerminatorEndsWithItsField) {
  ConnectStatusNotify message = statusMessage(iosapp_def_::NOTIFYID_PLAYBACKAPPINFO, 1);
  std::memset(message.playbackAppName, 'p', 256);
  std::memset(message.padding, 'x', 2);
  message.launchMethod = 0x78787878;
  handleStatus(*sut, message);
  ASSERT_EQ(events->playbackApps.size(), 1U);
  EXPECT_EQ(events->playbackApps[0].appName, std::string(256, 'p'));
}

TEST_F(ClientStatus, Kind0AndUnknownKindsAreIgnoredSilently) {
  connect();
  for (const std::uint32_t kind : {0U, 6U, 7U, 0x101U, 0xFFFFFFFFU}) {
    ConnectStatusNotify message = statusMessage(kind, 1);
    message.appId = 1;
    EXPECT_EQ(handleStatus(*sut, message), 0U);
  }
  EXPECT_TRUE(events->none());
  EXPECT_EQ(sut->isDeviceConnected(1), 1U);
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(ClientStatus, AForeignIdentifierANullPayloadOrAZeroSizeIsIgnoredSilently) {
  ConnectStatusNotify message = connectMessage(1, 1);
  EXPECT_EQ(sut->onConnectStatusUpdate(3, &message, 304), 0U);
  EXPECT_EQ(sut->onConnectStatusUpdate(5, &message, 304), 0U);
  EXPECT_EQ(sut->onConnectStatusUpdate(4, nullptr, 304), 0U);
  EXPECT_EQ(sut->onConnectStatusUpdate(4, &message, 0), 0U);
  EXPECT_TRUE(events->none());
  EXPECT_EQ(sut->isDeviceConnected(1), 0U);
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(ClientStatus, MessagesComeThroughTheNotifierInTheirOrder) {
  const ConnectStatusNotify messages[] = {connectMessage(1, 1), sessionMessage(1, 1, 1),
                                          statusMessage(iosapp_def_::NOTIFYID_PLAYBACKAPPINFO, 1),
                                          connectMessage(1, 0)};
  for (const ConnectStatusNotify& message : messages) {
    vqfake::post(4, &message, sizeof(message));
  }
  vqfake::deliverAll();
  EXPECT_THAT(events->headers,
              ElementsAre(EventHeader{0, 32}, EventHeader{0, 32}, EventHeader{3, 8}, EventHeader{0, 32}));
  EXPECT_THAT(describe(*events), ElementsAre(kConnectedUsb, "1 00:00:00:00:00:00 spp 0 [] usb 2 [Radio] iap 1 hfp 0",
                                             "1 00:00:00:00:00:00 spp 0 [] usb 0 [Radio] iap 1 hfp 0"));
}

TEST_F(ClientStatus, AMessageShorterThanItsRecordIsReadAsZeroBeyondItsEnd) {
  const ConnectStatusNotify message = connectMessage(1, 1, 1, 1);
  vqfake::post(4, &message, 13);
  vqfake::deliverAll();
  EXPECT_THAT(describe(*events), ElementsAre(kConnectedUsb));
}

TEST_F(ClientStatus, AnObserverMayUseEveryListWhileItIsTold) {
  unsigned int connected = 0;
  unsigned int opened = 0;
  connect();
  events->during = [&] {
    connected = sut->isDeviceConnected(1);
    opened = sut->isSessionOpened(1, 1);
    sut->getBtHfInfoToList(1);
  };
  handleStatus(*sut, sessionMessage(1, 1, 1));
  EXPECT_EQ(connected, 1U);
  EXPECT_EQ(opened, 1U) << "the lists are changed before the notification";
  EXPECT_THAT(vqfake::log(), IsEmpty()) << "a lock that is taken twice logs";
}

TEST_F(ClientStatus, TheHandlerAsksNothingOfTheChannel) {
  PostedSince posted;
  connect();
  handleStatus(*sut, sessionMessage(1, 1, 1));
  handleStatus(*sut, handsFreeMessage(1, 1));
  EXPECT_TRUE(posted.none());
}

}  // namespace
