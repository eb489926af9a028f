// iOSAppCommonClient::launch: its conditions in their order, and what an accepted launch selects.
#include <memory>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "channel_events.h"
#include "channel_fixture.h"

namespace {

using iosapp_def_::APPLAUNCH_WITH_USER_ALERT;
using testing::ElementsAre;
using testing::IsEmpty;

// The client's app id is 2.
class ClientLaunch : public ChannelTest {
 protected:
  void SetUp() override {
    ChannelTest::SetUp();
    { iOSAppCommonClient first("", "First", ""); }
    sut = std::make_unique<iOSAppCommonClient>("", "Radio", "radio://");
  }
  void TearDown() override {
    sut.reset();
    ChannelTest::TearDown();
  }

  static testing::Matcher<const vqfake::LogLine&> invalidLine(const std::string& deviceId) {
    return logLine(kClientFile, "launch", 0, 1, "##### Launch Error : DeviceId[" + deviceId + "]] is invalid.\n");
  }

  // The device that a send would go to, as the refusal of a send without a session names it.
  static std::string selectedDevice(iOSAppCommonClient& client) {
    client.removeSessionInfoFromList(0, 0);
    client.removeSessionInfoFromList(1, 0);
    vqfake::clearLog();
    const std::uint8_t byte = 1;
    EXPECT_EQ(client.sendDataFromHU(&byte, 1), 0U);
    const std::vector<vqfake::LogLine> lines = vqfake::log();
    vqfake::clearLog();
    return lines.empty() ? "" : lines.back().text;
  }

  static constexpr const char* kNothingSelected = "##### Send Error : DeviceId[0]] not opened.\n";
  static constexpr const char* kDevice1Selected = "##### Send Error : DeviceId[1]] not opened.\n";

  std::unique_ptr<iOSAppCommonClient> sut;
};

TEST_F(ClientLaunch, DeviceId0Or2LogsIsInvalidAndReturns0) {
  handleStatus(*sut, connectMessage(0, 1));
  handleStatus(*sut, connectMessage(2, 1));
  PostedSince posted;
  EXPECT_EQ(sut->launch(0, APPLAUNCH_WITH_USER_ALERT), 0U);
  EXPECT_EQ(sut->launch(2, APPLAUNCH_WITH_USER_ALERT), 0U);
  EXPECT_THAT(vqfake::log(), ElementsAre(invalidLine("0"), invalidLine("2")));
  EXPECT_TRUE(posted.none());
  EXPECT_EQ(selectedDevice(*sut), kNothingSelected);
}

TEST_F(ClientLaunch, TheDeviceIdIsLoggedAsASignedNumber) {
  EXPECT_EQ(sut->launch(0xFFFFFFFF, APPLAUNCH_WITH_USER_ALERT), 0U);
  EXPECT_EQ(sut->launch(0x101, APPLAUNCH_WITH_USER_ALERT), 0U);
  EXPECT_THAT(vqfake::log(), ElementsAre(invalidLine("-1"), invalidLine("257")));
}

TEST_F(ClientLaunch, OnAnUnregisteredClientItReturns0Silently) {
  iOSAppCommonClient unregistered("", "", "radio://");
  EXPECT_EQ(unregistered.launch(1, APPLAUNCH_WITH_USER_ALERT), 0U) << "not connected either, and yet no log";
  handleStatus(unregistered, connectMessage(1, 1));
  PostedSince posted;
  EXPECT_EQ(unregistered.launch(1, APPLAUNCH_WITH_USER_ALERT), 0U);
  EXPECT_THAT(vqfake::log(), IsEmpty());
  EXPECT_TRUE(posted.none());
  EXPECT_EQ(selectedDevice(unregistered), kNothingSelected);
}

TEST_F(ClientLaunch, AnInvalidDeviceIdIsLoggedOnAnUnregisteredClientToo) {
  iOSAppCommonClient unregistered("", "", "radio://");
  EXPECT_EQ(unregistered.launch(2, APPLAUNCH_WITH_USER_ALERT), 0U);
  EXPECT_THAT(vqfake::log(), ElementsAre(invalidLine("2")));
}

TEST_F(ClientLaunch, OnADeviceThatIsNotConnectedItLogsWithTheDeviceIdAsTagAndReturns0) {
  PostedSince posted;
  EXPECT_EQ(sut->launch(1, APPLAUNCH_WITH_USER_ALERT), 0U);
  EXPECT_THAT(vqfake::log(),
              ElementsAre(logLine(kClientFile, "launch", 0, 1, "##### Launch Error : DeviceId[1]] not connected.\n")));
  EXPECT_TRUE(posted.none());
  EXPECT_EQ(selectedDevice(*sut), kNothingSelected);
}

TEST_F(ClientLaunch, AnOpenSessionDoesNotReplaceTheConnection) {
  iosapp_def_::SessionInfo session;
  session.deviceId = 1;
  session.appId = 2;
  session.status = 1;
  sut->addSessionInfoToList(session);
  EXPECT_EQ(sut->launch(1, APPLAUNCH_WITH_USER_ALERT), 0U);
}

TEST_F(ClientLaunch, OnAConnectedDeviceItRequestsTheLaunchAndReturns1) {
  handleStatus(*sut, connectMessage(1, 1));
  PostedSince posted;
  EXPECT_EQ(sut->launch(1, static_cast<iosapp_def_::AppLaunchMethod>(0xFEDCBA98)), 1U);
  const vqfake::Message message = posted.single();
  EXPECT_EQ(message.id, 4U);
  EXPECT_THAT(message.locksHeld, IsEmpty());
  ASSERT_EQ(message.payload.size(), 304U);
  EXPECT_EQ(wordAt(message, 0), 0U);
  EXPECT_EQ(wordAt(message, 4), 1U);
  EXPECT_EQ(wordAt(message, 8), 2U);
  EXPECT_THAT(bytesOf(message, 12, 300), testing::Each(0));
  EXPECT_EQ(wordAt(message, 300), 0xFEDCBA98U);
  EXPECT_EQ(selectedDevice(*sut), kDevice1Selected);
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(ClientLaunch, WhoseSessionIsAlreadyOpenReturns1AndSendsNothingButStillSelectsTheDevice) {
  handleStatus(*sut, connectMessage(1, 1));
  handleStatus(*sut, sessionMessage(1, 2, 1));
  PostedSince posted;
  EXPECT_EQ(sut->launch(1, APPLAUNCH_WITH_USER_ALERT), 1U);
  EXPECT_TRUE(posted.none());
  EXPECT_EQ(selectedDevice(*sut), kDevice1Selected);
}

TEST_F(ClientLaunch, AnotherAppsOpenSessionDoesNotCount) {
  handleStatus(*sut, connectMessage(1, 1));
  iosapp_def_::SessionInfo session;
  session.deviceId = 1;
  session.appId = 1;
  session.status = 1;
  sut->addSessionInfoToList(session);
  PostedSince posted;
  EXPECT_EQ(sut->launch(1, APPLAUNCH_WITH_USER_ALERT), 1U);
  EXPECT_EQ(posted.messages().size(), 1U);
}

TEST_F(ClientLaunch, WithoutALaunchStringNothingIsRequestedAndItReturns1) {
  iOSAppCommonClient silent("", "Silent", "");
  handleStatus(silent, connectMessage(1, 1));
  PostedSince posted;
  EXPECT_EQ(silent.launch(1, APPLAUNCH_WITH_USER_ALERT), 1U);
  EXPECT_TRUE(posted.none());
  EXPECT_EQ(selectedDevice(silent), kDevice1Selected);
}

TEST_F(ClientLaunch, ARequestThatCannotBePostedReturns1Too) {
  handleStatus(*sut, connectMessage(1, 1));
  vqfake::setNotifierUsable(false);
  EXPECT_EQ(sut->launch(1, APPLAUNCH_WITH_USER_ALERT), 1U);
}

TEST_F(ClientLaunch, TheSelectedDeviceIsKeptAfterADisconnectAndARefusedLaunch) {
  handleStatus(*sut, connectMessage(1, 1));
  sut->launch(1, APPLAUNCH_WITH_USER_ALERT);
  handleStatus(*sut, connectMessage(1, 0));
  EXPECT_EQ(selectedDevice(*sut), kDevice1Selected);
  EXPECT_EQ(sut->launch(1, APPLAUNCH_WITH_USER_ALERT), 0U);
  EXPECT_EQ(sut->launch(0, APPLAUNCH_WITH_USER_ALERT), 0U);
  EXPECT_EQ(selectedDevice(*sut), kDevice1Selected);
}

TEST_F(ClientLaunch, TheClientIgnoresItsOwnRequest) {
  handleStatus(*sut, connectMessage(1, 1));
  ClientEvents events(*sut);
  sut->launch(1, APPLAUNCH_WITH_USER_ALERT);
  vqfake::deliverAll();
  EXPECT_TRUE(events.none());
}

}  // namespace
