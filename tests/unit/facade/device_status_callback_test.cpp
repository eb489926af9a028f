// What listeners of VQSLinkAppDeviceStatus may do while they are called, and what they find: they are called before
// anything is stored.
#include <memory>

#include "LinkAppCommon/LinkAppiOSPlaybackInfo.h"
#include "LinkAppCommon/VQSLinkAppOperator.h"
#include "device_status_fixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DeviceStatusCallback : public DeviceStatusTest {
 public:
  // Has the listener do it in its next call, and in no other.
  void inNextCall(std::function<void()> action) {
    events.during = [action = std::move(action), isDone = false]() mutable {
      if (!std::exchange(isDone, true)) {
        action();
      }
    };
  }

  void answerAtOnceWith(const SppInformation& list) {
    vqfake::onBtCall("getSppInfomation", [list] { vqfake::notifyBtApps(list); });
  }

  StatusEvents other;
};

const SppInformation kTwoDevices = listOf({entry(5, "Phone"), entry(9, "Tablet")});
const SppInformation kTwins = listOf({entry(5, "Phone"), entry(5, "Twin")});

using SppListCallback = DeviceStatusCallback;

TEST_F(SppListCallback, AListenerThatRemovesItselfHearsNoMoreOfTheListWhichIsStored) {
  events.during = [this] { EXPECT_TRUE(sut->removeListener(&events)); };
  EXPECT_THAT(after(kTwoDevices), ElementsAre(sppReport(5, "Phone", 1)));
  EXPECT_EQ(storedList(), describeAll(kTwoDevices.devices));
  EXPECT_THAT(after(listOf({})), IsEmpty());
  EXPECT_EQ(storedList(), describeAll(kTwoDevices.devices)) << "the service was left";
}

TEST_F(SppListCallback, AListenerThatRemovesAForeignOneHearsTheRestOfTheListOnly) {
  events.during = [this] { EXPECT_TRUE(sut->removeListener(&other)); };
  EXPECT_THAT(after(kTwoDevices), ElementsAre(sppReport(5, "Phone", 1), sppReport(9, "Tablet", 1)));
  EXPECT_THAT(after(listOf({})), IsEmpty());
}

TEST_F(SppListCallback, AListenerThatSetsAnotherLeavesTheRestToIt) {
  inNextCall([this] { EXPECT_TRUE(sut->setListener(&other)); });
  EXPECT_THAT(after(kTwoDevices), ElementsAre(sppReport(5, "Phone", 1)));
  EXPECT_THAT(other.take(), ElementsAre(sppReport(9, "Tablet", 1)));
}

TEST_F(SppListCallback, AListenerThatSetsNoneIsTheLastThatIsCalled) {
  inNextCall([this] { EXPECT_TRUE(sut->setListener(nullptr)); });
  EXPECT_THAT(after(kTwoDevices), ElementsAre(sppReport(5, "Phone", 1)));
  EXPECT_THAT(after(listOf({})), IsEmpty());
  EXPECT_THAT(storedList(), IsEmpty());
}

TEST_F(SppListCallback, AListenerThatSetsItselfAgainIsNotCalledTwice) {
  inNextCall([this] { EXPECT_TRUE(sut->setListener(&events)); });
  EXPECT_THAT(after(kTwoDevices), ElementsAre(sppReport(5, "Phone", 1), sppReport(9, "Tablet", 1)));
  EXPECT_THAT(after(kTwoDevices), IsEmpty());
}

TEST_F(SppListCallback, AListenerThatAsksAgainGetsTheListTwiceForItIsNotStoredYet) {
  answerAtOnceWith(kTwoDevices);
  inNextCall([this] { sut->getBtDeviceInfo(); });
  EXPECT_THAT(after(kTwoDevices), ElementsAre(sppReport(5, "Phone", 1), sppReport(5, "Phone", 1),
                                              sppReport(9, "Tablet", 1), sppReport(9, "Tablet", 1)));
}

TEST_F(SppListCallback, TheRestOfAListIsComparedWithAListThatCameMeanwhile) {
  given(listOf({entry(5, "OldPhone"), entry(9, "OldTablet")}));
  answerAtOnceWith(kTwoDevices);
  inNextCall([this] { sut->getBtDeviceInfo(); });
  EXPECT_THAT(after(kTwoDevices),
              ElementsAre(sppReport(5, "Phone", 1), sppReport(5, "Phone", 1), sppReport(9, "Tablet", 1)));
}

TEST_F(SppListCallback, EntriesThatLeftMeanwhileAreNotReportedGoneAgain) {
  given(kTwoDevices);
  answerAtOnceWith(listOf({}));
  inNextCall([this] { sut->getBtDeviceInfo(); });
  EXPECT_THAT(after(listOf({})),
              ElementsAre(sppReport(5, "Phone", 0), sppReport(5, "Phone", 0), sppReport(9, "Tablet", 0)));
}

TEST_F(SppListCallback, TheOuterListIsStoredLast) {
  answerAtOnceWith(listOf({entry(1, "Meanwhile")}));
  inNextCall([this] { sut->getBtDeviceInfo(); });
  given(kTwoDevices);
  EXPECT_EQ(storedList(), describeAll(kTwoDevices.devices));
}

TEST_F(SppListCallback, AConnectionThatComesMeanwhileIsLookedUpInTheFormerList) {
  given(listOf({entry(5, "OldPhone")}));
  inNextCall([] { vqfake::notifyBtApps(connection(5, 1)); });
  EXPECT_THAT(after(kTwoDevices),
              ElementsAre(sppReport(5, "Phone", 1), sppReport(5, "OldPhone", 2, kService), sppReport(9, "Tablet", 1)));
}

TEST_F(SppListCallback, AListenerMayDestroyAnotherDeviceStatus) {
  std::optional<VQSLinkAppDeviceStatus> doomed;
  doomed.emplace("Maps");
  doomed->setListener(&other);
  inNextCall([&doomed] { doomed.reset(); });
  EXPECT_THAT(after(kTwoDevices), ElementsAre(sppReport(5, "Phone", 1), sppReport(9, "Tablet", 1)));
  EXPECT_THAT(other.take(), IsEmpty()) << "it was to be called after this one";
}

TEST_F(SppListCallback, AListenerMayDestroyADeviceStatusThatWasCalledAlready) {
  sut.reset();
  std::optional<VQSLinkAppDeviceStatus> doomed;
  doomed.emplace("Maps");
  doomed->setListener(&other);
  sut.emplace("Radio");
  sut->setListener(&events);
  inNextCall([&doomed] { doomed.reset(); });
  EXPECT_THAT(after(kTwoDevices), ElementsAre(sppReport(5, "Phone", 1), sppReport(9, "Tablet", 1)));
  EXPECT_THAT(other.take(), ElementsAre(sppReport(5, "Phone", 1), sppReport(9, "Tablet", 1)));
}

TEST_F(SppListCallback, AListenerMayDestroyAWrapperAndAnOperator) {
  auto wrapper = std::make_unique<LinkAppiOSWrapper>("Radio", "", "radio://");
  auto linkOperator = std::make_unique<VQSLinkAppOperator>(kService);
  linkOperator->setStatusListener(&other);
  inNextCall([&] {
    wrapper.reset();
    linkOperator.reset();
  });
  EXPECT_THAT(after(kTwoDevices), ElementsAre(sppReport(5, "Phone", 1), sppReport(9, "Tablet", 1)));
  EXPECT_THAT(other.take(), IsEmpty());
}

class SppConnectionCallback : public DeviceStatusCallback {
 public:
  void SetUp() override {
    DeviceStatusCallback::SetUp();
    given(kTwins);
  }
};

const std::string kPhoneOpened = sppReport(5, "Phone", 2, kService);
const std::string kTwinOpened = sppReport(5, "Twin", 2, kService);

TEST_F(SppConnectionCallback, AListenerThatRemovesItselfHearsNoMoreOfTheNoticeWhichIsStored) {
  events.during = [this] { EXPECT_TRUE(sut->removeListener(&events)); };
  EXPECT_THAT(after(connection(5, 1)), ElementsAre(kPhoneOpened));
  EXPECT_EQ(storedNotice(), describe(connection(5, 1)));
}

TEST_F(SppConnectionCallback, AListenerThatSetsAnotherLeavesTheRestToIt) {
  inNextCall([this] { sut->setListener(&other); });
  EXPECT_THAT(after(connection(5, 1)), ElementsAre(kPhoneOpened));
  EXPECT_THAT(other.take(), ElementsAre(kTwinOpened));
}

TEST_F(SppConnectionCallback, TheSameNoticeMeanwhileIsReportedForItIsNotStoredYetAndTheRestIsARepeat) {
  inNextCall([] { vqfake::notifyBtApps(connection(5, 1)); });
  EXPECT_THAT(after(connection(5, 1)), ElementsAre(kPhoneOpened, kPhoneOpened, kTwinOpened));
}

TEST_F(SppConnectionCallback, AnotherNoticeMeanwhileIsReportedAndTheOuterOneIsStoredLast) {
  inNextCall([] { vqfake::notifyBtApps(connection(5, 2)); });
  EXPECT_THAT(after(connection(5, 1)), ElementsAre(kPhoneOpened, sppReport(5, "Phone", 1, kService),
                                                   sppReport(5, "Twin", 1, kService), kTwinOpened));
  EXPECT_EQ(storedNotice(), describe(connection(5, 1)));
}

TEST_F(SppConnectionCallback, TheSearchGoesOnInAListThatCameMeanwhile) {
  answerAtOnceWith(listOf({entry(5, "Phone"), entry(5, "Renamed")}));
  inNextCall([this] { sut->getBtDeviceInfo(); });
  EXPECT_THAT(after(connection(5, 1)),
              ElementsAre(kPhoneOpened, sppReport(5, "Renamed", 1), sppReport(5, "Renamed", 2, kService)));
}

TEST_F(SppConnectionCallback, TheSearchEndsWhereAListThatCameMeanwhileEnds) {
  answerAtOnceWith(listOf({}));
  inNextCall([this] { sut->getBtDeviceInfo(); });
  EXPECT_THAT(after(connection(5, 1)), ElementsAre(kPhoneOpened, sppReport(5, "Phone", 0), sppReport(5, "Twin", 0)));
}

TEST_F(SppConnectionCallback, TheSearchGoesNoFurtherThanTheListWasLongAtFirst) {
  answerAtOnceWith(listOf({entry(5, "Phone"), entry(6, "Other"), entry(5, "Third")}));
  inNextCall([this] { sut->getBtDeviceInfo(); });
  EXPECT_THAT(after(connection(5, 1)), ElementsAre(kPhoneOpened, sppReport(6, "Other", 1), sppReport(5, "Third", 1)));
}

TEST_F(SppConnectionCallback, AListenerMayDestroyAnotherDeviceStatus) {
  std::optional<VQSLinkAppDeviceStatus> doomed;
  doomed.emplace("Maps");
  doomed->setListener(&other);
  given(listOf({entry(5, "Phone"), entry(5, "Brother")}));
  other.take();
  inNextCall([&doomed] { doomed.reset(); });
  EXPECT_THAT(after(connection(5, 1)), ElementsAre(kPhoneOpened, sppReport(5, "Brother", 2, kService)));
  EXPECT_THAT(other.take(), IsEmpty());
}

using IosCallback = DeviceStatusCallback;

TEST_F(IosCallback, AListenerIsCalledBeforeTheDeviceIsListed) {
  inNextCall([this] { EXPECT_THAT(storedDevices(), IsEmpty()); });
  EXPECT_THAT(after(iosRecord(1, 1, 0)), ElementsAre(iosReport(1, 1, 0)));
  inNextCall([this] { EXPECT_THAT(storedDevices(), ElementsAre(iosReport(1, 1, 0))); });
  EXPECT_THAT(after(iosRecord(1, 2, 0)), ElementsAre(iosReport(1, 2, 0, 1, "SppApp")));
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(1, 2, 0)));
}

TEST_F(IosCallback, AListenerIsCalledBeforeTheDeviceIsForgotten) {
  given(iosRecord(1, 1, 0));
  inNextCall([this] { EXPECT_THAT(storedDevices(), ElementsAre(iosReport(1, 1, 0))); });
  EXPECT_THAT(after(iosRecord(1, 0, 0)), ElementsAre(iosReport(1, 0, 0)));
  EXPECT_THAT(storedDevices(), IsEmpty());
}

TEST_F(IosCallback, TheSameRecordMeanwhileIsReportedAgainAndTheDeviceIsListedOnce) {
  inNextCall([this] {
    IosRecord again = iosRecord(1, 1, 0);
    sut->oniOSClientDeviceInfo(&again);
  });
  EXPECT_THAT(after(iosRecord(1, 1, 0)), ElementsAre(iosReport(1, 1, 0), iosReport(1, 1, 0)));
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(1, 1, 0)));
}

TEST_F(IosCallback, ADeviceThatIsForgottenMeanwhileIsListedAsItWasReported) {
  given(iosRecord(1, 1, 0));
  inNextCall([this] {
    IosRecord gone = iosRecord(1, 0, 0);
    sut->oniOSClientDeviceInfo(&gone);
  });
  EXPECT_THAT(after(iosRecord(1, 2, 0)), ElementsAre(iosReport(1, 2, 0, 1, "SppApp"), iosReport(1, 0, 0)));
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(1, 2, 0, 1, "SppApp")));
}

TEST_F(IosCallback, ADeviceThatComesMeanwhileIsListedFirst) {
  inNextCall([this] {
    IosRecord another = iosRecord(2, 0, 1);
    sut->oniOSClientDeviceInfo(&another);
  });
  EXPECT_THAT(after(iosRecord(1, 1, 0)), ElementsAre(iosReport(1, 1, 0), iosReport(2, 0, 1)));
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(2, 0, 1), iosReport(1, 1, 0)));
}

TEST_F(IosCallback, AListenerThatRemovesItselfLeavesTheDeviceListed) {
  inNextCall([this] { EXPECT_TRUE(sut->removeListener(&events)); });
  EXPECT_THAT(after(iosRecord(1, 1, 0)), ElementsAre(iosReport(1, 1, 0)));
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(1, 1, 0)));
  EXPECT_THAT(after(iosRecord(1, 0, 0)), IsEmpty());
  EXPECT_THAT(storedDevices(), IsEmpty());
}

// Two objects on one wrapper, which calls the one at the lower address first.
class WrapperCallback : public DeviceStatusCallback {
 public:
  void SetUp() override {
    DeviceStatusCallback::SetUp();
    sut.reset();
    wrapper.emplace("Radio", "", "radio://");
    vqfake::deliverAll();
    for (std::optional<VQSLinkAppDeviceStatus>& object : row) {
      object.emplace(&*wrapper, "Radio");
    }
    row[0]->setListener(&events);
    row[1]->setListener(&other);
  }
  void TearDown() override {
    wrapper.reset();
    for (std::optional<VQSLinkAppDeviceStatus>& object : row) {
      object.reset();
    }
    DeviceStatusCallback::TearDown();
  }

  std::optional<LinkAppiOSWrapper> wrapper;
  std::optional<VQSLinkAppDeviceStatus> row[2];
};

const std::string kOverUsb = iosReport(1, 0, 1);

TEST_F(WrapperCallback, EveryObjectOfAWrapperReportsTheDevice) {
  tellConnected();
  EXPECT_THAT(events.take(), ElementsAre(kOverUsb));
  EXPECT_THAT(other.take(), ElementsAre(kOverUsb));
}

TEST_F(WrapperCallback, AListenerThatRemovesItselfHearsNothingMoreOfTheWrapper) {
  inNextCall([this] { EXPECT_TRUE(row[0]->removeListener(&events)); });
  tellConnected();
  tell(connectMessage(1, 0));
  EXPECT_THAT(events.take(), ElementsAre(kOverUsb));
  EXPECT_THAT(other.take(), ElementsAre(kOverUsb, iosReport(1, 0, 0)));
}

TEST_F(WrapperCallback, AListenerMayDestroyAnObjectOfTheSameWrapperThatIsStillToBeCalled) {
  inNextCall([this] {
    row[1]->removeListener(&other);
    row[1].reset();
  });
  tellConnected();
  EXPECT_THAT(events.take(), ElementsAre(kOverUsb));
  EXPECT_THAT(other.take(), IsEmpty());
}

TEST_F(WrapperCallback, AListenerMayDestroyAnObjectOfTheSameWrapperThatWasCalledAlready) {
  other.during = [this] {
    row[0]->removeListener(&events);
    row[0].reset();
  };
  tellConnected();
  other.during = {};
  tell(connectMessage(1, 0));
  EXPECT_THAT(events.take(), ElementsAre(kOverUsb));
  EXPECT_THAT(other.take(), ElementsAre(kOverUsb, iosReport(1, 0, 0)));
}

TEST_F(WrapperCallback, AListenerMayDestroyAnotherWrapperAndAPlaybackInfo) {
  auto second = std::make_unique<LinkAppiOSWrapper>("Maps", "", "maps://");
  auto playback = std::make_unique<LinkAppiOSPlaybackInfo>();
  vqfake::deliverAll();
  inNextCall([&] {
    second.reset();
    playback.reset();
  });
  tellConnected();
  EXPECT_THAT(events.take(), ElementsAre(kOverUsb));
  EXPECT_THAT(other.take(), ElementsAre(kOverUsb));
}

}  // namespace
