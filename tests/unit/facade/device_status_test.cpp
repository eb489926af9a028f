// VQSLinkAppDeviceStatus: its constructors, its listener, its sources, and its end.
#include "device_status_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

static_assert(sizeof(stsLog_) == 1, "read as one byte");

const SppInformation kList = listOf({entry(5, "Phone")});
const std::string kListReport = sppReport(5, "Phone", 1);
const std::string kIosReport = iosReport(1, 0, 1);

// With a wrapper whose app is the only one; no listener is set.
class DeviceStatus : public DeviceStatusTest {
 public:
  void SetUp() override {
    DeviceStatusTest::SetUp();
    wrapper.emplace("Radio", "com.radio", "radio://");
    vqfake::deliverAll();
    sut.emplace(&*wrapper, kService, "Radio");
    vqfake::clearBtCalls();
  }
  void TearDown() override {
    wrapper.reset();
    DeviceStatusTest::TearDown();
  }

  // What the listener is told when each source reports a device.
  Lines afterBothSources() {
    vqfake::notifyBtApps(kList);
    tellConnected();
    return events.take();
  }

  std::optional<LinkAppiOSWrapper> wrapper;
};

void expectFresh(const VQSLinkAppDeviceStatus& object) {
  EXPECT_EQ(device_status_access::lastSppInfo(object).header, 0);
  EXPECT_THAT(device_status_access::lastSppInfo(object).devices, IsEmpty());
  EXPECT_EQ(device_status_access::lastSppInfo(object).errorCode, 0);
  EXPECT_EQ(describe(device_status_access::lastConnectionState(object)), "255 [] 0");
  EXPECT_THAT(device_status_access::devices(object), IsEmpty());
}

TEST_F(DeviceStatus, StartsWithNothingKeptByEveryConstructor) {
  expectFresh(VQSLinkAppDeviceStatus("Radio"));
  expectFresh(VQSLinkAppDeviceStatus(&*wrapper, "Radio"));
  expectFresh(VQSLinkAppDeviceStatus(&*wrapper, kService, "Radio"));
}

TEST_F(DeviceStatus, TakesTheOneSppServiceAndAsksNothingOfIt) {
  sut.reset();
  VQSingleton<VQSBtApps>::destroy();
  sut.emplace("Radio");
  EXPECT_NE(VQSingleton<VQSBtApps>::peekInstance(), nullptr);
  EXPECT_THAT(vqfake::btCalls(), IsEmpty());
}

TEST_F(DeviceStatus, HearsNothingBeforeAListenerIsSet) {
  vqfake::notifyBtApps(kList);
  tellConnected();
  expectFresh(*sut);
  EXPECT_FALSE(wrapper->removeListener(&*sut));
}

TEST_F(DeviceStatus, LeavesTheLogFlagAt0WithEveryNameAndConstructor) {
  for (const char* name : {"", "Radio", "VQSLinkAppDeviceStatus"}) {
    EXPECT_EQ(stsLog_, 0);
    const VQSLinkAppDeviceStatus first(name);
    EXPECT_EQ(stsLog_, 0) << name;
    const VQSLinkAppDeviceStatus second(&*wrapper, name);
    EXPECT_EQ(stsLog_, 0) << name;
    const VQSLinkAppDeviceStatus third(&*wrapper, name, name);
    EXPECT_EQ(stsLog_, 0) << name;
  }
}

TEST_F(DeviceStatus, LeavesALogFlagThatIsSetAsItIs) {
  stsLog_ = 1;
  const VQSLinkAppDeviceStatus other("");
  EXPECT_EQ(stsLog_, 1);
}

TEST_F(DeviceStatus, WithoutAWrapperHearsTheSppServiceOnly) {
  sut.emplace("Radio");
  EXPECT_TRUE(sut->setListener(&events));
  EXPECT_THAT(afterBothSources(), ElementsAre(kListReport));
}

TEST_F(DeviceStatus, WithANullWrapperHearsTheSppServiceOnly) {
  sut.emplace(nullptr, kService, "Radio");
  EXPECT_TRUE(sut->setListener(&events));
  EXPECT_THAT(afterBothSources(), ElementsAre(kListReport));
  EXPECT_TRUE(sut->removeListener(&events));
}

TEST_F(DeviceStatus, AListenerThatOverridesNothingMayBeSet) {
  VQSLinkAppDeviceStatusListener silent;
  sut.emplace("Radio");
  ASSERT_TRUE(sut->setListener(&silent));
  EXPECT_THAT(afterBothSources(), IsEmpty());
  EXPECT_EQ(device_status_access::lastSppInfo(*sut).devices.size(), 1U);
}

TEST_F(DeviceStatus, WithAWrapperHearsBothSources) {
  sut.emplace(&*wrapper, "Radio");
  EXPECT_TRUE(sut->setListener(&events));
  EXPECT_THAT(afterBothSources(), ElementsAre(kListReport, kIosReport));
}

TEST_F(DeviceStatus, WithAWrapperAndAServiceHearsBothSources) {
  EXPECT_TRUE(sut->setListener(&events));
  EXPECT_THAT(afterBothSources(), ElementsAre(kListReport, kIosReport));
}

TEST_F(DeviceStatus, HearsOfEveryServiceWhateverItsOwnIs) {
  sut->setListener(&events);
  given(kList);
  EXPECT_THAT(after(connection(5, 1, kOtherService)), ElementsAre(sppReport(5, "Phone", 2, kOtherService)));
}

TEST_F(DeviceStatus, HasItsVirtualOperationsInTheirPlaces) {
  EXPECT_EQ(virtualSlot(&VQSLinkAppDeviceStatus::oniOSClientDeviceInfo), 2U);
  EXPECT_EQ(virtualSlot(&VQSLinkAppDeviceStatus::oniOSClientSendResult), 3U);
  EXPECT_EQ(virtualSlot(&VQSLinkAppDeviceStatus::oniOSClientReceivedMsg), 4U);
  EXPECT_EQ(virtualSlot(&VQSLinkAppDeviceStatusListener::onDeviceStatus), 2U);
}

TEST_F(DeviceStatus, SettingAListenerAsksForTheListOnce) {
  EXPECT_TRUE(sut->setListener(&events));
  EXPECT_THAT(btCallLines(), ElementsAre("getSppInfomation"));
  EXPECT_THAT(events.lines, IsEmpty());
}

TEST_F(DeviceStatus, SettingAListenerSucceedsWhereTheListIsRefused) {
  vqfake::answerBt("getSppInfomation", false);
  EXPECT_TRUE(sut->setListener(&events));
  EXPECT_THAT(afterBothSources(), ElementsAre(kListReport, kIosReport));
}

TEST_F(DeviceStatus, AListThatIsAnsweredAtOnceReachesTheListenerThatIsBeingSet) {
  vqfake::onBtCall("getSppInfomation", [] { vqfake::notifyBtApps(kList); });
  EXPECT_TRUE(sut->setListener(&events));
  EXPECT_THAT(events.take(), ElementsAre(kListReport));
}

TEST_F(DeviceStatus, AListThatIsAnsweredAtOnceReachesTheNewListenerAndNotTheFormerOne) {
  StatusEvents former;
  sut->setListener(&former);
  vqfake::onBtCall("getSppInfomation", [] { vqfake::notifyBtApps(kList); });
  EXPECT_TRUE(sut->setListener(&events));
  EXPECT_THAT(events.take(), ElementsAre(kListReport));
  EXPECT_THAT(former.take(), IsEmpty());
}

TEST_F(DeviceStatus, ListensToTheWrapperBeforeItAsksForTheList) {
  vqfake::onBtCall("getSppInfomation", [] { tellConnected(); });
  EXPECT_TRUE(sut->setListener(&events));
  EXPECT_THAT(events.take(), ElementsAre(kIosReport));
}

TEST_F(DeviceStatus, AListenerThatIsSetTwiceIsCalledOnce) {
  EXPECT_TRUE(sut->setListener(&events));
  EXPECT_TRUE(sut->setListener(&events));
  EXPECT_THAT(btCallLines(), ElementsAre("getSppInfomation", "getSppInfomation"));
  EXPECT_THAT(afterBothSources(), ElementsAre(kListReport, kIosReport));
}

TEST_F(DeviceStatus, ASecondListenerTakesThePlaceOfTheFirst) {
  StatusEvents former;
  sut->setListener(&former);
  EXPECT_TRUE(sut->setListener(&events));
  EXPECT_THAT(afterBothSources(), ElementsAre(kListReport, kIosReport));
  EXPECT_THAT(former.take(), IsEmpty());
}

TEST_F(DeviceStatus, ANullListenerSubscribesAllTheSame) {
  EXPECT_TRUE(sut->setListener(nullptr));
  EXPECT_THAT(btCallLines(), ElementsAre("getSppInfomation"));
  EXPECT_THAT(afterBothSources(), IsEmpty());
  EXPECT_THAT(storedList(), ElementsAre(describe(entry(5, "Phone"))));
  EXPECT_THAT(storedDevices(), ElementsAre(kIosReport));
}

TEST_F(DeviceStatus, ANullListenerTakesThePlaceOfAnother) {
  sut->setListener(&events);
  EXPECT_TRUE(sut->setListener(nullptr));
  EXPECT_THAT(afterBothSources(), IsEmpty());
  EXPECT_THAT(storedList(), ElementsAre(describe(entry(5, "Phone"))));
}

TEST_F(DeviceStatus, AListenerThatIsSetLateHearsOnlyOfChanges) {
  sut->setListener(nullptr);
  afterBothSources();
  EXPECT_TRUE(sut->setListener(&events));
  EXPECT_THAT(afterBothSources(), IsEmpty());
  EXPECT_THAT(after(listOf({})), ElementsAre(sppReport(5, "Phone", 0)));
}

TEST_F(DeviceStatus, RemovingTheListenerLeavesBothSources) {
  sut->setListener(&events);
  EXPECT_TRUE(sut->removeListener(&events));
  EXPECT_THAT(afterBothSources(), IsEmpty());
  expectFresh(*sut);
  EXPECT_FALSE(wrapper->removeListener(&*sut));
}

TEST_F(DeviceStatus, ARemovedListenerIsNotCalledForNoticesThatComeAllTheSame) {
  sut->setListener(&events);
  sut->removeListener(&events);
  SppInformation list = kList;
  sut->analyzeBtAppsSppInfo(&list, 1);
  EXPECT_THAT(after(iosRecord(1, 1, 0)), IsEmpty());
}

TEST_F(DeviceStatus, RemovingAForeignListenerLeavesBothSourcesButKeepsTheListener) {
  StatusEvents foreign;
  sut->setListener(&events);
  EXPECT_TRUE(sut->removeListener(&foreign));
  EXPECT_THAT(afterBothSources(), IsEmpty());
  EXPECT_FALSE(wrapper->removeListener(&*sut));
  SppInformation list = kList;
  sut->analyzeBtAppsSppInfo(&list, 1);
  EXPECT_THAT(events.take(), ElementsAre(kListReport));
  EXPECT_THAT(foreign.take(), IsEmpty());
}

TEST_F(DeviceStatus, RemovingANullListenerLeavesBothSourcesButKeepsTheListener) {
  sut->setListener(&events);
  EXPECT_TRUE(sut->removeListener(nullptr));
  EXPECT_THAT(afterBothSources(), IsEmpty());
  EXPECT_FALSE(wrapper->removeListener(&*sut));
  EXPECT_THAT(after(iosRecord(1, 1, 0)), ElementsAre(iosReport(1, 1, 0)));
}

TEST_F(DeviceStatus, RemovingAListenerThatWasNeverSetSucceeds) {
  EXPECT_TRUE(sut->removeListener(&events));
  EXPECT_TRUE(sut->removeListener(nullptr));
  EXPECT_THAT(vqfake::btCalls(), IsEmpty());
}

TEST_F(DeviceStatus, RemovingAListenerTwiceSucceeds) {
  sut->setListener(&events);
  EXPECT_TRUE(sut->removeListener(&events));
  EXPECT_TRUE(sut->removeListener(&events));
  EXPECT_THAT(afterBothSources(), IsEmpty());
}

TEST_F(DeviceStatus, RemovingTheListenerAsksNothingOfTheSppService) {
  sut->setListener(&events);
  vqfake::clearBtCalls();
  sut->removeListener(&events);
  EXPECT_THAT(vqfake::btCalls(), IsEmpty());
}

TEST_F(DeviceStatus, RemovingTheListenerLeavesTheWrappersOtherListeners) {
  WrapperListener other;
  wrapper->setListener(&other);
  sut->setListener(&events);
  sut->removeListener(&events);
  tellConnected();
  EXPECT_EQ(other.count(), 1U);
  wrapper->removeListener(&other);
}

TEST_F(DeviceStatus, AListenerThatComesBackIsCalledOnceAndComparedWithWhatWasKept) {
  sut->setListener(&events);
  given(kList);
  given(connection(5, 1));
  tellConnected();
  sut->removeListener(&events);
  events.take();
  EXPECT_TRUE(sut->setListener(&events));
  EXPECT_THAT(afterBothSources(), IsEmpty());
  EXPECT_THAT(after(connection(5, 1)), IsEmpty());
  EXPECT_THAT(after(connection(5, 0)), ElementsAre(sppReport(5, "Phone", 1, kService)));
  EXPECT_THAT(after(listOf({entry(5, "Renamed")})), ElementsAre(sppReport(5, "Renamed", 1)));
}

TEST_F(DeviceStatus, TwoObjectsKeepTheirOwnListsAndListeners) {
  sut->setListener(&events);
  given(kList);
  VQSLinkAppDeviceStatus second("Maps");
  StatusEvents secondEvents;
  second.setListener(&secondEvents);
  EXPECT_THAT(after(kList), IsEmpty());
  EXPECT_THAT(secondEvents.take(), ElementsAre(kListReport));
}

TEST_F(DeviceStatus, ReturnsTheServicesAnswerToARequestForTheList) {
  EXPECT_TRUE(sut->getBtDeviceInfo());
  vqfake::answerBt("getSppInfomation", false);
  EXPECT_FALSE(sut->getBtDeviceInfo());
  EXPECT_THAT(btCallLines(), ElementsAre("getSppInfomation", "getSppInfomation"));
}

TEST_F(DeviceStatus, GoesAwayWithoutAWordWhileItsListenerIsSet) {
  sut.emplace("Radio");
  sut->setListener(&events);
  vqfake::clearBtCalls();
  sut.reset();
  EXPECT_THAT(afterBothSources(), IsEmpty());
  EXPECT_THAT(vqfake::btCalls(), IsEmpty());
}

TEST_F(DeviceStatus, DoesNotCallTheWrapperWhenItGoesAway) {
  LinkAppiOSWrapperListener* const asListener = &*sut;
  sut->setListener(&events);
  sut.reset();
  EXPECT_TRUE(wrapper->removeListener(asListener)) << "it was still listening";
}

TEST_F(DeviceStatus, MayGoAwayAfterItsWrapper) {
  sut->setListener(&events);
  wrapper.reset();
  sut.reset();
  vqfake::notifyBtApps(kList);
  EXPECT_THAT(events.take(), IsEmpty());
}

TEST_F(DeviceStatus, MayOutliveTheSppService) {
  sut.emplace("Radio");
  sut->setListener(&events);
  VQSingleton<VQSBtApps>::destroy();
  sut.reset();
  EXPECT_EQ(VQSingleton<VQSBtApps>::peekInstance(), nullptr);
}

TEST_F(DeviceStatus, KeepsItsListenersRecordApartFromItsOwn) {
  class Scribbler : public VQSLinkAppDeviceStatusListener {
   public:
    void onDeviceStatus(DeviceInfo info) override {
      names.push_back(info.deviceName);
      info = DeviceInfo();
      info.btSpp.status = 7;
      info.iapVersion = 7;
    }
    Lines names;
  };
  Scribbler scribbler;
  sut->setListener(&scribbler);
  vqfake::notifyBtApps(listOf({entry(5, "Phone"), entry(6, "Tablet")}));
  EXPECT_THAT(scribbler.names, ElementsAre("Phone", "Tablet"));
  given(iosRecord(1, 1, 0));
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(1, 1, 0)));
}

TEST_F(DeviceStatus, IgnoresTheSendResultsAndMessagesOfTheWrapper) {
  sut->setListener(&events);
  LinkAppiOSWrapperListener::SendResult result;
  LinkAppiOSWrapperListener::ReceivedMsg message;
  LinkAppiOSWrapperListener& asListener = *sut;
  asListener.oniOSClientSendResult(&result);
  asListener.oniOSClientReceivedMsg(&message);
  EXPECT_THAT(events.take(), IsEmpty());
  expectFresh(*sut);
}

using DeviceStatusNotice = DeviceStatus;

TEST_F(DeviceStatusNotice, IsAnsweredByFalseInEveryCase) {
  SppInformation list = kList;
  SppConnectionState notice = connection(5, 1);
  sut->setListener(&events);
  EXPECT_FALSE(sut->onBtAppsUpdate(6, &list, 1));
  EXPECT_FALSE(sut->onBtAppsUpdate(3, &notice, 1));
  EXPECT_FALSE(sut->onBtAppsUpdate(6, nullptr, 1));
  EXPECT_FALSE(sut->onBtAppsUpdate(3, &notice, 0));
  EXPECT_FALSE(sut->onBtAppsUpdate(4, &notice, 1));
  EXPECT_THAT(events.take(), ElementsAre(kListReport, sppReport(5, "Phone", 2, kService)));
}

TEST_F(DeviceStatusNotice, WithoutARecordOrASizeIsIgnored) {
  SppInformation list = kList;
  SppConnectionState notice = connection(5, 1);
  sut->setListener(&events);
  for (const unsigned int id : {3U, 6U}) {
    sut->onBtAppsUpdate(id, nullptr, 1);
    sut->onBtAppsUpdate(id, nullptr, 0);
  }
  sut->onBtAppsUpdate(3, &notice, 0);
  sut->onBtAppsUpdate(6, &list, 0);
  EXPECT_THAT(events.take(), IsEmpty());
  expectFresh(*sut);
}

TEST_F(DeviceStatusNotice, WithAForeignIdentifierIsIgnored) {
  SppInformation list = kList;
  sut->setListener(&events);
  for (const unsigned int id : {0U, 1U, 2U, 4U, 5U, 7U, 12U, 0x106U, 0xFFFFFFFFU}) {
    EXPECT_FALSE(sut->onBtAppsUpdate(id, &list, 1)) << id;
  }
  EXPECT_THAT(events.take(), IsEmpty());
  expectFresh(*sut);
}

TEST_F(DeviceStatusNotice, OfDataAndOfSendResultsIsIgnored) {
  sut->setListener(&events);
  vqfake::notifyBtApps(VQSBtAppsNtf::SppReceivedData());
  vqfake::notifyBtApps(VQSBtAppsNtf::SppDataSendResult());
  EXPECT_THAT(events.take(), IsEmpty());
  expectFresh(*sut);
}

TEST_F(DeviceStatusNotice, MayHaveAnySizeButZero) {
  SppInformation list = kList;
  SppConnectionState notice = connection(5, 1);
  sut->setListener(&events);
  sut->onBtAppsUpdate(6, &list, 0xFFFFFFFF);
  sut->onBtAppsUpdate(3, &notice, 0xFFFFFFFF);
  EXPECT_THAT(events.take(), ElementsAre(kListReport, sppReport(5, "Phone", 2, kService)));
}

TEST_F(DeviceStatusNotice, IsAnalyzedWithoutALookAtItsSize) {
  SppInformation list = kList;
  sut->setListener(&events);
  sut->analyzeBtAppsSppInfo(&list, 0);
  EXPECT_THAT(events.take(), ElementsAre(kListReport));
}

TEST_F(DeviceStatusNotice, IsNotAnalyzedWithoutARecord) {
  sut->setListener(&events);
  sut->analyzeBtAppsSppInfo(nullptr, 1);
  sut->analyzeBtAppsConnectionState(nullptr);
  EXPECT_THAT(events.take(), IsEmpty());
  expectFresh(*sut);
}

TEST_F(DeviceStatusNotice, LeavesItsRecordAsItIs) {
  SppInformation list = listOf({entry(5, "Phone"), entry(6, "iPhone", 0x05AC)});
  SppConnectionState notice = connection(5, 1);
  sut->setListener(&events);
  sut->analyzeBtAppsSppInfo(&list, 1);
  sut->analyzeBtAppsConnectionState(&notice);
  EXPECT_THAT(describeAll(list.devices),
              ElementsAre(describe(entry(5, "Phone")), describe(entry(6, "iPhone", 0x05AC))));
  EXPECT_EQ(describe(notice), describe(connection(5, 1)));
}

}  // namespace
