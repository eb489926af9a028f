// VQSLinkAppOperator's requests: what each asks of the SPP service and the iOS client, and the link that messages take.
#include <cstdio>
#include <ostream>

#include "operator_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const std::string kInBrackets = std::string("[") + kUuid + "]";

// A request of the operator and the operation of the SPP service that it comes down to.
struct SppRequest {
  const char* name;
  bool (VQSLinkAppOperator::*make)(unsigned char deviceId);
  const char* operation;
};

void PrintTo(const SppRequest& request, std::ostream* out) {
  *out << request.name;
}

std::string nameOf(const testing::TestParamInfo<SppRequest>& info) {
  return info.param.name;
}

class OperatorSppRequest : public OperatorTest, public testing::WithParamInterface<SppRequest> {
 public:
  void SetUp() override {
    OperatorTest::SetUp();
    startCombined();
  }

  static void answer(const char* operation, bool result) { vqfake::answerBt(operation, result); }
  static void answerIsRegistered(bool result) { answer("isRegisteredUuid", result); }
  static void answerRequest(bool result) { answer(GetParam().operation, result); }

  bool request(unsigned char deviceId) {
    vqfake::clearBtCalls();
    return ((*sut).*GetParam().make)(deviceId);
  }

  static std::string isRegisteredCall() { return "isRegisteredUuid " + kInBrackets; }
  static std::string registerCall() { return "registerUuid " + kInBrackets; }
  static std::string unregisterCall() { return "unregisterUuid " + kInBrackets; }
  static std::string requestCall(unsigned int deviceId) {
    return std::string(GetParam().operation) + " " + std::to_string(deviceId) + " " + kInBrackets;
  }
};

class OperatorSppOpening : public OperatorSppRequest {};

INSTANTIATE_TEST_SUITE_P(Request, OperatorSppOpening,
                         testing::Values(SppRequest{"Connect", &VQSLinkAppOperator::requestSppConnect, "connectSpp"},
                                         SppRequest{"AutoConnectStart", &VQSLinkAppOperator::requestSppAutoConnectStart,
                                                    "startAutoConnectSpp"}),
                         nameOf);

TEST_P(OperatorSppOpening, WithARegisteredUuidDoesNotRegisterAgain) {
  answer("registerUuid", false);
  EXPECT_TRUE(request(7));
  EXPECT_THAT(btCallLines(), ElementsAre(isRegisteredCall(), requestCall(7)));
  EXPECT_EQ(sendOne(), overSpp(7));
}

TEST_P(OperatorSppOpening, WithARegisteredUuidButRefusedByTheServiceReturnsFalse) {
  answerRequest(false);
  EXPECT_FALSE(request(7));
  EXPECT_THAT(btCallLines(), ElementsAre(isRegisteredCall(), requestCall(7)));
  EXPECT_EQ(sendOne(), kNowhere);
}

TEST_P(OperatorSppOpening, WithAnUnregisteredUuidRegistersFirst) {
  answerIsRegistered(false);
  EXPECT_TRUE(request(7));
  EXPECT_THAT(btCallLines(), ElementsAre(isRegisteredCall(), registerCall(), requestCall(7)));
  EXPECT_EQ(sendOne(), overSpp(7));
}

TEST_P(OperatorSppOpening, RegisteredAnewButRefusedByTheServiceReturnsFalse) {
  answerIsRegistered(false);
  answerRequest(false);
  EXPECT_FALSE(request(7));
  EXPECT_THAT(btCallLines(), ElementsAre(isRegisteredCall(), registerCall(), requestCall(7)));
  EXPECT_EQ(sendOne(), kNowhere);
}

TEST_P(OperatorSppOpening, WhereRegisteringFailsIsStillRequestedAndReturnsFalse) {
  answerIsRegistered(false);
  answer("registerUuid", false);
  EXPECT_FALSE(request(7));
  EXPECT_THAT(btCallLines(), ElementsAre(isRegisteredCall(), registerCall(), requestCall(7)));
  EXPECT_EQ(sendOne(), kNowhere);
}

TEST_P(OperatorSppOpening, WhereRegisteringAndTheRequestFailReturnsFalse) {
  answerIsRegistered(false);
  answer("registerUuid", false);
  answerRequest(false);
  EXPECT_FALSE(request(7));
  EXPECT_THAT(btCallLines(), ElementsAre(isRegisteredCall(), registerCall(), requestCall(7)));
  EXPECT_EQ(sendOne(), kNowhere);
}

TEST_P(OperatorSppOpening, ThatFailsLeavesTheSppLinkInUse) {
  request(3);
  answerRequest(false);
  EXPECT_FALSE(request(7));
  EXPECT_EQ(sendOne(), overSpp(3));
}

TEST_P(OperatorSppOpening, ThatFailsLeavesTheIosLinkInUse) {
  launchAndOpen();
  answerIsRegistered(false);
  answer("registerUuid", false);
  EXPECT_FALSE(request(7));
  EXPECT_EQ(sendOne(), kOverIos);
}

TEST_P(OperatorSppOpening, ThatSucceedsTakesThePlaceOfTheLinkInUse) {
  EXPECT_TRUE(request(3));
  EXPECT_TRUE(request(7));
  EXPECT_EQ(sendOne(), overSpp(7));
  launchAndOpen();
  EXPECT_TRUE(request(8));
  EXPECT_EQ(sendOne(), overSpp(8));
}

TEST_P(OperatorSppOpening, OfDevice0And254AreLinksLikeAnyOther) {
  EXPECT_TRUE(request(0));
  EXPECT_EQ(sendOne(), overSpp(0));
  EXPECT_TRUE(request(254));
  EXPECT_EQ(sendOne(), overSpp(254));
}

TEST_P(OperatorSppOpening, OfDevice255SucceedsAndLeavesNoLinkInUse) {
  request(7);
  EXPECT_TRUE(request(255));
  EXPECT_THAT(btCallLines(), ElementsAre(isRegisteredCall(), requestCall(255)));
  EXPECT_EQ(sendOne(), kNowhere);
}

TEST_P(OperatorSppOpening, CountsOnlyOnceTheServiceHasAnswered) {
  std::string sentMeanwhile;
  vqfake::onBtCall(GetParam().operation, [&] { sentMeanwhile = sendOne(); });
  EXPECT_TRUE(request(7));
  EXPECT_EQ(sentMeanwhile, kNowhere);
  EXPECT_EQ(sendOne(), overSpp(7));
}

TEST_P(OperatorSppOpening, OfAnEmptyUuidIsPassedOnAsItIs) {
  sut = std::make_unique<VQSLinkAppOperator>("");
  EXPECT_TRUE(request(7));
  EXPECT_THAT(btCallLines(), ElementsAre("isRegisteredUuid []", std::string(GetParam().operation) + " 7 []"));
  EXPECT_EQ(sendOne(), overSpp(7, ""));
}

class OperatorSppClosing : public OperatorSppRequest {};

INSTANTIATE_TEST_SUITE_P(Request, OperatorSppClosing,
                         testing::Values(SppRequest{"Disconnect", &VQSLinkAppOperator::requestSppDisconnect,
                                                    "disconnectSpp"},
                                         SppRequest{"AutoConnectStop", &VQSLinkAppOperator::requestSppAutoConnectStop,
                                                    "stopAutoConnectSpp"}),
                         nameOf);

TEST_P(OperatorSppClosing, WithARegisteredUuidTakesItBackFirst) {
  sut->requestSppConnect(7);
  EXPECT_TRUE(request(7));
  EXPECT_THAT(btCallLines(), ElementsAre(isRegisteredCall(), unregisterCall(), requestCall(7)));
  EXPECT_EQ(sendOne(), kNowhere);
}

TEST_P(OperatorSppClosing, WithoutARegisteredUuidTakesNothingBack) {
  sut->requestSppConnect(7);
  answerIsRegistered(false);
  answer("unregisterUuid", false);
  EXPECT_TRUE(request(7));
  EXPECT_THAT(btCallLines(), ElementsAre(isRegisteredCall(), requestCall(7)));
  EXPECT_EQ(sendOne(), kNowhere);
}

TEST_P(OperatorSppClosing, WithoutARegisteredUuidAndRefusedByTheServiceKeepsTheLink) {
  sut->requestSppConnect(7);
  answerIsRegistered(false);
  answerRequest(false);
  EXPECT_FALSE(request(7));
  EXPECT_THAT(btCallLines(), ElementsAre(isRegisteredCall(), requestCall(7)));
  EXPECT_EQ(sendOne(), overSpp(7));
}

TEST_P(OperatorSppClosing, WhereTakingBackFailsIsStillRequestedReturnsFalseAndKeepsTheLink) {
  sut->requestSppConnect(7);
  answer("unregisterUuid", false);
  EXPECT_FALSE(request(7));
  EXPECT_THAT(btCallLines(), ElementsAre(isRegisteredCall(), unregisterCall(), requestCall(7)));
  EXPECT_EQ(sendOne(), overSpp(7));
}

TEST_P(OperatorSppClosing, TakenBackButRefusedByTheServiceKeepsTheLink) {
  sut->requestSppConnect(7);
  answerRequest(false);
  EXPECT_FALSE(request(7));
  EXPECT_THAT(btCallLines(), ElementsAre(isRegisteredCall(), unregisterCall(), requestCall(7)));
  EXPECT_EQ(sendOne(), overSpp(7));
}

TEST_P(OperatorSppClosing, WhereBothFailReturnsFalseAndKeepsTheLink) {
  sut->requestSppConnect(7);
  answer("unregisterUuid", false);
  answerRequest(false);
  EXPECT_FALSE(request(7));
  EXPECT_THAT(btCallLines(), ElementsAre(isRegisteredCall(), unregisterCall(), requestCall(7)));
  EXPECT_EQ(sendOne(), overSpp(7));
}

TEST_P(OperatorSppClosing, EndsALinkThatTheOtherRequestOpened) {
  sut->requestSppAutoConnectStart(7);
  EXPECT_TRUE(request(7));
  EXPECT_EQ(sendOne(), kNowhere);
}

TEST_P(OperatorSppClosing, OfAnotherDeviceEndsTheLinkInUseAsWell) {
  sut->requestSppConnect(7);
  EXPECT_TRUE(request(9));
  EXPECT_THAT(btCallLines(), ElementsAre(isRegisteredCall(), unregisterCall(), requestCall(9)));
  EXPECT_EQ(sendOne(), kNowhere);
}

TEST_P(OperatorSppClosing, WithoutAnyLinkSucceeds) {
  EXPECT_TRUE(request(7));
  EXPECT_EQ(sendOne(), kNowhere);
}

TEST_P(OperatorSppClosing, LeavesTheIosLinkInUse) {
  sut->requestSppConnect(7);
  launchAndOpen();
  EXPECT_TRUE(request(7));
  EXPECT_EQ(sendOne(), kOverIos);
  EXPECT_TRUE(request(1)) << "the iOS device's own number";
  EXPECT_EQ(sendOne(), kOverIos);
}

TEST_P(OperatorSppClosing, DoesNotBringAFormerIosLinkBack) {
  launchAndOpen();
  sut->requestSppConnect(7);
  EXPECT_TRUE(request(7));
  EXPECT_EQ(sendOne(), kNowhere);
}

class OperatorMissingSide : public OperatorTest {
 public:
  static testing::Matcher<const vqfake::LogLine&> noBtApps(const std::string& function) {
    return operatorLine(function, "mpBtApps(NULL)!!!\n");
  }
};

TEST_F(OperatorMissingSide, OfSppIsLoggedByEachSppRequestWhichReturnsFalse) {
  startIosOnly();
  EXPECT_FALSE(sut->requestSppConnect(7));
  EXPECT_FALSE(sut->requestSppAutoConnectStart(7));
  EXPECT_FALSE(sut->requestSppDisconnect(7));
  EXPECT_FALSE(sut->requestSppAutoConnectStop(7));
  EXPECT_THAT(vqfake::log(), ElementsAre(noBtApps("requestSppConnect"), noBtApps("requestSppAutoConnectStart"),
                                         noBtApps("requestSppDisconnect"), noBtApps("requestSppAutoConnectStop")));
  EXPECT_THAT(btCallLines(), IsEmpty());
}

TEST_F(OperatorMissingSide, OfSppLeavesTheIosLinkInUse) {
  startIosOnly();
  launchAndOpen();
  sut->requestSppConnect(7);
  sut->requestSppAutoConnectStart(7);
  sut->requestSppDisconnect(1);
  sut->requestSppAutoConnectStop(1);
  EXPECT_EQ(sendOne(), kOverIos);
}

TEST_F(OperatorMissingSide, OfSppMakesRegisterStandbyReturnFalseSilently) {
  startIosOnly();
  EXPECT_FALSE(sut->registerStandby());
  EXPECT_THAT(vqfake::log(), IsEmpty());
  EXPECT_THAT(btCallLines(), IsEmpty());
}

TEST_F(OperatorMissingSide, OfIosIsLoggedByTheLaunchWhichReturnsFalseAndLeavesTheSppLinkInUse) {
  startSppOnly();
  sut->requestSppConnect(7);
  EXPECT_FALSE(launch(0));
  EXPECT_FALSE(launch(1));
  EXPECT_THAT(vqfake::log(), ElementsAre(operatorLine("requestiOSLaunch", "mpiOSWrapper(NULL)!!!\n"),
                                         operatorLine("requestiOSLaunch", "mpiOSWrapper(NULL)!!!\n")));
  EXPECT_EQ(sendOne(), overSpp(7));
}

class OperatorStandby : public OperatorTest {};

TEST_F(OperatorStandby, RegistersTheOneUuidToWaitForAndNothingOverIos) {
  startCombined();
  PostedSince posted;
  EXPECT_TRUE(sut->registerStandby());
  EXPECT_THAT(btCallLines(), ElementsAre("registerWaitUuid " + kInBrackets));
  EXPECT_TRUE(posted.none());
}

TEST_F(OperatorStandby, ReturnsTheServicesRefusalSilently) {
  startSppOnly();
  vqfake::answerBt("registerWaitUuid", false);
  EXPECT_FALSE(sut->registerStandby());
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(OperatorStandby, IsNoLink) {
  startSppOnly();
  EXPECT_TRUE(sut->registerStandby());
  EXPECT_EQ(sendOne(), kNowhere);
}

class OperatorLaunch : public OperatorTest {
 public:
  // The method of the one launch message of device 1 and app 1 that this launch posts.
  std::uint32_t postedMethod(unsigned int method) {
    PostedSince posted;
    EXPECT_TRUE(launch(method));
    const vqfake::Message message = posted.single();
    const auto record = payloadAs<iosapp_def_::ConnectStatusNotify>(message);
    EXPECT_EQ(message.id, 4U);
    EXPECT_EQ(record.notifyType, 0U);
    EXPECT_EQ(record.deviceId, 1U);
    EXPECT_EQ(record.appId, 1U);
    return record.launchMethod;
  }
};

TEST_F(OperatorLaunch, PassesMethod1OnAndEveryOtherAs0) {
  startIosOnly();
  connectIosDevice();
  EXPECT_EQ(postedMethod(1), 1U);
  EXPECT_EQ(postedMethod(0), 0U);
  EXPECT_EQ(postedMethod(2), 0U);
  EXPECT_EQ(postedMethod(0x101), 0U);
  EXPECT_EQ(postedMethod(0xFFFFFFFF), 0U);
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(OperatorLaunch, PassesTheDeviceNumberOnAndReturnsTheClientsRefusal) {
  startCombined();
  sut->requestSppConnect(7);
  for (const unsigned int deviceId : {0U, 2U, 255U}) {
    vqfake::clearLog();
    EXPECT_FALSE(launch(0, static_cast<unsigned char>(deviceId)));
    EXPECT_THAT(vqfake::log(),
                ElementsAre(logLine(kClientFile, "launch", 0, 1,
                                    "##### Launch Error : DeviceId[" + std::to_string(deviceId) + "]] is invalid.\n")));
  }
  EXPECT_EQ(sendOne(), overSpp(7)) << "nothing changed";
}

TEST_F(OperatorLaunch, OnADeviceThatIsNotConnectedReturnsFalseAndChangesNothing) {
  startCombined();
  EXPECT_FALSE(launch());
  EXPECT_THAT(vqfake::log(),
              ElementsAre(logLine(kClientFile, "launch", 0, 1, "##### Launch Error : DeviceId[1]] not connected.\n")));
  vqfake::clearLog();
  EXPECT_EQ(sendOne(), kNowhere);
  EXPECT_THAT(vqfake::log(), IsEmpty()) << "the client is not asked";
}

TEST_F(OperatorLaunch, OfAnAppWhoseSessionIsOpenPostsNothingAndTakesTheLink) {
  startCombined();
  sut->requestSppConnect(7);
  connectIosDevice();
  openIosSession();
  PostedSince posted;
  EXPECT_TRUE(launch());
  EXPECT_TRUE(posted.none());
  EXPECT_EQ(sendOne(), kOverIos);
}

TEST_F(OperatorLaunch, WithoutALaunchStringPostsNothingAndTakesTheLink) {
  sut = std::make_unique<VQSLinkAppOperator>(kUuid, kApp, "", "");
  connectIosDevice();
  PostedSince posted;
  EXPECT_TRUE(launch());
  EXPECT_TRUE(posted.none());
  openIosSession();
  EXPECT_EQ(sendOne(), kOverIos);
}

TEST_F(OperatorLaunch, AsksNothingOfTheSppService) {
  startCombined();
  connectIosDevice();
  EXPECT_TRUE(launch());
  EXPECT_THAT(btCallLines(), IsEmpty());
}

class OperatorSend : public OperatorTest {
 public:
  static testing::Matcher<const vqfake::LogLine&> notOpenedLine() {
    return logLine(kClientFile, "sendDataFromHU", 0, 1, "##### Send Error : DeviceId[1]] not opened.\n");
  }
};

TEST_F(OperatorSend, BeforeAnyConnectOrLaunchReturnsFalseWithoutCallingEitherSide) {
  for (void (OperatorTest::*start)() :
       {&OperatorTest::startSppOnly, &OperatorTest::startIosOnly, &OperatorTest::startCombined}) {
    (this->*start)();
    EXPECT_EQ(sendOne(), kNowhere);
    EXPECT_THAT(vqfake::log(), IsEmpty()) << "the iOS client would have told why";
  }
}

TEST_F(OperatorSend, IsNotSwitchedByDevicesThatComeAndGo) {
  startCombined();
  subscribe();
  connectIosDevice();
  openIosSession();
  vqfake::notifyBtApps(sppList(3, "Phone"));
  vqfake::notifyBtApps(sppState(kUuid, 1, 3));
  EXPECT_EQ(sendOne(), kNowhere) << "devices are there, but no request was made";
  sut->requestSppConnect(3);
  disconnectIosDevice();
  connectIosDevice();
  openIosSession();
  EXPECT_EQ(sendOne(), overSpp(3));
  vqfake::notifyBtApps(sppState(kUuid, 0, 3));
  EXPECT_EQ(sendOne(), overSpp(3)) << "whether the link is up is the service's business";
  launch();
  vqfake::notifyBtApps(sppState(kUuid, 1, 3));
  EXPECT_EQ(sendOne(), kOverIos);
}

TEST_F(OperatorSend, OverSppReturnsTheServicesRefusalSilentlyAndKeepsTheLink) {
  startSppOnly();
  sut->requestSppConnect(7);
  vqfake::answerBt("sendData", false);
  EXPECT_EQ(sendOne(), "false; sendData 7 " + kInBrackets + " 0102ab");
  EXPECT_THAT(vqfake::log(), IsEmpty());
  vqfake::answerBt("sendData", true);
  EXPECT_EQ(sendOne(), overSpp(7));
}

TEST_F(OperatorSend, OverSppHasNoUpperSize) {
  startSppOnly();
  sut->requestSppConnect(7);
  vqfake::clearBtCalls();
  const Bytes bytes = patternOf(100000);
  EXPECT_TRUE(sut->requestMsgSend(bytes.data(), 100000));
  ASSERT_THAT(vqfake::btCalls(), SizeIs(1));
  EXPECT_EQ(vqfake::btCalls().front().data, bytes);
}

TEST_F(OperatorSend, OverSppPassesNullAndSize0OnAsTheyAre) {
  startSppOnly();
  sut->requestSppConnect(7);
  vqfake::clearBtCalls();
  const std::uint8_t byte = 1;
  EXPECT_TRUE(sut->requestMsgSend(nullptr, 100));
  EXPECT_TRUE(sut->requestMsgSend(nullptr, 0));
  EXPECT_TRUE(sut->requestMsgSend(&byte, 0));
  EXPECT_THAT(btCallLines(),
              ElementsAre("sendData 7 " + kInBrackets, "sendData 7 " + kInBrackets, "sendData 7 " + kInBrackets));
}

TEST_F(OperatorSend, OverIosNeedsTheOpenSession) {
  startIosOnly();
  connectIosDevice();
  EXPECT_TRUE(launch());
  EXPECT_EQ(sendOne(), kNowhere);
  EXPECT_THAT(vqfake::log(), ElementsAre(notOpenedLine())) << "the client was asked";
  openIosSession();
  EXPECT_EQ(sendOne(), kOverIos);
}

TEST_F(OperatorSend, OverIosGoesOnAfterTheDeviceCameBackWithoutAnotherLaunch) {
  startCombined();
  launchAndOpen();
  disconnectIosDevice();
  EXPECT_EQ(sendOne(), kNowhere);
  EXPECT_THAT(vqfake::log(), ElementsAre(notOpenedLine())) << "the iOS side is still the one in use";
  connectIosDevice();
  openIosSession();
  EXPECT_EQ(sendOne(), kOverIos);
}

TEST_F(OperatorSend, OverIosCarriesUpTo4096BytesAndRefusesNullAndOtherSizes) {
  startCombined();
  launchAndOpen();
  const Bytes bytes = patternOf(4097);
  PostedSince posted;
  EXPECT_TRUE(sut->requestMsgSend(bytes.data(), 4096));
  EXPECT_THAT(posted.messages(), SizeIs(1));
  EXPECT_FALSE(sut->requestMsgSend(bytes.data(), 4097));
  EXPECT_FALSE(sut->requestMsgSend(bytes.data(), 0));
  EXPECT_FALSE(sut->requestMsgSend(nullptr, 3));
  EXPECT_THAT(posted.messages(), SizeIs(1));
  EXPECT_THAT(btCallLines(), IsEmpty()) << "never tried over the other side";
}

// With the diagnostics on, a message is turned into text that goes nowhere.
class OperatorDiagnostics : public OperatorTest {
 public:
  void SetUp() override {
    OperatorTest::SetUp();
    startCombined();
    opeLog_ = 1;
  }
};

TEST_F(OperatorDiagnostics, PrintNothingAndChangeNothing) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  EXPECT_EQ(sendOne(), kNowhere);
  sut->requestSppConnect(7);
  EXPECT_EQ(sendOne(), overSpp(7));
  launchAndOpen();
  EXPECT_EQ(sendOne(), kOverIos);
  std::fflush(nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_THAT(vqfake::log(), IsEmpty());
  EXPECT_EQ(opeLog_, 1);
}

TEST_F(OperatorDiagnostics, DoNotReadNullDataWhateverItsSize) {
  EXPECT_FALSE(sut->requestMsgSend(nullptr, 100));
  sut->requestSppConnect(7);
  EXPECT_TRUE(sut->requestMsgSend(nullptr, 0xFFFFFFFF));
  launchAndOpen();
  EXPECT_FALSE(sut->requestMsgSend(nullptr, 100));
}

TEST_F(OperatorDiagnostics, TakeEveryByteAndNoBytes) {
  sut->requestSppConnect(7);
  vqfake::clearBtCalls();
  Bytes bytes(256);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<std::uint8_t>(i);
  }
  EXPECT_TRUE(sut->requestMsgSend(bytes.data(), 256));
  EXPECT_TRUE(sut->requestMsgSend(bytes.data(), 0));
  EXPECT_THAT(vqfake::btCalls(), ElementsAre(testing::Field(&vqfake::BtCall::data, bytes),
                                             testing::Field(&vqfake::BtCall::data, IsEmpty())));
}

}  // namespace
