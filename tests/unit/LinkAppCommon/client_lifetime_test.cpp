// iOSAppCommonClient: construction, registration of the app, destruction.
#include <memory>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "channel_events.h"
#include "channel_fixture.h"
#include "libc_faults.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using ClientLifetime = ChannelTest;

const iOSAppInfoList& table(SegmentView& view) {
  return view.record<iOSAppInfoList>();
}

// A client's app id, as the launch request shows it. The client must have a launch string; 0 where no request is sent.
std::uint32_t appIdOf(iOSAppCommonClient& client) {
  handleStatus(client, connectMessage(1, 1));
  PostedSince posted;
  if (client.launch(1, iosapp_def_::APPLAUNCH_WITH_USER_ALERT) == 0) {
    return 0;
  }
  return payloadAs<iosapp_def_::ConnectStatusNotify>(posted.single()).appId;
}

TEST_F(ClientLifetime, ConstructionOpensTheChannelInOrder) {
  iOSAppCommonClient sut("", "Radio", "");
  EXPECT_THAT(vqfake::registrations(), ElementsAre(ElementsAre(4U), ElementsAre(5U), ElementsAre(2U), ElementsAre(3U)));
  EXPECT_EQ(VQSingleton<iOSAppCommonUtil>::peekInstance(), nullptr) << "the registry is not the client's";
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(ClientLifetime, ConstructionRegistersTheAppAndAnnouncesItsIndex) {
  iOSAppCommonClient sut("com.radio", "Radio", "radio://");
  SegmentView view(kAppInfoSegment);
  EXPECT_EQ(table(view).count, 1U);
  EXPECT_EQ(table(view).entry[0].appId, 1U);
  EXPECT_STREQ(table(view).entry[0].iAP1Name, "com.radio");
  EXPECT_STREQ(table(view).entry[0].appName, "Radio");
  EXPECT_STREQ(table(view).entry[0].launchString, "radio://");
  const std::vector<vqfake::Message> posted = vqfake::posted();
  ASSERT_EQ(posted.size(), 1U);
  EXPECT_EQ(posted[0].id, 5U);
  EXPECT_EQ(payloadAs<std::uint32_t>(posted[0]), 0U);
  EXPECT_THAT(posted[0].locksHeld, ElementsAre(kAppInfoSegment));
}

TEST_F(ClientLifetime, AppIdsAreIndexPlus1) {
  iOSAppCommonClient first("", "Radio", "radio://");
  iOSAppCommonClient second("", "Maps", "maps://");
  EXPECT_EQ(appIdOf(first), 1U);
  EXPECT_EQ(appIdOf(second), 2U);
}

TEST_F(ClientLifetime, AnAppThatIsRegisteredAgainGetsANewEntry) {
  { iOSAppCommonClient first("", "Radio", "radio://"); }
  iOSAppCommonClient sut("", "Radio", "radio://");
  EXPECT_EQ(appIdOf(sut), 2U);
  SegmentView view(kAppInfoSegment);
  EXPECT_EQ(table(view).count, 2U) << "the entry of the former one stays";
}

TEST_F(ClientLifetime, AClientWithAnEmptyAppNameIsNotRegistered) {
  iOSAppCommonClient sut("com.radio", "", "radio://");
  EXPECT_TRUE(vqfake::posted().empty());
  SegmentView view(kAppInfoSegment);
  EXPECT_EQ(table(view).count, 0U);
  EXPECT_EQ(appIdOf(sut), 0U);
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(ClientLifetime, A21stClientFindsCount20LogsTheOverflowAndWorksWithAppId0) {
  for (int i = 0; i < 20; ++i) {
    iOSAppCommonClient client("", "App", "");
  }
  ASSERT_THAT(vqfake::log(), IsEmpty());
  PostedSince posted;
  iOSAppCommonClient sut("", "Radio", "radio://");
  EXPECT_TRUE(posted.none());
  EXPECT_THAT(vqfake::log(),
              ElementsAre(logLine(kAppInfoFile, "registAppInfo", 0, 1, "### Error : iOSAppInfoList overflow!\r\n")));
  SegmentView view(kAppInfoSegment);
  EXPECT_EQ(table(view).count, 20U);
  ClientEvents events(sut);
  EXPECT_EQ(appIdOf(sut), 0U);
  EXPECT_THAT(describe(events), ElementsAre("1 00:00:00:00:00:00 spp 0 [] usb 1 [Radio] iap 1 hfp 0"));
}

TEST_F(ClientLifetime, TheTwentiethClientIsRegistered) {
  for (int i = 0; i < 19; ++i) {
    iOSAppCommonClient client("", "App", "");
  }
  iOSAppCommonClient sut("", "Radio", "radio://");
  EXPECT_EQ(appIdOf(sut), 20U);
}

TEST_F(ClientLifetime, WithoutAMappedAppTableTheClientWorksUnregistered) {
  LibcFaults faults;
  faults.failShmOpenOf(kAppInfoSegment, EACCES);
  iOSAppCommonClient sut("", "Radio", "radio://");
  EXPECT_THAT(vqfake::log(), ElementsAre(segmentErrorLine(122, "shm_open error\n")));
  EXPECT_TRUE(vqfake::posted().empty());
  EXPECT_EQ(appIdOf(sut), 0U);
  EXPECT_EQ(sut.isDeviceConnected(1), 1U) << "its lists work";
}

TEST_F(ClientLifetime, WithoutAnySegmentTheClientIsAlive) {
  LibcFaults faults;
  faults.fail(LibcFaults::Call::shmOpen, {EMFILE, EMFILE, EMFILE, EMFILE});
  iOSAppCommonClient sut("", "Radio", "radio://");
  const auto line = segmentErrorLine(122, "shm_open error\n");
  EXPECT_THAT(vqfake::log(), ElementsAre(line, line, line, line));
  ClientEvents events(sut);
  handleStatus(sut, connectMessage(1, 1));
  EXPECT_EQ(events.devices.size(), 1U);
}

TEST_F(ClientLifetime, StartingAClientResetsBothRingsWritePositions) {
  iOSAppCommonClient first("", "Radio", "");
  SegmentView fromHu(kFromHuSegment);
  SegmentView fromDevice(kFromDeviceSegment);
  fromHu.record<iOSAppCommonDataList>().writeIndex = 7;
  fromDevice.record<iOSAppCommonDataList>().writeIndex = 7;
  iOSAppCommonClient sut("", "Maps", "");
  EXPECT_EQ(fromHu.record<iOSAppCommonDataList>().writeIndex, 0U);
  EXPECT_EQ(fromDevice.record<iOSAppCommonDataList>().writeIndex, 0U);
}

TEST_F(ClientLifetime, DestructionTakesEveryRegistrationBackAndNotifiesNobody) {
  auto sut = std::make_unique<iOSAppCommonClient>("", "Radio", "radio://");
  handleStatus(*sut, connectMessage(1, 1));
  ClientEvents events(*sut);
  PostedSince posted;
  sut.reset();
  EXPECT_THAT(vqfake::registrations(), IsEmpty());
  EXPECT_TRUE(events.none());
  EXPECT_TRUE(posted.none());
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(ClientLifetime, MessagesAfterDestructionReachNobody) {
  auto sut = std::make_unique<iOSAppCommonClient>("", "Radio", "radio://");
  ClientEvents events(*sut);
  const auto message = connectMessage(1, 1);
  vqfake::post(4, &message, sizeof(message));
  sut.reset();
  vqfake::deliverAll();
  EXPECT_TRUE(events.none());
}

TEST_F(ClientLifetime, AnObserverMayGoBeforeTheClient) {
  iOSAppCommonClient sut("", "Radio", "");
  { ClientEvents events(sut); }
  EXPECT_EQ(handleStatus(sut, connectMessage(1, 1)), 0U);
}

}  // namespace
