// VQSLinkAppOperator: which sides its constructors make, its two kinds of listeners, and its end.
#include <type_traits>

#include "operator_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class OperatorConstruction : public OperatorTest {
 public:
  // The table of apps as another process reads it.
  static Lines registeredApps() {
    SegmentView view(kAppInfoSegment);
    const auto& table = view.record<iOSAppInfoList>();
    Lines apps;
    for (std::uint32_t i = 0; i < table.count; ++i) {
      const iOSAppInfo& app = table.entry[i];
      apps.push_back(std::to_string(app.appId) + " " + app.iAP1Name + " " + app.appName + " " + app.launchString);
    }
    return apps;
  }

  static bool isThere(const char* segment) {
    const int fd = shm_open((std::string("/") + segment).c_str(), O_RDONLY, 0);
    if (fd != -1) {
      close(fd);
    }
    return fd != -1;
  }

  bool hasSppSide() {
    vqfake::clearLog();
    return sut->requestSppConnect(7);
  }

  bool hasIosSide() {
    vqfake::clearLog();
    launch();
    const std::vector<vqfake::LogLine> lines = vqfake::log();
    return std::none_of(lines.begin(), lines.end(),
                        [](const vqfake::LogLine& line) { return line.file == kOperatorFile; });
  }
};

TEST_F(OperatorConstruction, WithAUuidMakesTheSppSideAndTouchesNothingOfTheChannel) {
  ASSERT_EQ(VQSingleton<VQSBtApps>::peekInstance(), nullptr);
  startSppOnly();
  EXPECT_NE(VQSingleton<VQSBtApps>::peekInstance(), nullptr);
  EXPECT_THAT(vqfake::log(), IsEmpty());
  EXPECT_THAT(vqfake::posted(), IsEmpty());
  EXPECT_THAT(vqfake::registrations(), IsEmpty());
  for (const char* segment : {kConnectStatusSegment, kAppInfoSegment, kFromHuSegment, kFromDeviceSegment}) {
    EXPECT_FALSE(isThere(segment)) << segment;
  }
  EXPECT_TRUE(hasSppSide());
  EXPECT_FALSE(hasIosSide());
}

TEST_F(OperatorConstruction, WithThreeStringsMakesTheIosSideAndRegistersTheApp) {
  startIosOnly();
  EXPECT_THAT(registeredApps(), ElementsAre("1 Radio1 Radio radio://"));
  EXPECT_THAT(vqfake::log(), IsEmpty());
  EXPECT_FALSE(hasSppSide());
  EXPECT_TRUE(hasIosSide());
}

TEST_F(OperatorConstruction, WithFourStringsMakesBothSidesAndRegistersTheApp) {
  startCombined();
  EXPECT_THAT(registeredApps(), ElementsAre("1 Radio1 Radio radio://"));
  EXPECT_THAT(vqfake::log(), IsEmpty());
  EXPECT_TRUE(hasSppSide());
  EXPECT_TRUE(hasIosSide());
}

TEST_F(OperatorConstruction, AsksNothingOfTheSppService) {
  startSppOnly();
  startIosOnly();
  startCombined();
  EXPECT_THAT(btCallLines(), IsEmpty());
}

TEST_F(OperatorConstruction, WithAnEmptyAppNameRegistersNoApp) {
  sut = std::make_unique<VQSLinkAppOperator>("", "Radio1", "radio://");
  EXPECT_THAT(registeredApps(), IsEmpty());
  connectIosDevice();
  EXPECT_FALSE(launch());
}

TEST_F(OperatorConstruction, NeverSwitchesTheDiagnosticsOnNotEvenForAnEmptyName) {
  sut = std::make_unique<VQSLinkAppOperator>("");
  sut = std::make_unique<VQSLinkAppOperator>("", "", "");
  sut = std::make_unique<VQSLinkAppOperator>("", "", "", "");
  startCombined();
  EXPECT_EQ(opeLog_, 0);
  EXPECT_EQ(wrapLog_, 0);
  EXPECT_EQ(stsLog_, 0);
}

TEST_F(OperatorConstruction, MakesASenderReceiverInTheFirstPlaceAndAWrapperListenerBehindIt) {
  static_assert(std::is_base_of<LinkAppiOSWrapperListener, VQSLinkAppOperator>::value, "hears the wrapper");
  static_assert(std::is_abstract<VQSILinkAppSenderReceiver>::value, "an interface");
  startCombined();
  VQSILinkAppSenderReceiver* const base = sut.get();
  EXPECT_EQ(static_cast<void*>(base), static_cast<void*>(sut.get()));
}

TEST_F(OperatorConstruction, GivesTwoOperatorsOneSppServiceAndAnAppIdEach) {
  startCombined();
  const VQSBtApps* const service = VQSingleton<VQSBtApps>::peekInstance();
  VQSLinkAppOperator other("other-uuid", "Map", "", "map://");
  EXPECT_EQ(VQSingleton<VQSBtApps>::peekInstance(), service);
  EXPECT_THAT(registeredApps(), ElementsAre("1 Radio1 Radio radio://", "2  Map map://"));
}

class OperatorListener : public OperatorTest {};

TEST_F(OperatorListener, SetTwiceReturnsTrueThenFalseAndIsCalledOnce) {
  startSppOnly();
  EXPECT_TRUE(sut->setListener(&messages));
  EXPECT_FALSE(sut->setListener(&messages));
  sut->setStatusListener(&status);
  vqfake::notifyBtApps(sppResult(kUuid, true));
  EXPECT_THAT(messages.lines, ElementsAre("result 0"));
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(OperatorListener, NullIsRefusedWithALogLineWhenSet) {
  startSppOnly();
  EXPECT_FALSE(sut->setListener(nullptr));
  EXPECT_THAT(vqfake::log(), ElementsAre(operatorLine("setListener", "npListener(NULL)!!!\n")));
}

TEST_F(OperatorListener, NullIsRefusedWithALogLineWhenRemoved) {
  startSppOnly();
  sut->setListener(&messages);
  EXPECT_FALSE(sut->removeListener(nullptr));
  EXPECT_THAT(vqfake::log(), ElementsAre(operatorLine("removeListener", "npListener(NULL)!!!\n")));
  EXPECT_TRUE(sut->removeListener(&messages)) << "it stayed";
}

TEST_F(OperatorListener, ThatWasNeverSetCannotBeRemovedAndTheOthersStay) {
  startSppOnly();
  subscribe();
  MessageEvents stranger;
  EXPECT_FALSE(sut->removeListener(&stranger));
  vqfake::notifyBtApps(sppResult(kUuid, true));
  EXPECT_THAT(messages.lines, SizeIs(1));
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(OperatorListener, RemovedHearsNoMoreAndCannotBeRemovedAgain) {
  startSppOnly();
  subscribe();
  EXPECT_TRUE(sut->removeListener(&messages));
  EXPECT_FALSE(sut->removeListener(&messages));
  vqfake::notifyBtApps(sppResult(kUuid, true));
  vqfake::notifyBtApps(sppData(kUuid, {1}));
  EXPECT_THAT(messages.lines, IsEmpty());
}

TEST_F(OperatorListener, RemovedAndSetAgainHearsAgain) {
  startSppOnly();
  subscribe();
  sut->removeListener(&messages);
  EXPECT_TRUE(sut->setListener(&messages));
  vqfake::notifyBtApps(sppResult(kUuid, true));
  EXPECT_THAT(messages.lines, ElementsAre("result 0"));
}

TEST_F(OperatorListener, IsManagedThroughTheInterfaceToo) {
  startCombined();
  VQSILinkAppSenderReceiver& senderReceiver = *sut;
  EXPECT_TRUE(senderReceiver.setListener(&messages));
  EXPECT_TRUE(senderReceiver.removeListener(&messages));
  sut->requestSppConnect(7);
  vqfake::clearBtCalls();
  const std::uint8_t byte = 0x5A;
  EXPECT_TRUE(senderReceiver.requestMsgSend(&byte, 1));
  EXPECT_THAT(btCallLines(), ElementsAre(std::string("sendData 7 [") + kUuid + "] 5a"));
}

class OperatorSubscription : public OperatorTest {
 public:
  // What the listeners hear when each source tells something of each kind.
  Lines hearEverything() {
    messages.lines.clear();
    status.lines.clear();
    vqfake::notifyBtApps(sppResult(kUuid, true));
    vqfake::notifyBtApps(sppData(kUuid, {0xAA}));
    endIosSend(0);
    sendFromIosDevice({0xBB});
    vqfake::notifyBtApps(sppList(static_cast<std::uint8_t>(++listedDevice_), "Phone"));
    Lines heard = messages.take();
    for (const std::string& line : status.take()) {
      heard.push_back(line.substr(0, 6));
    }
    return heard;
  }

  void startCombinedWithSession() {
    startCombined();
    sut->setListener(&messages);
    launchAndOpen();
    vqfake::clearBtCalls();
  }

 private:
  unsigned int listedDevice_ = 10;
};

TEST_F(OperatorSubscription, BeforeAStatusListenerIsSetNothingIsHeard) {
  startCombinedWithSession();
  EXPECT_THAT(hearEverything(), IsEmpty());
  EXPECT_THAT(btCallLines(), IsEmpty());
}

TEST_F(OperatorSubscription, WithAStatusListenerBothSidesAreHeard) {
  startCombinedWithSession();
  EXPECT_TRUE(sut->setStatusListener(&status));
  EXPECT_THAT(hearEverything(), ElementsAre("result 0", "message aa", "result 1", "message bb", "type 0"));
}

TEST_F(OperatorSubscription, ANullStatusListenerSwitchesTheMessagesOnAllTheSame) {
  startCombinedWithSession();
  EXPECT_TRUE(sut->setStatusListener(nullptr));
  EXPECT_THAT(hearEverything(), ElementsAre("result 0", "message aa", "result 1", "message bb"));
}

TEST_F(OperatorSubscription, AfterRemovalNothingIsHeard) {
  startCombinedWithSession();
  sut->setStatusListener(&status);
  EXPECT_TRUE(sut->removeStatusListener(&status));
  EXPECT_THAT(hearEverything(), IsEmpty());
}

TEST_F(OperatorSubscription, AForeignStatusListenerRemovesTheSubscriptionsToo) {
  startCombinedWithSession();
  sut->setStatusListener(&status);
  StatusEvents stranger;
  EXPECT_TRUE(sut->removeStatusListener(&stranger));
  EXPECT_THAT(hearEverything(), IsEmpty());
}

TEST_F(OperatorSubscription, NullRemovesTheSubscriptionsToo) {
  startCombinedWithSession();
  sut->setStatusListener(&status);
  EXPECT_TRUE(sut->removeStatusListener(nullptr));
  EXPECT_THAT(hearEverything(), IsEmpty());
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(OperatorSubscription, RemovalWithoutAnySubscriptionReturnsTrue) {
  startCombinedWithSession();
  EXPECT_TRUE(sut->removeStatusListener(&status));
  EXPECT_TRUE(sut->removeStatusListener(nullptr));
  EXPECT_THAT(hearEverything(), IsEmpty());
}

TEST_F(OperatorSubscription, ComesBackWhenAStatusListenerIsSetAgain) {
  startCombinedWithSession();
  sut->setStatusListener(&status);
  sut->removeStatusListener(&status);
  sut->setStatusListener(&status);
  EXPECT_THAT(hearEverything(), ElementsAre("result 0", "message aa", "result 1", "message bb", "type 0"));
}

TEST_F(OperatorSubscription, SetRepeatedlyDoesNotDoubleWhatIsHeard) {
  startCombinedWithSession();
  EXPECT_TRUE(sut->setStatusListener(&status));
  EXPECT_TRUE(sut->setStatusListener(&status));
  EXPECT_TRUE(sut->setStatusListener(&status));
  EXPECT_THAT(hearEverything(), ElementsAre("result 0", "message aa", "result 1", "message bb", "type 0"));
  sut->removeStatusListener(&status);
  EXPECT_THAT(hearEverything(), IsEmpty()) << "one removal ends all";
}

TEST_F(OperatorSubscription, ASecondStatusListenerTakesTheFirstOnesPlace) {
  startCombinedWithSession();
  StatusEvents former;
  sut->setStatusListener(&former);
  sut->setStatusListener(&status);
  EXPECT_THAT(hearEverything(), ElementsAre("result 0", "message aa", "result 1", "message bb", "type 0"));
  EXPECT_THAT(former.lines, IsEmpty());
}

TEST_F(OperatorSubscription, AsksForTheDeviceListAtEachSetAndNeverAtRemoval) {
  startCombinedWithSession();
  sut->setStatusListener(&status);
  sut->setStatusListener(&status);
  sut->removeStatusListener(&status);
  EXPECT_THAT(btCallLines(), ElementsAre("getSppInfomation", "getSppInfomation"));
}

TEST_F(OperatorSubscription, ReturnsTrueWhereTheSppServiceRefusesTheList) {
  startSppOnly();
  vqfake::answerBt("getSppInfomation", false);
  EXPECT_TRUE(sut->setStatusListener(&status));
}

// The operator's own subscriptions come first, so that nothing is missed of what the list brings along.
TEST_F(OperatorSubscription, IsWholeBeforeTheDeviceListIsAskedFor) {
  startCombinedWithSession();
  Lines heardMeanwhile;
  vqfake::onBtCall("getSppInfomation", [&] { heardMeanwhile = hearEverything(); });
  sut->setStatusListener(&status);
  EXPECT_THAT(heardMeanwhile, ElementsAre("result 0", "message aa", "result 1", "message bb", "type 0"));
}

TEST_F(OperatorSubscription, OfAnSppOnlyOperatorHearsTheSppServiceOnly) {
  startSppOnly();
  subscribe();
  EXPECT_THAT(vqfake::registrations(), IsEmpty());
  vqfake::notifyBtApps(sppData(kUuid, {0xAA}));
  vqfake::notifyBtApps(sppList(3, "Phone"));
  EXPECT_THAT(messages.lines, ElementsAre("message aa"));
  EXPECT_THAT(status.lines, ElementsAre("type 0 id 3 [Phone] spp 1 [] [] usb 0 [] [] iap 0"));
}

TEST_F(OperatorSubscription, OfAnIosOnlyOperatorHearsOfSppDevicesButNotTheirMessages) {
  startIosOnly();
  subscribe();
  vqfake::notifyBtApps(sppList(3, "Phone"));
  vqfake::notifyBtApps(sppData(kUuid, {0xAA}));
  vqfake::notifyBtApps(sppData("", {0xAA}));
  vqfake::notifyBtApps(sppResult("", true));
  connectIosDevice();
  EXPECT_THAT(messages.lines, IsEmpty());
  EXPECT_THAT(status.lines, ElementsAre("type 0 id 3 [Phone] spp 1 [] [] usb 0 [] [] iap 0",
                                        "type 1 id 1 [] spp 1 [] [] usb 0 [] [] iap 2"));
}

TEST_F(OperatorSubscription, CanBeEndedByAStatusListenerWhileTheDeviceListComes) {
  startCombinedWithSession();
  vqfake::onBtCall("getSppInfomation", [] { vqfake::notifyBtApps(sppList(3, "Phone")); });
  status.during = [this] { sut->removeStatusListener(&status); };
  EXPECT_TRUE(sut->setStatusListener(&status));
  EXPECT_THAT(status.lines, SizeIs(1));
  EXPECT_THAT(hearEverything(), IsEmpty());
}

class OperatorEnd : public OperatorTest {};

TEST_F(OperatorEnd, WhileSubscribedLeavesBothSources) {
  startCombined();
  subscribe();
  launchAndOpen();
  status.lines.clear();
  sut.reset();
  EXPECT_THAT(vqfake::registrations(), IsEmpty());
  vqfake::notifyBtApps(sppResult(kUuid, true));
  vqfake::notifyBtApps(sppList(3, "Phone"));
  endIosSend(1);
  EXPECT_THAT(messages.lines, IsEmpty());
  EXPECT_THAT(status.lines, IsEmpty());
}

TEST_F(OperatorEnd, AfterTheStatusListenerWasRemovedLeavesNothing) {
  startCombined();
  subscribe();
  sut->removeStatusListener(&status);
  sut.reset();
  EXPECT_THAT(vqfake::registrations(), IsEmpty());
  vqfake::notifyBtApps(sppResult(kUuid, true));
  EXPECT_THAT(messages.lines, IsEmpty());
}

TEST_F(OperatorEnd, CallsNobodyAndLogsNothing) {
  for (const bool isSubscribed : {false, true}) {
    startCombined();
    if (isSubscribed) {
      subscribe();
    }
    vqfake::clearBtCalls();
    PostedSince posted;
    sut.reset();
    EXPECT_THAT(btCallLines(), IsEmpty());
    EXPECT_TRUE(posted.none());
    EXPECT_THAT(messages.lines, IsEmpty());
    EXPECT_THAT(status.lines, IsEmpty());
    EXPECT_THAT(vqfake::log(), IsEmpty());
  }
}

TEST_F(OperatorEnd, LeavesTheSppServiceForTheOthers) {
  startSppOnly();
  const VQSBtApps* const service = VQSingleton<VQSBtApps>::peekInstance();
  sut.reset();
  EXPECT_EQ(VQSingleton<VQSBtApps>::peekInstance(), service);
}

TEST_F(OperatorEnd, WhileALinkIsInUseClosesNoLink) {
  startCombined();
  subscribe();
  sut->requestSppConnect(7);
  vqfake::clearBtCalls();
  sut.reset();
  EXPECT_THAT(btCallLines(), IsEmpty());
}

// As at exit, where the service may be ended before an operator of static lifetime.
TEST_F(OperatorEnd, MayComeAfterTheSppServicesEndWhetherSubscribedOrNot) {
  for (const bool isSubscribed : {false, true}) {
    for (void (OperatorTest::*start)() :
         {&OperatorTest::startSppOnly, &OperatorTest::startIosOnly, &OperatorTest::startCombined}) {
      (this->*start)();
      if (isSubscribed) {
        subscribe();
      }
      VQSingleton<VQSBtApps>::destroy();
      sut.reset();
      EXPECT_EQ(VQSingleton<VQSBtApps>::peekInstance(), nullptr) << "not made anew";
    }
  }
}

TEST_F(OperatorEnd, OfOneOfTwoLeavesTheOtherOneHearing) {
  for (const bool isFirstToGo : {true, false}) {
    auto first = std::make_unique<VQSLinkAppOperator>("uuid-1");
    auto second = std::make_unique<VQSLinkAppOperator>("uuid-2");
    Lines journal;
    MessageEvents ofFirst("first", journal);
    MessageEvents ofSecond("second", journal);
    first->setListener(&ofFirst);
    first->setStatusListener(nullptr);
    second->setListener(&ofSecond);
    second->setStatusListener(nullptr);
    (isFirstToGo ? first : second).reset();
    vqfake::notifyBtApps(sppResult("uuid-1", true));
    vqfake::notifyBtApps(sppResult("uuid-2", true));
    EXPECT_THAT(journal, ElementsAre(isFirstToGo ? "second result 0" : "first result 0"));
  }
}

TEST_F(OperatorEnd, ComesThroughEitherInterface) {
  VQSILinkAppSenderReceiver* const senderReceiver = new VQSLinkAppOperator(kUuid, kApp, "", "radio://");
  delete senderReceiver;
  LinkAppiOSWrapperListener* const wrapperListener = new VQSLinkAppOperator(kUuid, kApp, "", "radio://");
  delete wrapperListener;
  EXPECT_THAT(vqfake::registrations(), IsEmpty());
}

TEST_F(OperatorEnd, MayComeAfterItsListenersAreGoneWhenNothingIsToldMeanwhile) {
  startCombined();
  {
    MessageEvents shortLived;
    StatusEvents shortLivedStatus;
    sut->setListener(&shortLived);
    sut->setStatusListener(&shortLivedStatus);
  }
  sut.reset();
  vqfake::notifyBtApps(sppResult(kUuid, true));
  EXPECT_THAT(vqfake::registrations(), IsEmpty());
}

}  // namespace
