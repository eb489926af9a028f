// Server and clients together: a launch and a message from end to end, one message at a time.
#include "LinkAppCommon/iOSAppCommonClient.h"
#include "LinkAppCommon/iOSAppCommonServer.h"
#include "channel_events.h"
#include "channel_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using ChannelWalk = ChannelTest;

void announceConnection(iOSAppCommonServer& server, std::uint32_t connectStatus) {
  iosapp_def_::ConnectInfo info;
  info.connectStatus = connectStatus;
  info.iapType = 1;
  server.notifyConnectionState(info);
  vqfake::deliverAll();
}

TEST_F(ChannelWalk, ALaunchAMessageAndItsAnswerReachTheirApp) {
  iOSAppCommonServer server(1);
  iOSAppCommonClient radio("", "Radio", "radio://");
  iOSAppCommonClient maps("", "Maps", "maps://");
  ServerEvents serverEvents(server);
  ClientEvents radioEvents(radio);
  ClientEvents mapsEvents(maps);
  vqfake::deliverAll();

  announceConnection(server, 1);
  EXPECT_EQ(radio.launch(1, iosapp_def_::APPLAUNCH_WITHOUT_ALERT), 1U);
  EXPECT_EQ(maps.launch(1, iosapp_def_::APPLAUNCH_WITH_USER_ALERT), 1U);
  vqfake::deliverAll();
  ASSERT_THAT(serverEvents.launches, SizeIs(2));
  EXPECT_EQ(serverEvents.launches[0].launchString, "radio://");
  EXPECT_EQ(serverEvents.launches[0].launchMethod, iosapp_def_::APPLAUNCH_WITHOUT_ALERT);
  EXPECT_EQ(serverEvents.launches[1].launchString, "maps://");

  server.notifySessionOpen(serverEvents.launches[0].appId, 41);
  vqfake::deliverAll();
  const Bytes question = patternOf(4096);
  EXPECT_EQ(radio.sendDataFromHU(question.data(), 4096), 1U);
  vqfake::deliverAll();
  ASSERT_THAT(serverEvents.data, SizeIs(1));
  EXPECT_EQ(serverEvents.data[0].sessionId, 41U);
  EXPECT_EQ(serverEvents.data[0].bytes(), question);

  server.notifySendResult(41, iosapp_def_::SENDRESULT_SUCCESS);
  const Bytes answer = patternOf(17, 5);
  server.sendDataFromDevice(41, answer.data(), 17);
  vqfake::deliverAll();
  ASSERT_THAT(radioEvents.results, SizeIs(1));
  EXPECT_EQ(radioEvents.results[0].result, iosapp_def_::SENDRESULT_SUCCESS);
  ASSERT_THAT(radioEvents.data, SizeIs(1));
  EXPECT_EQ(radioEvents.data[0].bytes(), answer);

  server.notifySessionClose(41);
  vqfake::deliverAll();
  announceConnection(server, 0);
  EXPECT_THAT(radioEvents.headers, ElementsAre(EventHeader{0, 32}, EventHeader{0, 32}, EventHeader{1, 16},
                                               EventHeader{2, 20}, EventHeader{0, 32}, EventHeader{0, 32}));
  EXPECT_THAT(describe(radioEvents), ElementsAre("1 00:00:00:00:00:00 spp 0 [] usb 1 [Radio] iap 2 hfp 0",
                                                 "1 00:00:00:00:00:00 spp 0 [] usb 2 [Radio] iap 2 hfp 0",
                                                 "1 00:00:00:00:00:00 spp 0 [] usb 1 [Radio] iap 2 hfp 0",
                                                 "1 00:00:00:00:00:00 spp 0 [] usb 0 [Radio] iap 2 hfp 0"));
  EXPECT_THAT(describe(mapsEvents), ElementsAre("1 00:00:00:00:00:00 spp 0 [] usb 1 [Maps] iap 2 hfp 0",
                                                "1 00:00:00:00:00:00 spp 0 [] usb 0 [Maps] iap 2 hfp 0"));
  EXPECT_THAT(mapsEvents.headers, SizeIs(2)) << "the other app's session, data and result are not for it";
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(ChannelWalk, AHandsFreeMessageOfTheServerNeverEntersTheClientsList) {
  iOSAppCommonServer server(1);
  iOSAppCommonClient client("", "Radio", "");
  ClientEvents events(client);
  iOSAppExtBluetoothConnectionStatus status;
  status.flags = 1;
  status.btAddress[5] = 0xAB;
  server.notifyBluetoothConnectionStatus(&status);
  vqfake::deliverAll();
  EXPECT_THAT(describe(events), ElementsAre("1 00:00:00:00:00:ab spp 0 [] usb 0 [Radio] iap 1 hfp 1"));
  EXPECT_EQ(client.getBtHfInfoToList(1).deviceId, 0U);
}

TEST_F(ChannelWalk, APlaybackNameArrivesAtEveryClient) {
  iOSAppCommonServer server(1);
  iOSAppCommonClient client("", "Radio", "");
  iOSAppCommonClient unregistered("", "", "");
  ClientEvents events(client);
  ClientEvents unregisteredEvents(unregistered);
  server.notifyPlaybakAppInfo(std::string(300, 'p'));
  vqfake::deliverAll();
  ASSERT_THAT(events.playbackApps, SizeIs(1));
  EXPECT_EQ(events.playbackApps[0].appName, std::string(255, 'p'));
  EXPECT_THAT(unregisteredEvents.playbackApps, SizeIs(1));
}

TEST_F(ChannelWalk, AMessageBeforeAClientStartsIsNotForIt) {
  iOSAppCommonServer server(1);
  iosapp_def_::ConnectInfo info;
  info.connectStatus = 1;
  server.notifyConnectionState(info);
  iOSAppCommonClient client("", "Radio", "");
  ClientEvents events(client);
  vqfake::deliverAll();
  EXPECT_TRUE(events.none());
  EXPECT_EQ(client.isDeviceConnected(1), 0U);
}

TEST_F(ChannelWalk, AReaderThatFell40MessagesBehindReadsOverwrittenSlots) {
  iOSAppCommonServer server(1);
  iOSAppCommonClient client("", "Radio", "");
  ServerEvents events(server);
  vqfake::deliverAll();
  announceConnection(server, 1);
  server.notifySessionOpen(1, 41);
  vqfake::deliverAll();
  client.launch(1, iosapp_def_::APPLAUNCH_WITH_USER_ALERT);
  for (unsigned int i = 0; i < 41; ++i) {
    const Bytes bytes = patternOf(4, i);
    ASSERT_EQ(client.sendDataFromHU(bytes.data(), 4), 1U);
  }
  vqfake::deliverAll();
  ASSERT_THAT(events.data, SizeIs(41));
  EXPECT_EQ(events.data[0].bytes(), patternOf(4, 40)) << "the 41st lies in the first one's slot";
  EXPECT_EQ(events.data[1].bytes(), patternOf(4, 1));
  EXPECT_EQ(events.data[40].bytes(), patternOf(4, 40));
}

}  // namespace
