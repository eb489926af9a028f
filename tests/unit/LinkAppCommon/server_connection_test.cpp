// iOSAppCommonServer: construction, destruction, the announcements and the launch path.
#include <memory>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "LinkAppCommon/iOSAppCommonServer.h"
#include "channel_events.h"
#include "channel_fixture.h"

namespace {

using iosapp_def_::ConnectStatusNotify;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

using ServerConnection = ChannelTest;

void expectEqual(const ConnectStatusNotify& actual, const ConnectStatusNotify& expected) {
  const auto* const a = reinterpret_cast<const std::uint8_t*>(&actual);
  const auto* const e = reinterpret_cast<const std::uint8_t*>(&expected);
  EXPECT_EQ(Bytes(a, a + 304), Bytes(e, e + 304));
}

// The one message of the connection-status channel that was posted.
ConnectStatusNotify sent(const PostedSince& posted) {
  const vqfake::Message message = posted.single();
  EXPECT_EQ(message.id, 4U);
  EXPECT_THAT(message.locksHeld, IsEmpty());
  return payloadAs<ConnectStatusNotify>(message);
}

TEST_F(ServerConnection, ConstructionOpensTheChannelAndTheRegistry) {
  iOSAppCommonServer sut(1);
  EXPECT_THAT(vqfake::registrations(), ElementsAre(ElementsAre(4U), ElementsAre(5U), ElementsAre(2U), ElementsAre(3U)));
  EXPECT_NE(VQSingleton<iOSAppCommonUtil>::peekInstance(), nullptr);
  EXPECT_EQ(vqfake::pendingCount(), 0U);
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(ServerConnection, AServerOfAnotherDeviceHasNoDataSegments) {
  iOSAppCommonServer sut(2);
  EXPECT_THAT(vqfake::registrations(), ElementsAre(ElementsAre(4U), ElementsAre(5U), ElementsAre(0U), ElementsAre(0U)));
  const auto nameIsNothing =
      logLine(kSegmentFile, "VQSharedMemory", 86, 1, "VQSharedMemory Failed. Error. Name is nothing.\n");
  EXPECT_THAT(vqfake::log(), ElementsAre(nameIsNothing, nameIsNothing));
  EXPECT_THROW(SegmentView view(kFromHuSegment), std::runtime_error);
  EXPECT_THROW(SegmentView view(kFromDeviceSegment), std::runtime_error);
}

TEST_F(ServerConnection, DestructionTakesItsRegistrationsBackAndLeavesTheRegistryAlone) {
  auto sut = std::make_unique<iOSAppCommonServer>(1);
  ServerEvents events(*sut);
  PostedSince posted;
  sut.reset();
  EXPECT_THAT(vqfake::registrations(), ElementsAre(ElementsAre(5U)));
  EXPECT_NE(VQSingleton<iOSAppCommonUtil>::peekInstance(), nullptr);
  EXPECT_TRUE(events.none());
  EXPECT_TRUE(posted.none());
}

TEST_F(ServerConnection, AfterDestructionTheRegistryNotifiesNobody) {
  auto sut = std::make_unique<iOSAppCommonServer>(1);
  sut.reset();
  iOSAppCommonClient client("", "Radio", "");
  vqfake::deliverAll();
  EXPECT_EQ(VQSingleton<iOSAppCommonUtil>::getInstance()->getSupportiOSLinkAppInfo().list.size(), 2U);
}

TEST_F(ServerConnection, AServerThatOutlivesTheRegistryGoesWithoutIt) {
  auto sut = std::make_unique<iOSAppCommonServer>(1);
  VQSingleton<iOSAppCommonUtil>::destroy();
  sut.reset();
  EXPECT_THAT(vqfake::registrations(), IsEmpty());
  EXPECT_EQ(VQSingleton<iOSAppCommonUtil>::peekInstance(), nullptr) << "and does not bring it back";
}

iosapp_def_::ConnectInfo connectInfo(std::uint32_t deviceId, std::uint32_t connectStatus, std::uint32_t connectType,
                                     std::uint32_t iapType) {
  iosapp_def_::ConnectInfo info;
  info.deviceId = deviceId;
  info.connectStatus = connectStatus;
  info.connectType = connectType;
  info.iapType = iapType;
  return info;
}

void announceIapType(iOSAppCommonServer& sut, std::uint32_t iapType) {
  iosapp_def_::ConnectInfo info = connectInfo(1, 1, 0, iapType);
  sut.notifyConnectionState(info);
}

TEST_F(ServerConnection, NotifyConnectionStateChangesTheCallersDeviceIdAndSendsKind1) {
  iOSAppCommonServer sut(1);
  PostedSince posted;
  iosapp_def_::ConnectInfo info = connectInfo(77, 3, 4, 5);
  sut.notifyConnectionState(info);
  EXPECT_EQ(info.deviceId, 1U);
  EXPECT_EQ(info.connectStatus, 3U);
  EXPECT_EQ(info.connectType, 4U);
  EXPECT_EQ(info.iapType, 5U);
  expectEqual(sent(posted), connectMessage(1, 3, 4, 5));
}

TEST_F(ServerConnection, AServerOfAnotherDeviceAnnouncesItsOwnId) {
  iOSAppCommonServer sut(2);
  PostedSince posted;
  iosapp_def_::ConnectInfo info = connectInfo(1, 1, 0, 0);
  sut.notifyConnectionState(info);
  EXPECT_EQ(info.deviceId, 2U);
  expectEqual(sent(posted), connectMessage(2, 1, 0, 0));
}

ConnectStatusNotify handsFreeMessage(std::uint32_t btConnected, const Bytes& address) {
  ConnectStatusNotify message = statusMessage(iosapp_def_::NOTIFYID_BTHFSTATUS, 1);
  message.btConnected = btConnected;
  std::memcpy(message.btAddress, address.data(), 6);
  return message;
}

TEST_F(ServerConnection, TheHandsFreeStateIsBit0OfTheFlagsAndStatusStaysUnfilled) {
  iOSAppCommonServer sut(1);
  const Bytes address = {0x10, 0x20, 0x30, 0x40, 0x50, 0xFF};
  iOSAppExtBluetoothConnectionStatus status;
  std::memcpy(status.btAddress, address.data(), 6);
  const struct {
    std::uint32_t flags;
    std::uint32_t btConnected;
  } cases[] = {{0, 0}, {1, 1}, {2, 0}, {3, 1}, {0xFFFFFFFE, 0}, {0xFFFFFFFF, 1}};
  for (const auto& flagCase : cases) {
    PostedSince posted;
    status.flags = flagCase.flags;
    sut.notifyBluetoothConnectionStatus(&status);
    expectEqual(sent(posted), handsFreeMessage(flagCase.btConnected, address));
  }
}

TEST_F(ServerConnection, ANullHandsFreeStateIsIgnored) {
  iOSAppCommonServer sut(1);
  PostedSince posted;
  sut.notifyBluetoothConnectionStatus(nullptr);
  EXPECT_TRUE(posted.none());
}

std::string sentPlaybackName(const std::string& name) {
  iOSAppCommonServer sut(1);
  PostedSince posted;
  sut.notifyPlaybakAppInfo(name);
  const ConnectStatusNotify message = sent(posted);
  EXPECT_EQ(message.notifyType, 5U);
  EXPECT_EQ(message.deviceId, 1U);
  const std::string field(message.playbackAppName, 256);
  std::string text = field.substr(0, field.find('\0'));
  EXPECT_THAT(field.substr(text.size()), Each('\0'));
  return text;
}

TEST_F(ServerConnection, APlaybackNameOf256OrMoreCharactersArrivesCutByTheBoundedCopy) {
  EXPECT_EQ(sentPlaybackName(std::string(256, 'p')), std::string(255, 'p'));
  EXPECT_EQ(sentPlaybackName(std::string(257, 'p')), std::string(255, 'p'));
  EXPECT_EQ(sentPlaybackName(std::string(5000, 'p')), std::string(255, 'p'));
}

TEST_F(ServerConnection, AShorterPlaybackNameArrivesWholeAndPadded) {
  EXPECT_EQ(sentPlaybackName(std::string(255, 'p')), std::string(255, 'p'));
  EXPECT_EQ(sentPlaybackName("Music"), "Music");
  EXPECT_EQ(sentPlaybackName(""), "");
}

// Registers apps without keeping their clients.
void registerApp(const std::string& iAP1Name, const std::string& appName, const std::string& launchString) {
  iOSAppCommonClient client(iAP1Name, appName, launchString);
}

// App 1 has no iAP1 name, app 2 has iAP1 id 1, app 3 iAP1 id 2.
void registerThreeApps() {
  registerApp("", "Maps", "maps://");
  registerApp("com.radio", "Radio", "radio://");
  registerApp("com.news", "News", "news://");
}

TEST_F(ServerConnection, WithIapType0ASessionOpensByIAP1Id) {
  registerThreeApps();
  iOSAppCommonServer sut(1);
  announceIapType(sut, 0);
  PostedSince posted;
  sut.notifySessionOpen(2, 9);
  expectEqual(sent(posted), sessionMessage(1, 3, 1));
  EXPECT_EQ(sut.getSessionIdFromAppList(3), 9U);
  EXPECT_EQ(sut.getSessionIdFromAppList(2), 0U);
}

TEST_F(ServerConnection, WithIapType0NotifySessionOpen7MapsIAP1Id7ThroughTheTable) {
  registerApp("", "NoIap", "");
  for (int i = 0; i < 7; ++i) {
    registerApp("iap", "App", "");
  }
  iOSAppCommonServer sut(1);
  announceIapType(sut, 0);
  PostedSince posted;
  sut.notifySessionOpen(7, 3);
  expectEqual(sent(posted), sessionMessage(1, 8, 1));
  EXPECT_EQ(sut.getAppIdFromAppList(3), 8U);
}

TEST_F(ServerConnection, WithIapType1NotifySessionOpen7Takes7AsTheAppId) {
  registerApp("", "NoIap", "");
  for (int i = 0; i < 7; ++i) {
    registerApp("iap", "App", "");
  }
  iOSAppCommonServer sut(1);
  announceIapType(sut, 0);
  announceIapType(sut, 1);
  PostedSince posted;
  sut.notifySessionOpen(7, 3);
  expectEqual(sent(posted), sessionMessage(1, 7, 1));
  EXPECT_EQ(sut.getAppIdFromAppList(3), 7U);
}

TEST_F(ServerConnection, BeforeTheFirstAnnouncementSessionsOpenByAppId) {
  registerThreeApps();
  iOSAppCommonServer sut(1);
  PostedSince posted;
  sut.notifySessionOpen(2, 9);
  expectEqual(sent(posted), sessionMessage(1, 2, 1));
}

TEST_F(ServerConnection, WithIapType2SessionsOpenByIAP1Id) {
  registerThreeApps();
  iOSAppCommonServer sut(1);
  announceIapType(sut, 2);
  PostedSince posted;
  sut.notifySessionOpen(2, 9);
  expectEqual(sent(posted), sessionMessage(1, 3, 1));
}

TEST_F(ServerConnection, ADisconnectionStoresItsIapTypeToo) {
  registerThreeApps();
  iOSAppCommonServer sut(1);
  iosapp_def_::ConnectInfo info = connectInfo(1, 0, 0, 0);
  sut.notifyConnectionState(info);
  PostedSince posted;
  sut.notifySessionOpen(1, 9);
  expectEqual(sent(posted), sessionMessage(1, 2, 1));
}

TEST_F(ServerConnection, ASessionOfAnUnknownIAP1AppIsAnnouncedWithAppId0) {
  registerThreeApps();
  iOSAppCommonServer sut(1);
  announceIapType(sut, 0);
  PostedSince posted;
  sut.notifySessionOpen(50, 9);
  expectEqual(sent(posted), sessionMessage(1, 0, 1));
}

TEST_F(ServerConnection, AnUnknownAppIdIsAnnouncedAsItIsAndEntersNoTable) {
  registerThreeApps();
  iOSAppCommonServer sut(1);
  PostedSince posted;
  sut.notifySessionOpen(0x10002, 9);
  expectEqual(sent(posted), sessionMessage(1, 0x10002, 1));
  EXPECT_EQ(sut.getAppIdFromAppList(9), 0U);
  EXPECT_EQ(sut.getSessionIdFromAppList(2), 0U);
}

TEST_F(ServerConnection, ClosingASessionClearsItAndSendsStatus0) {
  registerThreeApps();
  iOSAppCommonServer sut(1);
  sut.notifySessionOpen(2, 9);
  PostedSince posted;
  sut.notifySessionClose(9);
  expectEqual(sent(posted), sessionMessage(1, 2, 0));
  EXPECT_EQ(sut.getSessionIdFromAppList(2), 0U);
}

TEST_F(ServerConnection, ClosingAnUnknownSessionIsAnnouncedWithAppId0) {
  registerThreeApps();
  iOSAppCommonServer sut(1);
  sut.notifySessionOpen(2, 9);
  PostedSince posted;
  sut.notifySessionClose(10);
  expectEqual(sent(posted), sessionMessage(1, 0, 0));
  EXPECT_EQ(sut.getSessionIdFromAppList(2), 9U);
}

ConnectStatusNotify launchMessage(std::uint32_t deviceId, std::uint32_t appId, std::uint32_t method) {
  ConnectStatusNotify message = statusMessage(iosapp_def_::NOTIFYID_APPLAUNCH, deviceId);
  message.appId = appId;
  message.launchMethod = method;
  return message;
}

TEST_F(ServerConnection, ALaunchRequestIsHandedOnWithTheAppsLaunchString) {
  registerThreeApps();
  iOSAppCommonServer sut(1);
  ServerEvents events(sut);
  EXPECT_EQ(handleStatus(sut, launchMessage(1, 2, 0xFEDCBA98)), 0U);
  EXPECT_THAT(events.headers, ElementsAre(EventHeader{0, 16}));
  ASSERT_EQ(events.launches.size(), 1U);
  EXPECT_EQ(events.launches[0].deviceId, 1U);
  EXPECT_EQ(events.launches[0].appId, 2U);
  EXPECT_EQ(events.launches[0].launchString, "radio://");
  EXPECT_EQ(events.launches[0].launchMethod, 0xFEDCBA98U);
}

TEST_F(ServerConnection, ALaunchRequestForAnAppThatIsNotInTheTableIsPassedOnWithAnEmptyLaunchString) {
  registerThreeApps();
  iOSAppCommonServer sut(1);
  ServerEvents events(sut);
  handleStatus(sut, launchMessage(1, 0x10002, 1));
  ASSERT_EQ(events.launches.size(), 1U);
  EXPECT_EQ(events.launches[0].appId, 0x10002U);
  EXPECT_EQ(events.launches[0].launchString, "");
}

TEST_F(ServerConnection, ALaunchRequestForAnyDeviceIsPassedOn) {
  registerThreeApps();
  iOSAppCommonServer sut(1);
  ServerEvents events(sut);
  handleStatus(sut, launchMessage(99, 1, 0));
  ASSERT_EQ(events.launches.size(), 1U);
  EXPECT_EQ(events.launches[0].deviceId, 99U);
  EXPECT_EQ(events.launches[0].launchString, "maps://");
}

TEST_F(ServerConnection, OtherKindsOfMessagesAreNotTheServers) {
  iOSAppCommonServer sut(1);
  ServerEvents events(sut);
  PostedSince posted;
  for (const std::uint32_t kind : {1U, 2U, 3U, 4U, 5U, 6U, 0xFFFFFFFFU}) {
    EXPECT_EQ(handleStatus(sut, statusMessage(kind, 1)), 0U);
  }
  EXPECT_TRUE(events.none());
  EXPECT_TRUE(posted.none());
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(ServerConnection, LaunchRequestsWithAForeignIdentifierANullPayloadOrAZeroSizeAreIgnored) {
  iOSAppCommonServer sut(1);
  ServerEvents events(sut);
  ConnectStatusNotify message = launchMessage(1, 1, 0);
  EXPECT_EQ(sut.onConnectStatusUpdate(5, &message, 304), 0U);
  EXPECT_EQ(sut.onConnectStatusUpdate(0, &message, 304), 0U);
  EXPECT_EQ(sut.onConnectStatusUpdate(4, nullptr, 304), 0U);
  EXPECT_EQ(sut.onConnectStatusUpdate(4, &message, 0), 0U);
  EXPECT_TRUE(events.none());
}

TEST_F(ServerConnection, AnObserverOfALaunchMayUseTheServer) {
  registerThreeApps();
  iOSAppCommonServer sut(1);
  ServerEvents events(sut);
  std::string launchString;
  events.during = [&] {
    sut.notifySessionOpen(2, 9);
    launchString = sut.getLaunchStringFromAppList(2);
  };
  handleStatus(sut, launchMessage(1, 2, 0));
  EXPECT_EQ(launchString, "radio://");
  EXPECT_EQ(sut.getSessionIdFromAppList(2), 9U);
  EXPECT_THAT(vqfake::log(), IsEmpty()) << "a lock that is taken twice logs";
}

TEST_F(ServerConnection, EveryObserverIsTold) {
  iOSAppCommonServer sut(1);
  PlainEvents first(sut);
  PlainEvents second(sut);
  handleStatus(sut, launchMessage(1, 1, 0));
  EXPECT_THAT(first.headers, ElementsAre(EventHeader{0, 16}));
  EXPECT_THAT(second.headers, ElementsAre(EventHeader{0, 16}));
}

}  // namespace
