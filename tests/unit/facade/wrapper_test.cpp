// LinkAppiOSWrapper: its constructor, its listeners, its requests and the records that it makes.
#include <cstring>
#include <utility>

#include "wrapper_fixture.h"

namespace {

using iosapp_def_::CommData;
using iosapp_def_::SendResultInfo;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Wrapper = WrapperTest;
using WrapperConstruction = ChannelTest;

static_assert(sizeof(wrapLog_) == 1, "read as one byte");

constexpr std::uint32_t kForeignIds[] = {3, 4, 7, 0xFFFFFFFF};
constexpr const char* kConnectedOverUsb = "1 00:00:00:00:00:00 spp 0 [] usb 1 [Radio] iap 1";

auto nullListenerLine(const char* function) {
  return logLine(kWrapperFile, function, 0, 1, "ListenerPointerIsNull!!!!\n");
}

void connectAndOpenSession() {
  tellConnected();
  tell(sessionMessage(1, 1, 1));
}

// A message of the phone app, as the device side's ring and announcement bring it.
void tellData(const Bytes& bytes) {
  {
    SegmentView view(kFromDeviceSegment);
    iOSAppCommonDataSlot& slot = view.record<iOSAppCommonDataList>().slot[0];
    std::memcpy(slot.data, bytes.data(), bytes.size());
    slot.size = static_cast<std::uint32_t>(bytes.size());
  }
  const iOSAppCommonDataNotify announcement = {1, 1, 0};
  vqfake::post(3, &announcement, sizeof(announcement));
  vqfake::deliverAll();
}

void tellSendResult(std::uint32_t result) {
  iosapp_def_::ConnectStatusNotify message = statusMessage(iosapp_def_::NOTIFYID_SENDRESULT, 1);
  message.appId = 1;
  message.sendResult = result;
  tell(message);
}

// An explicit instantiation may name private members: each one here hands its member's address to a function that is
// found by its tag.
template <class Tag, typename Tag::Member kMember>
struct Opened {
  friend typename Tag::Member memberOf(Tag /*tag*/) { return kMember; }
};

struct Client {
  using Member = iOSAppCommonClient* LinkAppiOSWrapper::*;
  friend Member memberOf(Client tag);
};

struct Observer {
  using Member = VQObserver<LinkAppiOSWrapper>* LinkAppiOSWrapper::*;
  friend Member memberOf(Observer tag);
};

template struct Opened<Client, &LinkAppiOSWrapper::client>;
template struct Opened<Observer, &LinkAppiOSWrapper::observer>;

// Whether the wrapper listened to its client. It does not any more.
bool takeOffItsClient(LinkAppiOSWrapper& wrapper) {
  return (wrapper.*memberOf(Client()))->RemoveObserver(wrapper.*memberOf(Observer()));
}

TEST_F(WrapperConstruction, RegistersTheAppWithEachTextInItsField) {
  const LinkAppiOSWrapper sut("Radio", "com.radio", "radio://");
  SegmentView view(kAppInfoSegment);
  const auto& table = view.record<iOSAppInfoList>();
  EXPECT_EQ(table.count, 1U);
  EXPECT_STREQ(table.entry[0].appName, "Radio");
  EXPECT_STREQ(table.entry[0].iAP1Name, "com.radio");
  EXPECT_STREQ(table.entry[0].launchString, "radio://");
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(WrapperConstruction, OpensTheChannelOnce) {
  const LinkAppiOSWrapper sut("Radio", "com.radio", "radio://");
  EXPECT_THAT(vqfake::registrations(), ElementsAre(ElementsAre(4U), ElementsAre(5U), ElementsAre(2U), ElementsAre(3U)));
}

TEST_F(WrapperConstruction, WithoutAnAppNameRegistersNothingEvenWithAnIap1Name) {
  LinkAppiOSWrapper sut("", "com.radio", "radio://");
  SegmentView view(kAppInfoSegment);
  EXPECT_EQ(view.record<iOSAppInfoList>().count, 0U);
  tellConnected();
  EXPECT_EQ(sut.requestLaunch(1, LinkAppiOSWrapper::APPLAUNCHMETHOD_WITHOUT_ALERT), 0U);
}

TEST_F(WrapperConstruction, LeavesTheLogFlagAt0ForEveryAppName) {
  EXPECT_EQ(wrapLog_, 0);
  for (const char* name : {"", "Radio", "LinkAppiOSWrapper"}) {
    const LinkAppiOSWrapper sut(name, name, name);
    EXPECT_EQ(wrapLog_, 0) << name;
  }
}

TEST_F(WrapperConstruction, IsFollowedByADestructionThatTakesEverythingBackAndCallsNobody) {
  WrapperListener listener;
  {
    LinkAppiOSWrapper sut("Radio", "com.radio", "radio://");
    sut.setListener(&listener);
  }
  EXPECT_THAT(vqfake::registrations(), IsEmpty());
  tellConnected();
  EXPECT_EQ(listener.count(), 0U);
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(WrapperConstruction, OfAWrapperThatNeverGetsAListenerIsHarmless) {
  const LinkAppiOSWrapper sut("Radio", "com.radio", "radio://");
  connectAndOpenSession();
  tellSendResult(1);
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(Wrapper, ANullListenerIsRefusedWithALineAndNoChange) {
  WrapperListener listener;
  sut->setListener(&listener);
  EXPECT_FALSE(sut->setListener(nullptr));
  EXPECT_THAT(vqfake::log(), ElementsAre(nullListenerLine("setListener")));
  tellConnected();
  EXPECT_EQ(listener.count(), 1U);
}

TEST_F(Wrapper, ANullListenerIsRefusedAsTheFirstOneTooAndTheNextIsCalledOnce) {
  EXPECT_FALSE(sut->setListener(nullptr));
  WrapperListener listener;
  EXPECT_TRUE(sut->setListener(&listener));
  tellConnected();
  EXPECT_EQ(listener.count(), 1U);
}

TEST_F(Wrapper, RemovingANullListenerIsRefusedWithALineAndNoChange) {
  WrapperListener listener;
  sut->setListener(&listener);
  EXPECT_FALSE(sut->removeListener(nullptr));
  EXPECT_THAT(vqfake::log(), ElementsAre(nullListenerLine("removeListener")));
  tellConnected();
  EXPECT_EQ(listener.count(), 1U);
}

TEST_F(Wrapper, RemovingANullListenerWhereThereIsNoneIsRefusedWithTheSameLine) {
  EXPECT_FALSE(sut->removeListener(nullptr));
  EXPECT_THAT(vqfake::log(), ElementsAre(nullListenerLine("removeListener")));
}

TEST_F(Wrapper, SettingAListenerTwiceReturnsTrueAndCallsItOncePerNotification) {
  WrapperListener listener;
  EXPECT_TRUE(sut->setListener(&listener));
  EXPECT_TRUE(sut->setListener(&listener));
  tellConnected();
  EXPECT_EQ(listener.count(), 1U);
  EXPECT_TRUE(sut->removeListener(&listener)) << "one removal is enough";
  EXPECT_FALSE(sut->removeListener(&listener));
  tellConnected();
  EXPECT_EQ(listener.count(), 1U);
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(Wrapper, RemovingAnUnknownListenerReturnsFalseSilentlyAndLeavesTheOthers) {
  WrapperListener listener;
  WrapperListener unknown;
  sut->setListener(&listener);
  EXPECT_FALSE(sut->removeListener(&unknown));
  tellConnected();
  EXPECT_EQ(listener.count(), 1U);
  EXPECT_EQ(unknown.count(), 0U);
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(Wrapper, WithoutItsLastListenerItListensToItsClientNoMore) {
  WrapperListener first;
  WrapperListener second;
  sut->setListener(&first);
  sut->setListener(&second);
  sut->removeListener(&first);
  sut->removeListener(&second);
  EXPECT_FALSE(takeOffItsClient(*sut));
}

TEST_F(Wrapper, ListensToItsClientWhileOneOfTwoListenersIsLeft) {
  WrapperListener first;
  WrapperListener second;
  sut->setListener(&first);
  sut->setListener(&second);
  sut->removeListener(&first);
  EXPECT_TRUE(takeOffItsClient(*sut));
}

TEST_F(Wrapper, RemovingFromAnEmptySetReturnsFalseAndTheNextListenerIsCalledOnce) {
  WrapperListener listener;
  EXPECT_FALSE(sut->removeListener(&listener));
  sut->setListener(&listener);
  tellConnected();
  EXPECT_EQ(listener.count(), 1U);
}

TEST_F(Wrapper, ListenersAreCalledInAscendingOrderOfTheirAddresses) {
  WrapperListener listeners[4];
  std::vector<int> order;
  for (int i = 0; i < 4; ++i) {
    listeners[i].during = [&order, i] { order.push_back(i); };
  }
  for (const int i : {2, 0, 3, 1}) {
    sut->setListener(&listeners[i]);
  }
  connectAndOpenSession();
  sut->requestLaunch(1, LinkAppiOSWrapper::APPLAUNCHMETHOD_WITHOUT_ALERT);
  tellSendResult(1);
  tellData(patternOf(1));
  EXPECT_THAT(order, ElementsAre(0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3, 0, 1, 2, 3)) << "for each kind of record";
}

TEST_F(Wrapper, OneNotificationGivesAllListenersTheSameRecord) {
  WrapperListener listeners[3];
  for (WrapperListener& listener : listeners) {
    sut->setListener(&listener);
  }
  tellConnected();
  ASSERT_EQ(listeners[0].count(), 1U);
  EXPECT_EQ(listeners[1].records, listeners[0].records);
  EXPECT_EQ(listeners[2].records, listeners[0].records);
}

TEST_F(Wrapper, HearsNothingBeforeTheFirstListenerAndDoesNotReportItLater) {
  tellConnected();
  WrapperListener listener;
  sut->setListener(&listener);
  EXPECT_EQ(listener.count(), 0U);
  tell(sessionMessage(1, 1, 1));
  EXPECT_EQ(listener.count(), 1U);
}

TEST_F(Wrapper, TheLastRemovalEndsTheNotificationsAndANewListenerStartsThemOncePerMessage) {
  WrapperListener first;
  WrapperListener second;
  for (unsigned int round = 1; round <= 3; ++round) {
    sut->setListener(&first);
    sut->setListener(&second);
    sut->removeListener(&first);
    tellConnected();
    EXPECT_EQ(second.count(), round) << "called once while one of two is left";
    sut->removeListener(&second);
    tellConnected();
    EXPECT_EQ(second.count(), round);
  }
  EXPECT_EQ(first.count(), 0U);
}

TEST_F(Wrapper, TheDefaultListenerTakesEveryRecordAndDoesNothing) {
  LinkAppiOSWrapperListener listener;
  sut->setListener(&listener);
  connectAndOpenSession();
  sut->requestLaunch(1, LinkAppiOSWrapper::APPLAUNCHMETHOD_WITHOUT_ALERT);
  PostedSince posted;
  tellSendResult(1);
  tellData(patternOf(1));
  EXPECT_THAT(posted.messages(), SizeIs(2)) << "the test's own two";
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(Wrapper, AConnectionArrivesAsADeviceRecord) {
  WrapperListener listener;
  sut->setListener(&listener);
  tellConnected();
  tell(connectMessage(1, 1, 1, 1));
  tell(sessionMessage(1, 1, 1));
  tell(connectMessage(1, 0));
  EXPECT_THAT(listener.devices, ElementsAre(kConnectedOverUsb, "1 00:00:00:00:00:00 spp 1 [Radio] usb 0 [] iap 2",
                                            "1 00:00:00:00:00:00 spp 2 [Radio] usb 0 [] iap 2",
                                            "1 00:00:00:00:00:00 spp 0 [] usb 0 [Radio] iap 1"));
}

TEST_F(Wrapper, ASendResultArrivesWithTheAppsName) {
  WrapperListener listener;
  connectAndOpenSession();
  sut->requestLaunch(1, LinkAppiOSWrapper::APPLAUNCHMETHOD_WITHOUT_ALERT);
  sut->setListener(&listener);
  tellSendResult(1);
  tellSendResult(0);
  ASSERT_THAT(listener.results, SizeIs(2));
  EXPECT_EQ(listener.results[0].uuid, "Radio");
  EXPECT_EQ(listener.results[0].result, 0U);
  EXPECT_EQ(listener.results[1].uuid, "Radio");
  EXPECT_EQ(listener.results[1].result, 1U);
}

TEST_F(Wrapper, DataOfThePhoneAppArrivesWithTheAppsName) {
  WrapperListener listener;
  Bytes received;
  listener.during = [&] {
    const LinkAppiOSWrapperListener::ReceivedMsg& message = listener.messages.back();
    received.assign(message.data, message.data + message.size);
  };
  connectAndOpenSession();
  sut->requestLaunch(1, LinkAppiOSWrapper::APPLAUNCHMETHOD_WITHOUT_ALERT);
  sut->setListener(&listener);
  tellData(patternOf(100));
  ASSERT_THAT(listener.messages, SizeIs(1));
  EXPECT_EQ(listener.messages[0].uuid, "Radio");
  EXPECT_EQ(received, patternOf(100));
}

TEST(WrapperListenerInterface, HasItsOperationsBehindTheDestructorInTheirOrder) {
  EXPECT_EQ(virtualSlot(&LinkAppiOSWrapperListener::oniOSClientDeviceInfo), 2U) << "a destructor takes two";
  EXPECT_EQ(virtualSlot(&LinkAppiOSWrapperListener::oniOSClientSendResult), 3U);
  EXPECT_EQ(virtualSlot(&LinkAppiOSWrapperListener::oniOSClientReceivedMsg), 4U);
}

TEST(WrapperRecords, HaveTheirFieldsInTheOrderOfTheInterface) {
  const LinkAppiOSWrapperListener::DeviceInfo info = {1, "address", 2, "spp", 3, "usb", 4};
  EXPECT_EQ(describe(info), "1 address spp 2 [spp] usb 3 [usb] iap 4");
  const LinkAppiOSWrapperListener::SendResult result = {"name", 5};
  EXPECT_EQ(result.uuid, "name");
  EXPECT_EQ(result.result, 5U);
  const std::uint8_t byte = 1;
  const LinkAppiOSWrapperListener::ReceivedMsg message = {"name", &byte, 6};
  EXPECT_EQ(message.uuid, "name");
  EXPECT_EQ(message.data, &byte);
  EXPECT_EQ(message.size, 6U);
}

TEST_F(Wrapper, TextsAndDeviceIdAreCopiedAndTheHandsFreeStateIsNot) {
  WrapperListener listener;
  sut->setListener(&listener);
  iOSAppCommonClient::DeviceInfo info;
  info.deviceId = 255;
  info.btAddress = "any text";
  info.btSppStatus = 2;
  info.btSppName = "over Bluetooth";
  info.usbStatus = 1;
  info.usbName = "over USB";
  info.iapVersion = 2;
  info.hfpConnected = 1;
  EXPECT_EQ(sut->oniOSClientUpdate(0, &info, 32), 0U);
  EXPECT_THAT(listener.devices, ElementsAre("255 any text spp 2 [over Bluetooth] usb 1 [over USB] iap 2"));
}

TEST_F(Wrapper, ADeviceRecordIsACopyThatListenersMayChange) {
  WrapperListener first;
  first.during = [&first] {
    auto* const record = static_cast<LinkAppiOSWrapperListener::DeviceInfo*>(first.records.back());
    record->btAddress = "changed";
    record->usbStatus = 9;
  };
  sut->setListener(&first);
  iOSAppCommonClient::DeviceInfo info;
  info.btAddress = "00:00:00:00:00:00";
  info.usbStatus = 1;
  sut->oniOSClientUpdate(0, &info, 32);
  EXPECT_EQ(info.btAddress, "00:00:00:00:00:00");
  EXPECT_EQ(info.usbStatus, 1U);
}

TEST_F(Wrapper, EveryStatusAndIapVersionBut1And2ArrivesAs0) {
  WrapperListener listener;
  sut->setListener(&listener);
  for (const std::uint32_t value : {0U, 1U, 2U, 3U, 7U, 0xFFFFFFFFU}) {
    const std::string expected = std::to_string(value == 1 || value == 2 ? value : 0);
    iOSAppCommonClient::DeviceInfo info;
    info.btSppStatus = value;
    EXPECT_EQ(sut->oniOSClientUpdate(0, &info, 32), 0U);
    EXPECT_EQ(listener.devices.back(), "0  spp " + expected + " [] usb 0 [] iap 0");
    info = {};
    info.usbStatus = value;
    EXPECT_EQ(sut->oniOSClientUpdate(0, &info, 32), 0U);
    EXPECT_EQ(listener.devices.back(), "0  spp 0 [] usb " + expected + " [] iap 0");
    info = {};
    info.iapVersion = value;
    EXPECT_EQ(sut->oniOSClientUpdate(0, &info, 32), 0U);
    EXPECT_EQ(listener.devices.back(), "0  spp 0 [] usb 0 [] iap " + expected);
  }
  EXPECT_EQ(listener.count(), 18U);
}

TEST_F(Wrapper, ASendResultOf1ArrivesAs0AndEveryOtherAs1) {
  WrapperListener listener;
  sut->setListener(&listener);
  SendResultInfo info;
  info.deviceId = 9;
  info.appId = 8;
  info.appName = "any name";
  for (const std::uint32_t value : {1U, 0U, 2U, 3U, 7U, 0xFFFFFFFFU}) {
    info.result = static_cast<iosapp_def_::SendResult>(value);
    EXPECT_EQ(sut->oniOSClientUpdate(1, &info, 16), 0U);
    ASSERT_FALSE(listener.results.empty());
    EXPECT_EQ(listener.results.back().uuid, "any name");
    EXPECT_EQ(listener.results.back().result, value == 1 ? 0U : 1U) << value;
  }
  EXPECT_EQ(listener.count(), 6U);
}

TEST_F(Wrapper, ReceivedDataKeepsPointerAndCountWhateverTheyAre) {
  WrapperListener listener;
  sut->setListener(&listener);
  std::uint8_t bytes[3] = {1, 2, 3};
  CommData data;
  data.deviceId = 9;
  data.sessionId = 7;
  data.appName = "any name";
  const std::pair<std::uint8_t*, std::uint32_t> cases[] = {{bytes, 3}, {nullptr, 3}, {bytes, 0}, {bytes, 0xFFFFFFFF}};
  for (const auto& [pointer, size] : cases) {
    data.data = pointer;
    data.size = size;
    EXPECT_EQ(sut->oniOSClientUpdate(2, &data, 20), 0U);
    ASSERT_FALSE(listener.messages.empty());
    EXPECT_EQ(listener.messages.back().uuid, "any name");
    EXPECT_EQ(listener.messages.back().data, pointer);
    EXPECT_EQ(listener.messages.back().size, size);
  }
  EXPECT_EQ(listener.count(), 4U);
}

TEST_F(Wrapper, ANotificationOfSize0OrWithoutDataIsDroppedSilently) {
  WrapperListener listener;
  sut->setListener(&listener);
  iOSAppCommonClient::DeviceInfo info;
  SendResultInfo result;
  CommData data;
  void* const records[] = {&info, &result, &data};
  for (unsigned int id = 0; id < 3; ++id) {
    EXPECT_EQ(sut->oniOSClientUpdate(id, records[id], 0), 0U);
    EXPECT_EQ(sut->oniOSClientUpdate(id, nullptr, 32), 0U);
    EXPECT_EQ(sut->oniOSClientUpdate(id, nullptr, 0), 0U);
  }
  EXPECT_EQ(listener.count(), 0U);
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(Wrapper, EverySizeBut0IsAsGoodAsAnother) {
  WrapperListener listener;
  sut->setListener(&listener);
  iOSAppCommonClient::DeviceInfo info;
  SendResultInfo result;
  CommData data;
  void* const records[] = {&info, &result, &data};
  for (unsigned int id = 0; id < 3; ++id) {
    for (const unsigned int size : {1U, 0xFFFFFFFFU}) {
      EXPECT_EQ(sut->oniOSClientUpdate(id, records[id], size), 0U);
    }
  }
  EXPECT_THAT(listener.devices, SizeIs(2));
  EXPECT_THAT(listener.results, SizeIs(2));
  EXPECT_THAT(listener.messages, SizeIs(2));
}

TEST_F(Wrapper, ForeignIdsAreIgnored) {
  WrapperListener listener;
  sut->setListener(&listener);
  iOSAppCommonClient::DeviceInfo info;
  for (const std::uint32_t id : kForeignIds) {
    EXPECT_EQ(sut->oniOSClientUpdate(id, &info, 32), 0U);
  }
  tell(statusMessage(iosapp_def_::NOTIFYID_PLAYBACKAPPINFO, 1));
  EXPECT_EQ(listener.count(), 0U);
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(Wrapper, LaunchesWithMethod1ForMethod1AndWithMethod0ForEveryOther) {
  tellConnected();
  for (const std::uint32_t method : {0U, 1U, 2U, 3U, 7U, 0xFFFFFFFFU}) {
    PostedSince posted;
    EXPECT_EQ(sut->requestLaunch(1, static_cast<LinkAppiOSWrapper::AppLaunchMethod>(method)), 1U);
    const auto request = payloadAs<iosapp_def_::ConnectStatusNotify>(posted.single());
    EXPECT_EQ(request.notifyType, 0U);
    EXPECT_EQ(request.deviceId, 1U);
    EXPECT_EQ(request.appId, 1U);
    EXPECT_EQ(request.launchMethod, method == 1 ? 1U : 0U) << method;
  }
  EXPECT_THAT(vqfake::log(), IsEmpty());
}

TEST_F(Wrapper, ReturnsTheClientsRefusalOfALaunch) {
  PostedSince posted;
  EXPECT_EQ(sut->requestLaunch(1, LinkAppiOSWrapper::APPLAUNCHMETHOD_WITHOUT_ALERT), 0U);
  EXPECT_EQ(sut->requestLaunch(255, LinkAppiOSWrapper::APPLAUNCHMETHOD_WITHOUT_ALERT), 0U);
  EXPECT_THAT(vqfake::log(),
              ElementsAre(logLine(kClientFile, "launch", 0, 1, "##### Launch Error : DeviceId[1]] not connected.\n"),
                          logLine(kClientFile, "launch", 0, 1, "##### Launch Error : DeviceId[255]] is invalid.\n")));
  EXPECT_TRUE(posted.none());
}

TEST_F(Wrapper, ReturnsTheClientsSuccessWhereTheSessionIsOpenAlready) {
  connectAndOpenSession();
  PostedSince posted;
  EXPECT_EQ(sut->requestLaunch(1, LinkAppiOSWrapper::APPLAUNCHMETHOD_WITHOUT_ALERT), 1U);
  EXPECT_TRUE(posted.none());
}

TEST_F(Wrapper, AnEmptyLaunchStringMeansThatNothingIsRequested) {
  LinkAppiOSWrapper silent("Silent", "com.silent", "");
  tellConnected();
  PostedSince posted;
  EXPECT_EQ(silent.requestLaunch(1, LinkAppiOSWrapper::APPLAUNCHMETHOD_WITHOUT_ALERT), 1U);
  EXPECT_TRUE(posted.none());
}

TEST_F(Wrapper, SendsTheBytesAsTheyAre) {
  connectAndOpenSession();
  sut->requestLaunch(1, LinkAppiOSWrapper::APPLAUNCHMETHOD_WITHOUT_ALERT);
  PostedSince posted;
  EXPECT_EQ(sut->requestSendData(patternOf(4096).data(), 4096), 1U);
  const vqfake::Message message = posted.single();
  EXPECT_EQ(message.id, 2U);
  SegmentView view(kFromHuSegment);
  const iOSAppCommonDataSlot& slot = view.record<iOSAppCommonDataList>().slot[0];
  EXPECT_EQ(Bytes(slot.data, slot.data + 4096), patternOf(4096));
  EXPECT_EQ(slot.size, 4096U);
}

TEST_F(Wrapper, ReturnsTheClientsRefusalOfASendWithoutASession) {
  const std::uint8_t byte = 1;
  EXPECT_EQ(sut->requestSendData(&byte, 1), 0U);
  EXPECT_THAT(vqfake::log(), ElementsAre(logLine(kClientFile, "sendDataFromHU", 0, 1,
                                                 "##### Send Error : DeviceId[0]] not opened.\n")));
}

TEST_F(Wrapper, LeavesTheRefusalOfNullAndBadSizesToTheClient) {
  connectAndOpenSession();
  sut->requestLaunch(1, LinkAppiOSWrapper::APPLAUNCHMETHOD_WITHOUT_ALERT);
  const Bytes bytes = patternOf(4097);
  PostedSince posted;
  EXPECT_EQ(sut->requestSendData(nullptr, 3), 0U);
  EXPECT_EQ(sut->requestSendData(bytes.data(), 0), 0U);
  EXPECT_EQ(sut->requestSendData(bytes.data(), 4097), 0U);
  const auto refused = [](const std::string& size) {
    return logLine(kClientFile, "sendDataFromHU", 0, 1,
                   "##### Error set data from H/U : DevId[1] AppId[1] DataSize[" + size + "]\n");
  };
  EXPECT_THAT(vqfake::log(), ElementsAre(refused("3"), refused("0"), refused("4097")));
  EXPECT_TRUE(posted.none());
}

}  // namespace
