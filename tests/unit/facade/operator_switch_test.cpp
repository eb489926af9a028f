// A head-unit application that changes from a phone on SPP to an iOS device and back.
#include "operator_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint8_t kPhone = 3;

class OperatorSwitch : public OperatorTest {
 public:
  void SetUp() override {
    OperatorTest::SetUp();
    startCombined();
    subscribe();
  }

  static std::string sppDevice(int statusOfLink, const std::string& uuid) {
    return "type 0 id 3 [Phone] spp " + std::to_string(statusOfLink) + " [" + uuid + "] [] usb 0 [] [] iap 0";
  }
  static std::string iosDevice(int statusOfLink, const std::string& appName) {
    return "type 1 id 1 [] spp " + std::to_string(statusOfLink) + " [] [" + appName + "] usb 0 [] [] iap 2";
  }

  // The phone comes into sight and the application connects; the service tells that the link is up.
  void connectPhone() {
    vqfake::notifyBtApps(sppList(kPhone, "Phone"));
    ASSERT_TRUE(sut->requestSppConnect(kPhone));
    vqfake::notifyBtApps(sppState(kUuid, 1, kPhone));
  }

  void disconnectPhone() {
    ASSERT_TRUE(sut->requestSppDisconnect(kPhone));
    vqfake::notifyBtApps(sppState(kUuid, 0, kPhone));
  }

  // A message there, its result, and a message back.
  void exchangeOverSpp() {
    EXPECT_EQ(sendOne(), overSpp(kPhone));
    vqfake::notifyBtApps(sppResult(kUuid, true, kPhone));
    vqfake::notifyBtApps(sppData(kUuid, {0x5A}, kPhone));
    EXPECT_THAT(messages.take(), ElementsAre("result 0", "message 5a"));
  }

  void exchangeOverIos() {
    EXPECT_EQ(sendOne(), kOverIos);
    endIosSend(1);
    sendFromIosDevice({0xA5});
    EXPECT_THAT(messages.take(), ElementsAre("result 0", "message a5"));
  }
};

TEST_F(OperatorSwitch, FromThePhoneToTheIosDeviceAndBackCarriesMessagesAndStatusOfEach) {
  connectPhone();
  EXPECT_THAT(status.take(), ElementsAre(sppDevice(1, ""), sppDevice(2, kUuid)));
  exchangeOverSpp();

  connectIosDevice();
  ASSERT_TRUE(launch());
  openIosSession();
  EXPECT_THAT(status.take(), ElementsAre(iosDevice(1, ""), iosDevice(2, kApp)));
  exchangeOverIos();

  ASSERT_TRUE(sut->requestSppConnect(kPhone));
  exchangeOverSpp();
  disconnectIosDevice();
  EXPECT_THAT(status.take(), ElementsAre(iosDevice(0, "")));
  exchangeOverSpp();

  disconnectPhone();
  EXPECT_THAT(status.take(), ElementsAre(sppDevice(1, kUuid)));
  EXPECT_EQ(sendOne(), kNowhere);
}

TEST_F(OperatorSwitch, FromTheIosDeviceToThePhoneAndBackCarriesMessagesOfEach) {
  launchAndOpen();
  exchangeOverIos();
  connectPhone();
  exchangeOverSpp();
  ASSERT_TRUE(launch());
  exchangeOverIos();
  disconnectPhone();
  exchangeOverIos();
}

TEST_F(OperatorSwitch, MayBeRepeated) {
  launchAndOpen();
  vqfake::notifyBtApps(sppList(kPhone, "Phone"));
  for (int round = 0; round < 50; ++round) {
    ASSERT_TRUE(sut->requestSppConnect(kPhone));
    exchangeOverSpp();
    ASSERT_TRUE(launch());
    exchangeOverIos();
  }
}

TEST_F(OperatorSwitch, LeavesTheSideThatIsNotInUseAudible) {
  connectPhone();
  launchAndOpen();
  status.lines.clear();
  vqfake::notifyBtApps(sppData(kUuid, {0x5A}, kPhone));
  vqfake::notifyBtApps(sppResult(kUuid, false, kPhone));
  vqfake::notifyBtApps(sppState(kUuid, 0, kPhone));
  EXPECT_THAT(messages.take(), ElementsAre("message 5a", "result 1"));
  EXPECT_THAT(status.take(), ElementsAre(sppDevice(1, kUuid)));
  EXPECT_EQ(sendOne(), kOverIos);

  ASSERT_TRUE(sut->requestSppConnect(kPhone));
  sendFromIosDevice({0xA5});
  endIosSend(0);
  EXPECT_THAT(messages.take(), ElementsAre("message a5", "result 1"));
  EXPECT_EQ(sendOne(), overSpp(kPhone));
}

TEST_F(OperatorSwitch, WorksWithAutoConnectToo) {
  ASSERT_TRUE(sut->requestSppAutoConnectStart(kPhone));
  exchangeOverSpp();
  launchAndOpen();
  exchangeOverIos();
  ASSERT_TRUE(sut->requestSppAutoConnectStop(kPhone));
  exchangeOverIos();
  ASSERT_TRUE(sut->requestSppAutoConnectStart(kPhone));
  exchangeOverSpp();
  ASSERT_TRUE(sut->requestSppAutoConnectStop(kPhone));
  EXPECT_EQ(sendOne(), kNowhere);
}

TEST_F(OperatorSwitch, OfOneOperatorDoesNotMoveAnother) {
  VQSLinkAppOperator other("other-uuid", "Map", "", "map://");
  ASSERT_TRUE(other.requestSppConnect(9));
  launchAndOpen();
  EXPECT_EQ(sendOne(), kOverIos);
  vqfake::clearBtCalls();
  const std::uint8_t byte = 0x11;
  EXPECT_TRUE(other.requestMsgSend(&byte, 1));
  EXPECT_THAT(btCallLines(), ElementsAre("sendData 9 [other-uuid] 11"));
}

TEST_F(OperatorSwitch, OutlivesTheEndOfTheSubscriptions) {
  launchAndOpen();
  sut->removeStatusListener(&status);
  EXPECT_EQ(sendOne(), kOverIos);
  sut->requestSppConnect(kPhone);
  EXPECT_EQ(sendOne(), overSpp(kPhone));
  EXPECT_THAT(messages.lines, IsEmpty());
}

}  // namespace
