// LinkAppHfpWrapper: what reaches its listener from the Bluetooth manager and from the iOS channel.
#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "LinkAppCommon/LinkAppHfpWrapper.h"
#include "platform/fake/FakeBluetooth.h"
#include "tests/conformance/worker.h"
#include "tests/unit/LinkAppCommon/channel_fixture.h"

namespace {

using conformance::Gate;
using conformance::Worker;
using testing::ElementsAre;
using testing::IsEmpty;
using Status = LinkAppHfpWrapperListener::HfpStatus;

constexpr const char* kHfpFile = "LinkAppCommon/private/LinkAppHfpWrapper";
constexpr std::uint16_t kOther = 0x0075;
constexpr std::uint16_t kAppleUsb = 1452;
constexpr std::uint16_t kAppleBluetooth = 76;

class Listener : public LinkAppHfpWrapperListener {
 public:
  void onHfpStatus(HfpStatus status) override {
    heard.push_back((status.deviceKind == 1 ? "apple " : "other ") + std::to_string(status.deviceId) +
                    (status.connected ? " up" : " down"));
    if (during) {
      during();
    }
  }

  // What was heard since the last look.
  std::vector<std::string> take() {
    std::vector<std::string> taken;
    taken.swap(heard);
    return taken;
  }

  std::vector<std::string> heard;
  std::function<void()> during;
};

class HfpTest : public ChannelTest {
 protected:
  void SetUp() override {
    ChannelTest::SetUp();
    vqfake::resetBluetooth();
    sut = std::make_unique<LinkAppHfpWrapper>();
    sut->setListener(&listener);
  }
  void TearDown() override {
    sut.reset();
    ChannelTest::TearDown();
  }

  static VQSBtMgrDef::PairedDevice paired(std::uint8_t deviceId, std::uint16_t vendorId) {
    VQSBtMgrDef::PairedDevice device;
    device.deviceId = deviceId;
    device.vendorId = vendorId;
    return device;
  }

  static void pair(const std::vector<VQSBtMgrDef::PairedDevice>& devices) {
    VQSBtMgrDef::PairedDeviceList list;
    list.devices = devices;
    vqfake::notifyBtManager(list);
  }

  static void hfp(std::uint8_t deviceId, std::uint32_t state, std::uint32_t profile = 1) {
    VQSBtMgrDef::HfpConnection event;
    event.deviceId = deviceId;
    event.profile = profile;
    event.state = state;
    vqfake::notifyBtManager(event);
  }

  static void freeze(std::uint8_t frozen) {
    VQSBtMgrDef::PairedListFreeze notice;
    notice.frozen = frozen;
    vqfake::notifyBtManager(notice);
  }

  void info(std::uint8_t deviceId, std::uint32_t sppStatus, std::uint32_t hfpConnected = 0) {
    iOSAppCommonClient::DeviceInfo record;
    record.deviceId = deviceId;
    record.btSppStatus = sppStatus;
    record.hfpConnected = hfpConnected;
    EXPECT_EQ(sut->oniOSClientUpdate(0, &record, 32), 0U);
  }

  static void save(unsigned int deviceId) {
    vqfake::setSettingsText("BtSetting.ini", "LinkAppDevice=" + std::to_string(deviceId) + "\n");
  }

  // An Apple device with a hands-free link, saved as the one that is linked with the iPhone.
  static void pairSavedApple(std::uint8_t deviceId) {
    save(deviceId);
    pair({paired(deviceId, kAppleUsb)});
    hfp(deviceId, 3);
  }

  Listener listener;
  std::unique_ptr<LinkAppHfpWrapper> sut;
};

// Listener and subscriptions.

TEST_F(HfpTest, SetListenerOfNullIsRefusedWithTheLineThatEndsInN) {
  vqfake::clearLog();
  EXPECT_FALSE(sut->setListener(nullptr));
  EXPECT_THAT(vqfake::log(), ElementsAre(logLine(kHfpFile, "setListener", 0, 1, "Listener Pointer is NULL...n")));
  pair({paired(1, kOther)});
  hfp(1, 3);
  EXPECT_THAT(listener.take(), ElementsAre("other 1 up"));
}

TEST_F(HfpTest, AListenerThatOverridesNothingMayBeSet) {
  LinkAppHfpWrapperListener silent;
  ASSERT_TRUE(sut->setListener(&silent));
  pair({paired(1, kOther)});
  hfp(1, 3);
  EXPECT_THAT(listener.take(), IsEmpty());
  sut->setListener(&listener);
  hfp(1, 0);
  EXPECT_THAT(listener.take(), ElementsAre("other 1 down"));
}

TEST_F(HfpTest, RemoveListenerWithTheRightPointerReturnsFalseAndStopsAllFurtherReports) {
  vqfake::clearLog();
  EXPECT_FALSE(sut->removeListener(&listener));
  EXPECT_THAT(vqfake::log(), IsEmpty());
  pair({paired(1, kOther)});
  hfp(1, 3);
  const auto message = connectMessage(1, 1);
  vqfake::post(4, &message, sizeof(message));
  vqfake::deliverAll();
  EXPECT_THAT(listener.take(), IsEmpty());
}

TEST_F(HfpTest, RemoveListenerOfNullAndOfAForeignOneReturnFalseWithALineAndChangeNothing) {
  Listener other;
  vqfake::clearLog();
  EXPECT_FALSE(sut->removeListener(nullptr));
  EXPECT_FALSE(sut->removeListener(&other));
  const auto line = logLine(kHfpFile, "removeListener", 0, 1, "Listener Pointer is NULL or NOT match...\n");
  EXPECT_THAT(vqfake::log(), ElementsAre(line, line));
  pair({paired(1, kOther)});
  hfp(1, 3);
  EXPECT_THAT(listener.take(), ElementsAre("other 1 up"));
}

TEST_F(HfpTest, SetListenerReplacesTheFormerOneWithoutACheck) {
  Listener other;
  EXPECT_TRUE(sut->setListener(&other));
  pair({paired(1, kOther)});
  hfp(1, 3);
  EXPECT_THAT(listener.take(), IsEmpty());
  EXPECT_THAT(other.take(), ElementsAre("other 1 up"));
}

TEST_F(HfpTest, HearsNothingBeforeItHasAListener) {
  LinkAppHfpWrapper deaf;
  pair({paired(1, kOther)});
  hfp(1, 3);
  Listener late;
  deaf.setListener(&late);
  pair({paired(1, kOther)});
  EXPECT_THAT(late.take(), IsEmpty());  // the event passed before it listened
}

TEST_F(HfpTest, RegistersNoApp) {
  EXPECT_EQ(VQSingleton<iOSAppCommonUtil>::getInstance()->getiAP1AppCount(), 0);
  EXPECT_FALSE(VQSingleton<iOSAppCommonUtil>::getInstance()->isSupportediOSLinkAppSpotify());
}

TEST_F(HfpTest, ThatIsDestroyedWithoutRemoveListenerIsNotCalledAnyMore) {
  sut.reset();
  pair({paired(1, kOther)});
  hfp(1, 3);
  vqfake::deliverAll();
  EXPECT_THAT(listener.take(), IsEmpty());
}

// The Bluetooth manager's side.

TEST_F(HfpTest, APairedDeviceWithState3IsReportedOnceAndDownWithAnotherState) {
  pair({paired(4, kOther)});
  EXPECT_THAT(listener.take(), IsEmpty());
  hfp(4, 3);
  EXPECT_THAT(listener.take(), ElementsAre("other 4 up"));
  hfp(4, 3);
  EXPECT_THAT(listener.take(), IsEmpty());
  hfp(4, 2);
  EXPECT_THAT(listener.take(), ElementsAre("other 4 down"));
  hfp(4, 0);
  EXPECT_THAT(listener.take(), IsEmpty());
}

TEST_F(HfpTest, AnEventOfAnotherProfileIsIgnored) {
  pair({paired(4, kOther)});
  hfp(4, 3, 0);
  hfp(4, 3, 2);
  EXPECT_THAT(listener.take(), IsEmpty());
}

TEST_F(HfpTest, AnEventBeforeThePairedListCountsOnceTheListComes) {
  hfp(4, 3);
  EXPECT_THAT(listener.take(), IsEmpty());
  pair({paired(4, kOther)});
  EXPECT_THAT(listener.take(), ElementsAre("other 4 up"));
}

TEST_F(HfpTest, ADeviceThatLeavesThePairedListIsReportedDownAndUpAgainWhenItReturns) {
  pair({paired(4, kOther), paired(5, kOther)});
  hfp(4, 3);
  hfp(5, 3);
  listener.take();
  pair({paired(5, kOther)});
  EXPECT_THAT(listener.take(), ElementsAre("other 4 down"));
  pair({paired(4, kOther), paired(5, kOther)});
  EXPECT_THAT(listener.take(), ElementsAre("other 4 up"));
}

TEST_F(HfpTest, AnEmptyPairedListTakesAllReportedDevicesDownInTheOrderOfTheirReports) {
  pair({paired(4, kOther), paired(5, kOther)});
  hfp(5, 3);
  hfp(4, 3);
  listener.take();
  pair({});
  EXPECT_THAT(listener.take(), ElementsAre("other 5 down", "other 4 down"));
}

TEST_F(HfpTest, WhileThePairedListIsFrozenItIsNotTakenOver) {
  pair({paired(4, kOther)});
  hfp(4, 3);
  listener.take();
  freeze(2);  // any value but 0
  pair({});
  EXPECT_THAT(listener.take(), IsEmpty());
  freeze(0);
  EXPECT_THAT(listener.take(), IsEmpty());
  pair({});
  EXPECT_THAT(listener.take(), ElementsAre("other 4 down"));
}

TEST_F(HfpTest, APairedDeviceWithVendor76NeverReachesTheListenerThroughTheBluetoothPathAlone) {
  pair({paired(4, kAppleBluetooth)});
  hfp(4, 3);
  hfp(4, 0);
  EXPECT_THAT(listener.take(), IsEmpty());
}

TEST_F(HfpTest, APairedDeviceWithVendor1452NeverReachesTheListenerThroughTheBluetoothPathAlone) {
  pair({paired(4, kAppleUsb)});
  hfp(4, 3);
  hfp(4, 0);
  EXPECT_THAT(listener.take(), IsEmpty());
}

TEST_F(HfpTest, IgnoresNullEmptyAndForeignNoticesOfTheManager) {
  VQSBtMgrDef::HfpConnection event;
  event.deviceId = 4;
  event.profile = 1;
  event.state = 3;
  pair({paired(4, kOther)});
  EXPECT_EQ(sut->onBtMgrUpdate(15, nullptr, 16), 0U);
  EXPECT_EQ(sut->onBtMgrUpdate(15, &event, 0), 0U);
  EXPECT_EQ(sut->onBtMgrUpdate(14, &event, 16), 0U);
  EXPECT_THAT(listener.take(), IsEmpty());
  EXPECT_EQ(sut->onBtMgrUpdate(15, &event, 16), 0U);
  EXPECT_THAT(listener.take(), ElementsAre("other 4 up"));
}

TEST_F(HfpTest, ADeviceIsStoredAsReportedAfterTheListenerWasCalled) {
  pair({paired(4, kOther)});
  listener.during = [this] {
    listener.during = nullptr;
    hfp(4, 3);  // not stored yet: reported again
  };
  hfp(4, 3);
  EXPECT_THAT(listener.take(), ElementsAre("other 4 up", "other 4 up"));
  hfp(4, 3);
  EXPECT_THAT(listener.take(), IsEmpty());
}

TEST_F(HfpTest, ADeviceIsStoredAsGoneBeforeTheListenerIsCalled) {
  pair({paired(4, kOther)});
  hfp(4, 3);
  listener.take();
  listener.during = [this] {
    listener.during = nullptr;
    pair({});
  };
  pair({});
  EXPECT_THAT(listener.take(), ElementsAre("other 4 down"));
}

// iPhones without SPP.

TEST_F(HfpTest, AnIPhoneOverUsbIsReportedWhenItsHandsFreeLinkComesAndGoes) {
  info(1, 0, 0);
  EXPECT_THAT(listener.take(), IsEmpty());
  info(1, 0, 1);
  EXPECT_THAT(listener.take(), ElementsAre("apple 1 up"));
  info(1, 0, 1);
  EXPECT_THAT(listener.take(), IsEmpty());
  info(1, 0, 2);  // only 1 means connected
  EXPECT_THAT(listener.take(), ElementsAre("apple 1 down"));
  info(1, 0, 0);
  EXPECT_THAT(listener.take(), IsEmpty());
}

TEST_F(HfpTest, IPhonesOverUsbAreKeptApartByTheirNumbers) {
  info(1, 0, 1);
  info(2, 0, 1);
  info(1, 0, 0);
  info(2, 0, 1);
  EXPECT_THAT(listener.take(), ElementsAre("apple 1 up", "apple 2 up", "apple 1 down"));
}

TEST_F(HfpTest, AnIPhoneOverUsbIsForgottenAfterTheListenerWasCalled) {
  info(1, 0, 1);
  listener.take();
  listener.during = [this] {
    listener.during = nullptr;
    info(1, 0, 1);  // still in the list: nothing new
  };
  info(1, 0, 0);
  EXPECT_THAT(listener.take(), ElementsAre("apple 1 down"));
  info(1, 0, 1);
  EXPECT_THAT(listener.take(), ElementsAre("apple 1 up"));
}

TEST_F(HfpTest, IgnoresNullEmptyAndForeignNotificationsOfTheClient) {
  iOSAppCommonClient::DeviceInfo record;
  record.deviceId = 1;
  record.hfpConnected = 1;
  EXPECT_EQ(sut->oniOSClientUpdate(0, nullptr, 32), 0U);
  EXPECT_EQ(sut->oniOSClientUpdate(0, &record, 0), 0U);
  EXPECT_EQ(sut->oniOSClientUpdate(1, &record, 32), 0U);
  EXPECT_THAT(listener.take(), IsEmpty());
}

TEST_F(HfpTest, HearsTheHandsFreeLinkThroughTheChannel) {
  const auto connected = connectMessage(1, 1);
  vqfake::post(4, &connected, sizeof(connected));
  auto handsFree = statusMessage(iosapp_def_::NOTIFYID_BTHFSTATUS, 1);
  handsFree.btConnected = 1;
  vqfake::post(4, &handsFree, sizeof(handsFree));
  vqfake::deliverAll();
  EXPECT_THAT(listener.take(), ElementsAre("apple 1 up"));
}

// The iPhone that is linked over SPP.

TEST_F(HfpTest, TheSavedAppleDeviceIsReportedByTheNumberOfTheIPhone) {
  pairSavedApple(7);
  info(1, 1);
  EXPECT_THAT(listener.take(), ElementsAre("apple 1 up"));
}

TEST_F(HfpTest, TheOrderOfLinkAndHandsFreeEventDoesNotMatter) {
  save(7);
  info(1, 2);
  pair({paired(7, kAppleBluetooth)});
  EXPECT_THAT(listener.take(), IsEmpty());
  hfp(7, 3);
  EXPECT_THAT(listener.take(), ElementsAre("apple 1 up"));
  hfp(7, 0);
  EXPECT_THAT(listener.take(), ElementsAre("apple 1 down"));
}

TEST_F(HfpTest, AnAppleDeviceThatIsNotTheSavedOneIsNotReported) {
  save(8);
  pair({paired(7, kAppleUsb)});
  hfp(7, 3);
  info(1, 1);
  EXPECT_THAT(listener.take(), IsEmpty());
}

TEST_F(HfpTest, TheSavedNumberIsComparedAsEightBits) {
  save(256 + 7);
  pair({paired(7, kAppleUsb)});
  hfp(7, 3);
  info(1, 1);
  EXPECT_THAT(listener.take(), ElementsAre("apple 1 up"));
}

TEST_F(HfpTest, WithTheSettingMissingTheFirstCheckWrites255AndNoReportFollows) {
  pair({paired(7, kAppleUsb)});
  hfp(7, 3);
  EXPECT_EQ(vqfake::settingsFlushes("BtSetting.ini"), 0U);
  info(1, 1);
  EXPECT_THAT(listener.take(), IsEmpty());
  EXPECT_EQ(vqfake::settingsText("BtSetting.ini"), "LinkAppDevice=255\n");
  EXPECT_EQ(vqfake::settingsFlushes("BtSetting.ini"), 1U);
}

TEST_F(HfpTest, ASettingThatIsNoNumberIsRepairedAndOthersAreKept) {
  vqfake::setSettingsText("BtSetting.ini", "LinkAppDevice=nobody\nVolume=3\n");
  pair({paired(7, kAppleUsb)});
  hfp(7, 3);
  info(1, 1);
  EXPECT_THAT(listener.take(), IsEmpty());
  EXPECT_NE(vqfake::settingsText("BtSetting.ini").find("LinkAppDevice=255\n"), std::string::npos);
  EXPECT_NE(vqfake::settingsText("BtSetting.ini").find("Volume=3\n"), std::string::npos);
}

TEST_F(HfpTest, AnUnreadableSettingCountsAsNone) {
  save(7);
  vqfake::setSettingsReadable(false);
  pair({paired(7, kAppleUsb)});
  hfp(7, 3);
  info(1, 1);
  vqfake::setSettingsReadable(true);
  EXPECT_THAT(listener.take(), IsEmpty());
  EXPECT_EQ(vqfake::settingsText("BtSetting.ini"), "LinkAppDevice=7\n");
}

TEST_F(HfpTest, ASettingThatCannotBeWrittenCountsAsNone) {
  vqfake::setSettingsWritable(false);
  pair({paired(7, kAppleUsb)});
  hfp(7, 3);
  info(1, 1);
  vqfake::setSettingsWritable(true);
  EXPECT_THAT(listener.take(), IsEmpty());
  EXPECT_EQ(vqfake::settingsText("BtSetting.ini"), "");
}

TEST_F(HfpTest, TheSettingIsReadAnewForEachCheck) {
  save(8);
  pair({paired(7, kAppleUsb)});
  hfp(7, 3);
  info(1, 1);
  EXPECT_THAT(listener.take(), IsEmpty());
  save(7);
  sut->judgeiOSBtHfpStatusNotifiable();
  EXPECT_THAT(listener.take(), ElementsAre("apple 1 up"));
}

TEST_F(HfpTest, SppState0OfTheLinkedIPhoneReportsItDownWithItsNumber) {
  pairSavedApple(7);
  info(3, 1);
  listener.take();
  info(3, 2);
  EXPECT_THAT(listener.take(), IsEmpty());
  info(3, 0, 1);
  EXPECT_THAT(listener.take(), ElementsAre("apple 3 down"));
}

TEST_F(HfpTest, AfterSppState0AnotherIPhoneCanBeLinked) {
  pairSavedApple(7);
  info(3, 1);
  info(3, 0);
  listener.take();
  info(4, 1);
  EXPECT_THAT(listener.take(), ElementsAre("apple 4 up"));
}

TEST_F(HfpTest, ASecondSppIPhoneWhileOneIsLinkedLogsTheLineAndChangesNothing) {
  pairSavedApple(7);
  info(3, 1);
  listener.take();
  vqfake::clearLog();
  info(4, 1);
  info(4, 0, 1);  // also without SPP
  const auto line =
      logLine(kHfpFile, "oniOSClientUpdate", 0, 1, "[iOS_HFP]Multiple iOS-SPP Devices are unsupported!!!!!\n");
  EXPECT_THAT(vqfake::log(), ElementsAre(line, line));
  EXPECT_THAT(listener.take(), IsEmpty());
  info(3, 0);
  EXPECT_THAT(listener.take(), ElementsAre("apple 3 down"));
}

TEST_F(HfpTest, AnIPhoneNumbered255IsNeverLinked) {
  pairSavedApple(7);
  info(255, 1);
  EXPECT_THAT(listener.take(), IsEmpty());
  info(1, 1);  // so that there is no multiple-device line, either
  EXPECT_THAT(listener.take(), ElementsAre("apple 1 up"));
}

TEST_F(HfpTest, ABluetoothDeviceNumbered255IsNoCandidateEvenWhere255IsSaved) {
  pairSavedApple(255);
  info(1, 1);
  EXPECT_THAT(listener.take(), IsEmpty());
}

TEST_F(HfpTest, ACandidateWithoutItsLinkTakesTheReportBackEvenWhereAnotherOneIsSaved) {
  save(7);
  pair({paired(6, kAppleUsb), paired(7, kAppleUsb)});
  hfp(6, 0);
  hfp(7, 3);
  info(1, 1);
  EXPECT_THAT(listener.take(), ElementsAre("apple 1 up"));
  sut->judgeiOSBtHfpStatusNotifiable();  // the first candidate has no link: the report is taken back
  EXPECT_THAT(listener.take(), ElementsAre("apple 1 down"));
  sut->judgeiOSBtHfpStatusNotifiable();
  EXPECT_THAT(listener.take(), ElementsAre("apple 1 up"));
}

TEST_F(HfpTest, HoldsItsLockWhileItReportsAnIPhoneOverSpp) {
  pairSavedApple(7);
  Gate isInside;
  Gate mayLeave;
  listener.during = [&] {
    isInside.open();
    mayLeave.pass();
  };
  const Worker reporter([this] { info(1, 1); });
  isInside.pass();
  const Worker judge([this] { sut->judgeiOSBtHfpStatusNotifiable(); });
  EXPECT_TRUE(judge.isHeldUp());
  mayLeave.open();
  EXPECT_TRUE(reporter.ends());
  EXPECT_TRUE(judge.ends());
}

TEST_F(HfpTest, AListenerMayRemoveItselfWhereNoLockIsHeld) {
  listener.during = [this] { sut->removeListener(&listener); };
  pair({paired(4, kOther), paired(5, kOther)});
  hfp(4, 3);
  EXPECT_THAT(listener.take(), ElementsAre("other 4 up"));
  hfp(5, 3);
  EXPECT_THAT(listener.take(), IsEmpty());
}

TEST_F(HfpTest, AListenerMayDestroyAnotherWrapper) {
  auto other = std::make_unique<LinkAppHfpWrapper>();
  Listener otherListener;
  other->setListener(&otherListener);
  listener.during = [&other] { other.reset(); };
  pair({paired(4, kOther)});
  hfp(4, 3);
  EXPECT_THAT(listener.take(), ElementsAre("other 4 up"));
  EXPECT_THAT(otherListener.take(), IsEmpty());
}

TEST_F(HfpTest, TwoWrappersReportEachOnItsOwn) {
  LinkAppHfpWrapper other;
  Listener otherListener;
  other.setListener(&otherListener);
  pair({paired(4, kOther)});
  hfp(4, 3);
  EXPECT_THAT(listener.take(), ElementsAre("other 4 up"));
  EXPECT_THAT(otherListener.take(), ElementsAre("other 4 up"));
  other.removeListener(&otherListener);
}

}  // namespace
