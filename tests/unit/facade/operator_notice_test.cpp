// What VQSLinkAppOperator makes of the SPP service's notices and of the wrapper's records.
#include "operator_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using SendResult = LinkAppiOSWrapperListener::SendResult;
using ReceivedMsg = LinkAppiOSWrapperListener::ReceivedMsg;

constexpr unsigned int kReceivedData = 4;
constexpr unsigned int kSendResult = 5;

class OperatorSppNotice : public OperatorTest {
 public:
  void SetUp() override {
    OperatorTest::SetUp();
    startCombined();
    subscribe();
  }

  Lines heardOf(const VQSBtAppsNtf::SppDataSendResult& record) {
    vqfake::notifyBtApps(record);
    return messages.take();
  }
  Lines heardOf(const VQSBtAppsNtf::SppReceivedData& record) {
    vqfake::notifyBtApps(record);
    return messages.take();
  }
};

TEST_F(OperatorSppNotice, OfASendResultTells0ForSentAnd1ForNotSent) {
  EXPECT_THAT(heardOf(sppResult(kUuid, true)), ElementsAre("result 0"));
  EXPECT_THAT(heardOf(sppResult(kUuid, false)), ElementsAre("result 1"));
}

TEST_F(OperatorSppNotice, OfReceivedDataHandsTheBytesOn) {
  EXPECT_THAT(heardOf(sppData(kUuid, {0x00, 0x7F, 0xFF})), ElementsAre("message 007fff"));
  const Bytes many = patternOf(70000);
  EXPECT_THAT(heardOf(sppData(kUuid, many)), ElementsAre("message " + hexOf(many)));
}

TEST_F(OperatorSppNotice, OfReceivedDataWithoutBytesIsHandedOnAsNullAndSize0) {
  EXPECT_THAT(heardOf(sppData(kUuid, {})), ElementsAre("message 0 bytes at null"));
}

TEST_F(OperatorSppNotice, OfAForeignUuidReachesNobody) {
  const std::string uuid = kUuid;
  for (const std::string& foreign : {std::string("other"), uuid + "0", uuid.substr(1), uuid.substr(0, 20),
                                     std::string("0000ABCD-0000-1000-8000-00805F9B34FB"), std::string(kApp)}) {
    EXPECT_THAT(heardOf(sppResult(foreign, true)), IsEmpty()) << foreign;
    EXPECT_THAT(heardOf(sppData(foreign, {1})), IsEmpty()) << foreign;
  }
}

TEST_F(OperatorSppNotice, OfAnEmptyUuidReachesNobody) {
  EXPECT_THAT(heardOf(sppResult("", true)), IsEmpty());
  EXPECT_THAT(heardOf(sppData("", {1})), IsEmpty());
}

TEST_F(OperatorSppNotice, OfAnEmptyUuidReachesNobodyOfAnOperatorWithoutOneEither) {
  for (const bool isCombined : {false, true}) {
    sut = isCombined ? std::make_unique<VQSLinkAppOperator>("", kApp, "", "radio://")
                     : std::make_unique<VQSLinkAppOperator>("");
    subscribe();
    EXPECT_THAT(heardOf(sppResult("", true)), IsEmpty());
    EXPECT_THAT(heardOf(sppData("", {1})), IsEmpty());
  }
}

TEST_F(OperatorSppNotice, OfEveryDeviceAndBeforeAnyConnectionIsHeard) {
  EXPECT_THAT(heardOf(sppResult(kUuid, true, 0)), ElementsAre("result 0"));
  sut->requestSppConnect(7);
  EXPECT_THAT(heardOf(sppResult(kUuid, true, 8)), ElementsAre("result 0"));
  EXPECT_THAT(heardOf(sppData(kUuid, {1}, 255)), ElementsAre("message 01"));
}

TEST_F(OperatorSppNotice, IsAnsweredWith0InEveryCase) {
  VQSBtAppsNtf::SppDataSendResult own = sppResult(kUuid, true);
  VQSBtAppsNtf::SppDataSendResult foreign = sppResult("other", true);
  VQSBtAppsNtf::SppReceivedData data = sppData(kUuid, {1});
  EXPECT_EQ(sut->onBtAppsUpdate(kSendResult, &own, 1), 0U);
  EXPECT_EQ(sut->onBtAppsUpdate(kSendResult, &foreign, 1), 0U);
  EXPECT_EQ(sut->onBtAppsUpdate(kReceivedData, &data, 0xFFFFFFFF), 0U);
  EXPECT_EQ(sut->onBtAppsUpdate(99, &own, 1), 0U);
  EXPECT_EQ(sut->onBtAppsUpdate(kSendResult, nullptr, 1), 0U);
  EXPECT_EQ(sut->onBtAppsUpdate(kSendResult, &own, 0), 0U);
  EXPECT_THAT(messages.lines, ElementsAre("result 0", "message 01"));
}

TEST_F(OperatorSppNotice, WithoutARecordOrWithSize0ReachesNobody) {
  VQSBtAppsNtf::SppDataSendResult result = sppResult(kUuid, true);
  VQSBtAppsNtf::SppReceivedData data = sppData(kUuid, {1});
  for (const unsigned int size : {0U, 1U, 0xFFFFFFFFU}) {
    vqfake::notifyBtApps(kSendResult, nullptr, size);
    vqfake::notifyBtApps(kReceivedData, nullptr, size);
  }
  vqfake::notifyBtApps(kSendResult, &result, 0);
  vqfake::notifyBtApps(kReceivedData, &data, 0);
  EXPECT_THAT(messages.lines, IsEmpty());
}

TEST_F(OperatorSppNotice, OfAnyOtherIdentifierReachesNobody) {
  VQSBtAppsNtf::SppDataSendResult result = sppResult(kUuid, true);
  for (const unsigned int id : {0U, 1U, 2U, 3U, 6U, 7U, 0x104U, 0x105U, 0xFFFFFFFFU}) {
    EXPECT_EQ(sut->onBtAppsUpdate(id, &result, 1), 0U) << id;
  }
  vqfake::notifyBtApps(sppState(kUuid, 1, 7));
  vqfake::notifyBtApps(sppList(7, "Phone"));
  EXPECT_THAT(messages.lines, IsEmpty());
}

TEST_F(OperatorSppNotice, MayComeWhileARequestIsStillRunning) {
  sut->requestSppConnect(7);
  vqfake::onBtCall("sendData", [] { vqfake::notifyBtApps(sppResult(kUuid, true)); });
  EXPECT_EQ(sendOne(), overSpp(7));
  EXPECT_THAT(messages.lines, ElementsAre("result 0"));
}

TEST_F(OperatorSppNotice, IsCopiedSoThatAListenerMayOverwriteTheRecord) {
  VQSBtAppsNtf::SppReceivedData record = sppData(kUuid, {0xAA, 0xBB});
  Lines journal;
  MessageEvents pair[2] = {{"first", journal}, {"second", journal}};
  sut->removeListener(&messages);
  for (MessageEvents& listener : pair) {
    sut->setListener(&listener);
  }
  pair[0].during = [&record] { record = sppData("other", {}); };
  sut->onBtAppsUpdate(kReceivedData, &record, 1);
  EXPECT_THAT(journal, ElementsAre("first message aabb", "second message aabb"));
}

// The wrapper's records, handed over as the wrapper does.
class OperatorIosRecord : public OperatorTest {
 public:
  void SetUp() override {
    OperatorTest::SetUp();
    startCombined();
    sut->setListener(&messages);
  }

  Lines heardOfResult(const std::string& uuid, std::uint32_t result) {
    SendResult record;
    record.uuid = uuid;
    record.result = result;
    sut->oniOSClientSendResult(&record);
    return messages.take();
  }

  Lines heardOfMsg(const std::string& uuid, const Bytes& bytes) {
    ReceivedMsg record;
    record.uuid = uuid;
    record.data = bytes.data();
    record.size = static_cast<std::uint32_t>(bytes.size());
    sut->oniOSClientReceivedMsg(&record);
    return messages.take();
  }
};

TEST_F(OperatorIosRecord, OfASendResultTells0For0And1ForAnyOther) {
  EXPECT_THAT(heardOfResult(kApp, 0), ElementsAre("result 0"));
  EXPECT_THAT(heardOfResult(kApp, 1), ElementsAre("result 1"));
  EXPECT_THAT(heardOfResult(kApp, 2), ElementsAre("result 1"));
  EXPECT_THAT(heardOfResult(kApp, 0xFFFFFFFF), ElementsAre("result 1"));
}

TEST_F(OperatorIosRecord, OfAMessageHandsTheBytesOn) {
  EXPECT_THAT(heardOfMsg(kApp, {0x00, 0x7F, 0xFF}), ElementsAre("message 007fff"));
}

TEST_F(OperatorIosRecord, OfAMessageHandsOnTheVeryPointerAndSize) {
  class Pointers : public VQSILinkAppSenderReceiverListener {
   public:
    void onReceivedMsg(const unsigned char* data, unsigned int size) override {
      lastData = data;
      lastSize = size;
    }
    const unsigned char* lastData = nullptr;
    unsigned int lastSize = 0;
  };
  Pointers pointers;
  sut->removeListener(&messages);
  sut->setListener(&pointers);
  const Bytes bytes = patternOf(10);
  heardOfMsg(kApp, bytes);
  EXPECT_EQ(pointers.lastData, bytes.data());
  EXPECT_EQ(pointers.lastSize, 10U);
}

TEST_F(OperatorIosRecord, OfAMessageWithoutBytesIsHandedOnAsItIs) {
  ReceivedMsg record;
  record.uuid = kApp;
  sut->oniOSClientReceivedMsg(&record);
  record.size = 5;
  sut->oniOSClientReceivedMsg(&record);
  EXPECT_THAT(messages.lines, ElementsAre("message 0 bytes at null", "message 5 bytes at null"));
}

TEST_F(OperatorIosRecord, OfAForeignNameReachesNobody) {
  for (const char* foreign : {"Map", "radio", "Radio ", "Radi", "Radio1", kUuid, ""}) {
    EXPECT_THAT(heardOfResult(foreign, 0), IsEmpty()) << foreign;
    EXPECT_THAT(heardOfMsg(foreign, {1}), IsEmpty()) << foreign;
  }
}

TEST_F(OperatorIosRecord, OfAnEmptyNameReachesNobodyOfAnOperatorWithoutOneEither) {
  for (const bool isCombined : {false, true}) {
    sut = isCombined ? std::make_unique<VQSLinkAppOperator>(kUuid, "", "Radio1", "radio://")
                     : std::make_unique<VQSLinkAppOperator>("", "Radio1", "radio://");
    sut->setListener(&messages);
    EXPECT_THAT(heardOfResult("", 0), IsEmpty());
    EXPECT_THAT(heardOfMsg("", {1}), IsEmpty());
  }
}

TEST_F(OperatorIosRecord, ReachesNobodyOfAnSppOnlyOperator) {
  startSppOnly();
  sut->setListener(&messages);
  for (const char* name : {"", kUuid, kApp}) {
    EXPECT_THAT(heardOfResult(name, 0), IsEmpty());
    EXPECT_THAT(heardOfMsg(name, {1}), IsEmpty());
  }
}

TEST_F(OperatorIosRecord, OfNullIsIgnored) {
  sut->oniOSClientSendResult(nullptr);
  sut->oniOSClientReceivedMsg(nullptr);
  EXPECT_THAT(messages.lines, IsEmpty());
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(OperatorIosRecord, OfDeviceInformationIsNoneOfItsBusiness) {
  sut->setStatusListener(&status);
  LinkAppiOSWrapperListener& wrapperListener = *sut;
  LinkAppiOSWrapperListener::DeviceInfo info;
  info.deviceId = 1;
  info.btSppStatus = 1;
  info.btSppName = kApp;
  info.iapVersion = 2;
  wrapperListener.oniOSClientDeviceInfo(&info);
  wrapperListener.oniOSClientDeviceInfo(nullptr);
  EXPECT_THAT(messages.lines, IsEmpty());
  EXPECT_THAT(status.lines, IsEmpty());
}

// The same from the channel's end.
class OperatorIosChannel : public OperatorTest {
 public:
  void SetUp() override {
    OperatorTest::SetUp();
    startIosOnly();
    subscribe();
    launchAndOpen();
    messages.lines.clear();
  }
};

TEST_F(OperatorIosChannel, ReportsTheDevicesSuccess1As0AndAnyOtherAs1) {
  endIosSend(1);
  endIosSend(0);
  endIosSend(2);
  EXPECT_THAT(messages.lines, ElementsAre("result 0", "result 1", "result 1"));
}

TEST_F(OperatorIosChannel, HandsOnWhatTheDeviceSendsToThisApp) {
  sendFromIosDevice({0x01, 0xFE});
  sendFromIosDevice({0x02}, 2);
  const Bytes whole = patternOf(4096);
  sendFromIosDevice(whole);
  EXPECT_THAT(messages.lines, ElementsAre("message 01fe", "message " + hexOf(whole)));
}

TEST_F(OperatorIosChannel, DropsResultsOfOtherApps) {
  endIosSend(1, 2);
  EXPECT_THAT(messages.lines, IsEmpty());
}

TEST_F(OperatorIosChannel, TellsTwoOperatorsOnlyWhatIsTheirs) {
  VQSLinkAppOperator map("Map", "", "map://");
  MessageEvents ofMap;
  map.setListener(&ofMap);
  map.setStatusListener(nullptr);
  connectIosDevice();
  ASSERT_TRUE(map.requestiOSLaunch(1, VQSLinkAppOperator::IOSAPPLAUNCHMETHOD_WITHOUT_ALERT));
  endIosSend(1, 1);
  sendFromIosDevice({0x22}, 2);
  EXPECT_THAT(messages.lines, ElementsAre("result 0"));
  EXPECT_THAT(ofMap.lines, ElementsAre("message 22"));
}

class OperatorListenerOrder : public OperatorTest {
 public:
  void SetUp() override {
    OperatorTest::SetUp();
    startCombined();
    for (const int index : {2, 0, 3, 1}) {
      sut->setListener(&row[index]);
    }
    sut->setStatusListener(nullptr);
    launchAndOpen();
  }

  Lines journal;
  MessageEvents row[4] = {{"0", journal}, {"1", journal}, {"2", journal}, {"3", journal}};
};

TEST_F(OperatorListenerOrder, IsThatOfTheirAddressesForSpp) {
  vqfake::notifyBtApps(sppResult(kUuid, false));
  EXPECT_THAT(journal, ElementsAre("0 result 1", "1 result 1", "2 result 1", "3 result 1"));
  journal.clear();
  vqfake::notifyBtApps(sppData(kUuid, {0xAA}));
  EXPECT_THAT(journal, ElementsAre("0 message aa", "1 message aa", "2 message aa", "3 message aa"));
}

TEST_F(OperatorListenerOrder, IsThatOfTheirAddressesForIos) {
  endIosSend(1);
  EXPECT_THAT(journal, ElementsAre("0 result 0", "1 result 0", "2 result 0", "3 result 0"));
  journal.clear();
  sendFromIosDevice({0xBB});
  EXPECT_THAT(journal, ElementsAre("0 message bb", "1 message bb", "2 message bb", "3 message bb"));
}

TEST_F(OperatorListenerOrder, StaysWhereOneLeaves) {
  sut->removeListener(&row[1]);
  vqfake::notifyBtApps(sppResult(kUuid, true));
  EXPECT_THAT(journal, ElementsAre("0 result 0", "2 result 0", "3 result 0"));
}

TEST_F(OperatorListenerOrder, IsOfNoConcernToAListenerThatImplementsNothing) {
  VQSILinkAppSenderReceiverListener plain;
  sut->setListener(&plain);
  vqfake::notifyBtApps(sppResult(kUuid, true));
  vqfake::notifyBtApps(sppData(kUuid, {1}));
  EXPECT_EQ(journal.size(), 8U);
  sut->removeListener(&plain);
}

}  // namespace
