// VQSLinkAppDeviceStatus: the devices of the iOS side.
#include <ostream>

#include "device_status_fixture.h"

namespace {

using LinkAppCommon::ConnectionInfo;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

using IosStatus = DeviceStatusTest;

TEST_F(IosStatus, AFirstDeviceThatIsConnectedIsReportedAndListed) {
  EXPECT_THAT(after(iosRecord(1, 1, 0)), ElementsAre("type 1 id 1 [] spp 1 [] [] usb 0 [] [] iap 1"));
  EXPECT_THAT(storedDevices(), ElementsAre("type 1 id 1 [] spp 1 [] [] usb 0 [] [] iap 1"));
}

TEST_F(IosStatus, AFirstDeviceOverUsbIsReportedAndListed) {
  EXPECT_THAT(after(iosRecord(1, 0, 1, 2)), ElementsAre("type 1 id 1 [] spp 0 [] [] usb 1 [] [] iap 2"));
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(1, 0, 1, 2)));
}

TEST_F(IosStatus, AFirstDeviceOverBothLinksIsOneReportAndOneEntry) {
  EXPECT_THAT(after(iosRecord(1, 1, 1)), ElementsAre(iosReport(1, 1, 1)));
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(1, 1, 1)));
}

TEST_F(IosStatus, TheSameRecordAgainIsNotReported) {
  given(iosRecord(1, 1, 0));
  EXPECT_THAT(after(iosRecord(1, 1, 0)), IsEmpty());
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(1, 1, 0)));
}

TEST_F(IosStatus, AnAppThatOpensIsReportedWithItsNameWhichTheEntryDoesNotKeep) {
  given(iosRecord(1, 1, 0));
  EXPECT_THAT(after(iosRecord(1, 2, 0)), ElementsAre(iosReport(1, 2, 0, 1, "SppApp")));
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(1, 2, 0)));
}

TEST_F(IosStatus, AnAppThatOpensOverUsbIsReportedWithTheNameOfUsb) {
  given(iosRecord(1, 0, 1));
  EXPECT_THAT(after(iosRecord(1, 0, 2)), ElementsAre(iosReport(1, 0, 2, 1, "", "UsbApp")));
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(1, 0, 2)));
}

TEST_F(IosStatus, AnAppThatOpensWithoutANameIsReportedWithoutOne) {
  given(iosRecord(1, 1, 0));
  IosRecord record = iosRecord(1, 2, 0);
  record.btSppName.clear();
  EXPECT_THAT(after(record), ElementsAre(iosReport(1, 2, 0)));
}

TEST_F(IosStatus, ANullRecordIsIgnored) {
  sut->oniOSClientDeviceInfo(nullptr);
  EXPECT_THAT(events.take(), IsEmpty());
  EXPECT_THAT(storedDevices(), IsEmpty());
}

TEST_F(IosStatus, TheRecordIsLeftAsItIs) {
  given(iosRecord(1, 0, 1));
  IosRecord record = iosRecord(1, 2, 2);
  sut->oniOSClientDeviceInfo(&record);
  EXPECT_EQ(describe(record), describe(iosRecord(1, 2, 2)));
}

TEST_F(IosStatus, AFirstDeviceWithoutAProtocolIsNeitherReportedNorListed) {
  for (const std::uint32_t status : {0U, 1U, 2U}) {
    EXPECT_THAT(after(iosRecord(1, status, 1, 0)), IsEmpty()) << status;
    EXPECT_THAT(after(iosRecord(1, 1, status, 0)), IsEmpty()) << status;
  }
  EXPECT_THAT(storedDevices(), IsEmpty());
}

TEST_F(IosStatus, AFirstDeviceWithoutAConnectionIsNeitherReportedNorListed) {
  EXPECT_THAT(after(iosRecord(1, 0, 0)), IsEmpty());
  EXPECT_THAT(storedDevices(), IsEmpty());
}

TEST_F(IosStatus, AFirstDeviceWhoseAppIsOpenAlreadyIsNeitherReportedNorListed) {
  EXPECT_THAT(after(iosRecord(1, 2, 0)), IsEmpty());
  EXPECT_THAT(after(iosRecord(1, 0, 2)), IsEmpty());
  EXPECT_THAT(after(iosRecord(1, 2, 2)), IsEmpty());
  EXPECT_THAT(storedDevices(), IsEmpty());
}

TEST_F(IosStatus, InAnEmptyListALinkThatIsOpenAlreadyShowsWhereTheOtherLinkBringsTheDevice) {
  EXPECT_THAT(after(iosRecord(1, 2, 1)), ElementsAre(iosReport(1, 2, 1)));
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(1, 2, 1)));
}

TEST_F(IosStatus, InAnEmptyListAnOpenUsbLinkShowsWhereBluetoothBringsTheDevice) {
  EXPECT_THAT(after(iosRecord(1, 1, 2)), ElementsAre(iosReport(1, 1, 2)));
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(1, 1, 2)));
}

TEST_F(IosStatus, BesideAnotherDeviceALinkThatIsOpenAlreadyShowsAsNotConnected) {
  given(iosRecord(9, 1, 0));
  EXPECT_THAT(after(iosRecord(1, 2, 1)), ElementsAre(iosReport(1, 0, 1)));
  EXPECT_THAT(after(iosRecord(2, 1, 2)), ElementsAre(iosReport(2, 1, 0)));
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(9, 1, 0), iosReport(1, 0, 1), iosReport(2, 1, 0)));
}

TEST_F(IosStatus, BesideAnotherDeviceAConnectedOneIsReportedAndListedLast) {
  given(iosRecord(9, 1, 0));
  EXPECT_THAT(after(iosRecord(1, 1, 0, 2)), ElementsAre(iosReport(1, 1, 0, 2)));
  EXPECT_THAT(after(iosRecord(3, 1, 1)), ElementsAre(iosReport(3, 1, 1)));
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(9, 1, 0), iosReport(1, 1, 0, 2), iosReport(3, 1, 1)));
}

TEST_F(IosStatus, BesideAnotherDeviceOneThatHasNoProtocolConnectionOrStartIsNotReported) {
  given(iosRecord(9, 1, 0));
  EXPECT_THAT(after(iosRecord(1, 1, 0, 0)), IsEmpty());
  EXPECT_THAT(after(iosRecord(1, 0, 1, 0)), IsEmpty());
  EXPECT_THAT(after(iosRecord(1, 0, 0)), IsEmpty());
  EXPECT_THAT(after(iosRecord(1, 2, 0)), IsEmpty());
  EXPECT_THAT(after(iosRecord(1, 0, 2)), IsEmpty());
  EXPECT_THAT(after(iosRecord(1, 2, 2)), IsEmpty());
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(9, 1, 0)));
}

TEST_F(IosStatus, ADeviceThatLosesItsLastLinkIsReportedAndForgotten) {
  given(iosRecord(1, 1, 0));
  EXPECT_THAT(after(iosRecord(1, 0, 0)), ElementsAre(iosReport(1, 0, 0)));
  EXPECT_THAT(storedDevices(), IsEmpty());
  EXPECT_THAT(after(iosRecord(1, 0, 0)), IsEmpty());
}

TEST_F(IosStatus, ADeviceThatLosesBothLinksAtOnceIsReportedOnceAndForgotten) {
  given(iosRecord(1, 1, 1));
  given(iosRecord(1, 2, 1));
  EXPECT_THAT(after(iosRecord(1, 0, 0)), ElementsAre(iosReport(1, 0, 0)));
  EXPECT_THAT(storedDevices(), IsEmpty());
}

TEST_F(IosStatus, ADeviceThatLosesOneLinkStaysWithTheOther) {
  given(iosRecord(1, 1, 1));
  EXPECT_THAT(after(iosRecord(1, 0, 1)), ElementsAre(iosReport(1, 0, 1)));
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(1, 0, 1)));
}

TEST_F(IosStatus, LaterDevicesMoveUpWhenOneIsForgotten) {
  for (const int deviceId : {4, 5, 6}) {
    given(iosRecord(static_cast<std::uint8_t>(deviceId), 1, 0));
  }
  given(iosRecord(5, 0, 0));
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(4, 1, 0), iosReport(6, 1, 0)));
  EXPECT_THAT(after(iosRecord(6, 2, 0)), ElementsAre(iosReport(6, 2, 0, 1, "SppApp")));
  EXPECT_THAT(after(iosRecord(5, 1, 0)), ElementsAre(iosReport(5, 1, 0)));
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(4, 1, 0), iosReport(6, 2, 0), iosReport(5, 1, 0)));
}

TEST_F(IosStatus, AForgottenDeviceStartsAnew) {
  given(iosRecord(1, 1, 0));
  given(iosRecord(1, 0, 0));
  EXPECT_THAT(after(iosRecord(1, 2, 0)), IsEmpty());
  EXPECT_THAT(after(iosRecord(1, 1, 0)), ElementsAre(iosReport(1, 1, 0)));
}

TEST_F(IosStatus, AJumpThatStandsAloneIsNoChange) {
  given(iosRecord(1, 1, 0));
  EXPECT_THAT(after(iosRecord(1, 1, 2)), IsEmpty());
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(1, 1, 0)));
  EXPECT_THAT(after(iosRecord(1, 1, 1)), ElementsAre(iosReport(1, 1, 1)));
}

TEST_F(IosStatus, AJumpShowsAsNotConnectedWhereTheOtherLinkChanges) {
  given(iosRecord(1, 1, 0));
  EXPECT_THAT(after(iosRecord(1, 2, 2)), ElementsAre(iosReport(1, 2, 0, 1, "SppApp")));
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(1, 2, 0)));
}

TEST_F(IosStatus, AJumpOverBluetoothShowsAsNotConnectedWhereUsbChanges) {
  given(iosRecord(1, 0, 1));
  EXPECT_THAT(after(iosRecord(1, 2, 2)), ElementsAre(iosReport(1, 0, 2, 1, "", "UsbApp")));
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(1, 0, 2)));
}

TEST_F(IosStatus, AJumpWhileTheOtherLinkEndsForgetsTheDevice) {
  given(iosRecord(1, 1, 0));
  EXPECT_THAT(after(iosRecord(1, 0, 2)), ElementsAre(iosReport(1, 0, 0)));
  EXPECT_THAT(storedDevices(), IsEmpty());
}

TEST_F(IosStatus, AnotherProtocolAloneIsReportedAndKept) {
  given(iosRecord(1, 1, 0, 1));
  EXPECT_THAT(after(iosRecord(1, 1, 0, 2)), ElementsAre(iosReport(1, 1, 0, 2)));
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(1, 1, 0, 2)));
  EXPECT_THAT(after(iosRecord(1, 1, 0, 2)), IsEmpty());
}

TEST_F(IosStatus, AProtocolThatIsUnknownFromNowOnIsReportedAndKept) {
  given(iosRecord(1, 1, 0, 1));
  EXPECT_THAT(after(iosRecord(1, 1, 0, 0)), ElementsAre(iosReport(1, 1, 0, 0)));
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(1, 1, 0, 0)));
  EXPECT_THAT(after(iosRecord(1, 2, 0, 0)), ElementsAre(iosReport(1, 2, 0, 0, "SppApp")));
}

TEST_F(IosStatus, AnotherProtocolIsReportedWhileAnAppStaysOpenAndWithoutItsName) {
  given(iosRecord(1, 1, 0, 1));
  given(iosRecord(1, 2, 0, 1));
  EXPECT_THAT(after(iosRecord(1, 2, 0, 2)), ElementsAre(iosReport(1, 2, 0, 2)));
}

TEST_F(IosStatus, AnotherProtocolReportsAJumpAsNotConnectedByTheOtherLink) {
  given(iosRecord(1, 1, 0, 1));
  EXPECT_THAT(after(iosRecord(1, 1, 2, 2)), ElementsAre(iosReport(1, 1, 0, 2)));
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(1, 1, 0, 2)));
}

TEST_F(IosStatus, AnotherProtocolIsKeptWithTheChangeOfALink) {
  given(iosRecord(1, 1, 0, 1));
  EXPECT_THAT(after(iosRecord(1, 2, 0, 2)), ElementsAre(iosReport(1, 2, 0, 2, "SppApp")));
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(1, 2, 0, 2)));
}

TEST_F(IosStatus, EveryStatusBut1And2IsNotConnected) {
  for (const std::uint32_t status : {3U, 7U, 256U, 257U, 0x80000001U, 0xFFFFFFFFU}) {
    given(iosRecord(1, 1, 1));
    EXPECT_THAT(after(iosRecord(1, status, 1)), ElementsAre(iosReport(1, 0, 1))) << status;
    EXPECT_THAT(after(iosRecord(1, 1, status)), ElementsAre(iosReport(1, 1, 0))) << status;
    EXPECT_THAT(after(iosRecord(1, status, status)), ElementsAre(iosReport(1, 0, 0))) << status;
    EXPECT_THAT(storedDevices(), IsEmpty());
  }
}

TEST_F(IosStatus, EveryProtocolBut1And2IsUnknown) {
  for (const std::uint32_t iapVersion : {3U, 7U, 256U, 257U, 0xFFFFFFFFU}) {
    EXPECT_THAT(after(iosRecord(1, 1, 0, iapVersion)), IsEmpty()) << iapVersion;
    given(iosRecord(1, 1, 0, 1));
    EXPECT_THAT(after(iosRecord(1, 1, 0, iapVersion)), ElementsAre(iosReport(1, 1, 0, 0))) << iapVersion;
    given(iosRecord(1, 0, 0));
  }
}

TEST_F(IosStatus, AnEntryNeverTakesTheNamesOfALaterReport) {
  given(iosRecord(1, 1, 1));
  given(iosRecord(1, 2, 2));
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(1, 2, 2)));
  given(iosRecord(1, 1, 1));
  EXPECT_THAT(after(iosRecord(1, 2, 1)), ElementsAre(iosReport(1, 2, 1, 1, "SppApp")));
  EXPECT_THAT(after(iosRecord(1, 2, 0)), ElementsAre(iosReport(1, 2, 0))) << "the name shows on the step only";
}

TEST_F(IosStatus, TheAddressIsNotUsed) {
  given(iosRecord(1, 1, 0));
  IosRecord record = iosRecord(1, 1, 0);
  record.btAddress = "ff:ff:ff:ff:ff:ff";
  EXPECT_THAT(after(record), IsEmpty());
}

TEST_F(IosStatus, AllDeviceNumbersCanBeListedAtOnce) {
  Lines expected;
  for (unsigned int i = 0; i < 256; ++i) {
    EXPECT_THAT(after(iosRecord(static_cast<std::uint8_t>(i), 1, 0)), ElementsAre(iosReport(i, 1, 0)));
    expected.push_back(iosReport(i, 1, 0));
  }
  EXPECT_THAT(storedDevices(), ElementsAreArray(expected));
  for (unsigned int i = 0; i < 256; ++i) {
    EXPECT_THAT(after(iosRecord(static_cast<std::uint8_t>(i), 1, 0)), IsEmpty()) << i;
    EXPECT_THAT(after(iosRecord(static_cast<std::uint8_t>(i), 2, 0)), ElementsAre(iosReport(i, 2, 0, 1, "SppApp")));
  }
}

TEST_F(IosStatus, AFullListFindsForgetsAndTakesBackEveryDevice) {
  for (unsigned int i = 0; i < 256; ++i) {
    given(iosRecord(static_cast<std::uint8_t>(i), 1, 0));
  }
  for (unsigned int i = 0; i < 256; ++i) {
    const auto deviceId = static_cast<std::uint8_t>(i);
    EXPECT_THAT(after(iosRecord(deviceId, 0, 0)), ElementsAre(iosReport(i, 0, 0)));
    EXPECT_THAT(after(iosRecord(deviceId, 2, 1)), ElementsAre(iosReport(i, 0, 1)));
  }
  Lines expected;
  for (unsigned int i = 0; i < 256; ++i) {
    expected.push_back(iosReport(i, 0, 1));
  }
  EXPECT_THAT(storedDevices(), ElementsAreArray(expected));
}

TEST_F(IosStatus, WithoutAListenerTheDevicesAreListedAllTheSame) {
  sut->setListener(nullptr);
  given(iosRecord(1, 1, 0));
  given(iosRecord(2, 0, 1));
  given(iosRecord(1, 2, 0));
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(1, 2, 0), iosReport(2, 0, 1)));
  given(iosRecord(2, 0, 0));
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(1, 2, 0)));
}

TEST_F(IosStatus, NeitherSideKnowsTheDevicesOfTheOther) {
  given(listOf({entry(1, "Phone")}));
  EXPECT_THAT(after(iosRecord(1, 1, 0)), ElementsAre(iosReport(1, 1, 0)));
  EXPECT_THAT(after(listOf({})), ElementsAre(sppReport(1, "Phone", 0)));
  EXPECT_THAT(after(iosRecord(1, 1, 0)), IsEmpty());
  EXPECT_EQ(storedNotice(), "255 [] 0");
}

TEST_F(IosStatus, TheLogFlagHasNoEffect) {
  stsLog_ = 1;
  EXPECT_THAT(after(iosRecord(1, 1, 0)), ElementsAre(iosReport(1, 1, 0)));
  EXPECT_THAT(after(iosRecord(1, 2, 0)), ElementsAre(iosReport(1, 2, 0, 1, "SppApp")));
  EXPECT_THAT(storedDevices(), ElementsAre(iosReport(1, 2, 0)));
}

// The operation of one link, on its side of the record.
struct Link {
  const char* name;
  bool (VQSLinkAppDeviceStatus::*analyze)(DeviceInfo& info, std::string appName);
  ConnectionInfo::DeviceStatusInfo DeviceInfo::*state;
  ConnectionInfo::DeviceStatusInfo DeviceInfo::*otherState;
};

void PrintTo(const Link& link, std::ostream* out) {
  *out << link.name;
}

std::string nameOf(const testing::TestParamInfo<Link>& info) {
  return info.param.name;
}

class IosLink : public DeviceStatusTest, public testing::WithParamInterface<Link> {
 public:
  static IosRecord record(std::uint32_t status, std::uint32_t otherStatus, std::uint32_t iapVersion = 1) {
    return isBluetooth() ? iosRecord(1, status, otherStatus, iapVersion)
                         : iosRecord(1, otherStatus, status, iapVersion);
  }
  static std::string report(int status, int otherStatus, const std::string& appName = "", int iapVersion = 1) {
    return isBluetooth() ? iosReport(1, status, otherStatus, iapVersion, appName, "")
                         : iosReport(1, otherStatus, status, iapVersion, "", appName);
  }
  // The name that records carry for this link.
  static std::string appName() { return isBluetooth() ? "SppApp" : "UsbApp"; }

  // The device is listed with the other link connected.
  void givenLinkAt(std::uint32_t status) {
    sut.emplace("Radio");
    sut->setListener(&events);
    given(record(status == 0 ? 0 : 1, 1));
    given(record(status, 1));
    EXPECT_THAT(storedDevices(), ElementsAre(report(static_cast<int>(status), 1)));
  }

  // The operation's answer to a record whose two links have these statuses, and what it leaves in this link:
  // "true 2 [App]". The other link must stay as it is.
  std::string analyzed(std::int32_t status, std::int32_t iapVersion = 1, std::uint8_t deviceId = 1) {
    DeviceInfo info;
    info.deviceType = 1;
    info.deviceId = deviceId;
    info.iapVersion = iapVersion;
    (info.*GetParam().state).status = status;
    (info.*GetParam().otherState).status = 2;
    const bool isReported = ((*sut).*GetParam().analyze)(info, "App");
    const ConnectionInfo::DeviceStatusInfo left = std::exchange(info.*GetParam().state, {});
    EXPECT_EQ((info.*GetParam().otherState).status, 2);
    (info.*GetParam().otherState).status = 0;
    EXPECT_EQ(describe(info), iosReport(deviceId, 0, 0, iapVersion)) << "nothing else changes";
    EXPECT_EQ(left.uuid, "");
    return std::string(isReported ? "true " : "false ") + std::to_string(left.status) + " [" + left.appName + "]";
  }

 private:
  static bool isBluetooth() { return GetParam().state == &DeviceInfo::btSpp; }
};

INSTANTIATE_TEST_SUITE_P(Of, IosLink,
                         testing::Values(Link{"Bluetooth", &VQSLinkAppDeviceStatus::analyzeiOSBtSppConnectionInfo,
                                              &DeviceInfo::btSpp, &DeviceInfo::usb},
                                         Link{"Usb", &VQSLinkAppDeviceStatus::analyzeiOSUsbConnectionInfo,
                                              &DeviceInfo::usb, &DeviceInfo::btSpp}),
                         nameOf);

TEST_P(IosLink, IsJudgedInAnEmptyListByConnectionAndProtocol) {
  EXPECT_EQ(analyzed(0), "false 0 []");
  EXPECT_EQ(analyzed(1), "true 1 []");
  EXPECT_EQ(analyzed(1, 2), "true 1 []");
  EXPECT_EQ(analyzed(1, 0), "false 1 []");
  EXPECT_EQ(analyzed(2), "false 2 []");
  EXPECT_EQ(analyzed(2, 0), "false 2 []");
}

TEST_P(IosLink, OfAnUnlistedDeviceIsJudgedByConnectionAndProtocolAndShowsNoOpenApp) {
  givenLinkAt(1);
  EXPECT_EQ(analyzed(0, 1, 7), "false 0 []");
  EXPECT_EQ(analyzed(1, 1, 7), "true 1 []");
  EXPECT_EQ(analyzed(1, 2, 7), "true 1 []");
  EXPECT_EQ(analyzed(1, 0, 7), "false 1 []");
  EXPECT_EQ(analyzed(2, 1, 7), "false 0 []");
  EXPECT_EQ(analyzed(2, 0, 7), "false 0 []");
}

TEST_P(IosLink, ThatWasNotConnectedIsReportedWhenItConnectsOnly) {
  givenLinkAt(0);
  EXPECT_EQ(analyzed(0), "false 0 []");
  EXPECT_EQ(analyzed(1), "true 1 []");
  EXPECT_EQ(analyzed(1, 0), "true 1 []") << "a listed device needs no protocol";
  EXPECT_EQ(analyzed(2), "false 0 []");
  EXPECT_EQ(analyzed(2, 2), "false 0 []") << "another protocol does not help a jump";
}

TEST_P(IosLink, ThatWasConnectedIsReportedWhenItEndsOrOpens) {
  givenLinkAt(1);
  EXPECT_EQ(analyzed(0), "true 0 []");
  EXPECT_EQ(analyzed(1), "false 1 []");
  EXPECT_EQ(analyzed(2), "true 2 [App]");
  EXPECT_EQ(analyzed(2, 0), "true 2 [App]");
}

TEST_P(IosLink, ThatWasOpenIsReportedWhenItIsNotOpenAnyMore) {
  givenLinkAt(2);
  EXPECT_EQ(analyzed(0), "true 0 []");
  EXPECT_EQ(analyzed(1), "true 1 []");
  EXPECT_EQ(analyzed(2), "false 2 []");
}

TEST_P(IosLink, ThatStaysAsItIsIsReportedWithAnotherProtocolOnly) {
  for (const std::int32_t status : {0, 1, 2}) {
    givenLinkAt(static_cast<std::uint32_t>(status));
    const std::string unchanged = std::to_string(status) + " []";
    EXPECT_EQ(analyzed(status, 1), "false " + unchanged);
    EXPECT_EQ(analyzed(status, 0), "true " + unchanged);
    EXPECT_EQ(analyzed(status, 2), "true " + unchanged);
  }
}

TEST_P(IosLink, IsJudgedWithoutAChangeOfTheList) {
  givenLinkAt(1);
  for (const std::int32_t status : {0, 1, 2}) {
    analyzed(status, 2);
    analyzed(status, 2, 7);
  }
  EXPECT_THAT(storedDevices(), ElementsAre(report(1, 1)));
  EXPECT_THAT(events.take(), IsEmpty());
}

struct LinkStep {
  int before;
  int now;
  bool isChange;
  int shown;   // where the other link brings a report along
  int stored;  // afterwards, in both cases
  bool isNamed;
};

constexpr LinkStep kLinkSteps[] = {
    {0, 0, false, 0, 0, false}, {0, 1, true, 1, 1, false},  {0, 2, false, 0, 0, false},
    {1, 0, true, 0, 0, false},  {1, 1, false, 1, 1, false}, {1, 2, true, 2, 2, true},
    {2, 0, true, 0, 0, false},  {2, 1, true, 1, 1, false},  {2, 2, false, 2, 2, false},
};

std::string textOf(const LinkStep& step) {
  return std::to_string(step.before) + " to " + std::to_string(step.now);
}

TEST_P(IosLink, TakesEachStepWhileTheOtherLinkStays) {
  for (const LinkStep& step : kLinkSteps) {
    SCOPED_TRACE(textOf(step));
    givenLinkAt(static_cast<std::uint32_t>(step.before));
    const Lines reports = after(record(static_cast<std::uint32_t>(step.now), 1));
    if (step.isChange) {
      EXPECT_THAT(reports, ElementsAre(report(step.shown, 1, step.isNamed ? appName() : "")));
    } else {
      EXPECT_THAT(reports, IsEmpty());
    }
    EXPECT_THAT(storedDevices(), ElementsAre(report(step.stored, 1)));
  }
}

// The other link's name comes with its own step only: such reports are compared by their statuses.
TEST_P(IosLink, TakesEachStepWhileTheOtherLinkOpens) {
  for (const LinkStep& step : kLinkSteps) {
    SCOPED_TRACE(textOf(step));
    givenLinkAt(static_cast<std::uint32_t>(step.before));
    IosRecord opening = record(static_cast<std::uint32_t>(step.now), 2);
    const std::string name = appName();
    opening.btSppName = opening.btSppName == name ? name : "";
    opening.usbName = opening.usbName == name ? name : "";
    EXPECT_THAT(after(opening), ElementsAre(report(step.shown, 2, step.isNamed ? name : "")));
    EXPECT_THAT(storedDevices(), ElementsAre(report(step.stored, 2)));
  }
}

TEST_P(IosLink, TakesEachStepWhileTheOtherLinkEnds) {
  for (const LinkStep& step : kLinkSteps) {
    SCOPED_TRACE(textOf(step));
    givenLinkAt(static_cast<std::uint32_t>(step.before));
    EXPECT_THAT(after(record(static_cast<std::uint32_t>(step.now), 0)),
                ElementsAre(report(step.shown, 0, step.isNamed ? appName() : "")));
    if (step.shown == 0) {
      EXPECT_THAT(storedDevices(), IsEmpty());
    } else {
      EXPECT_THAT(storedDevices(), ElementsAre(report(step.stored, 0)));
    }
  }
}

TEST_P(IosLink, TakesEachStepWithAnotherProtocol) {
  for (const LinkStep& step : kLinkSteps) {
    SCOPED_TRACE(textOf(step));
    givenLinkAt(static_cast<std::uint32_t>(step.before));
    EXPECT_THAT(after(record(static_cast<std::uint32_t>(step.now), 1, 2)),
                ElementsAre(report(step.shown, 1, step.isNamed ? appName() : "", 2)));
    EXPECT_THAT(storedDevices(), ElementsAre(report(step.stored, 1, "", 2)));
  }
}

}  // namespace
