// VQSLinkAppDeviceStatus: device lists and connection notices of the SPP service. (Long lists:
// device_status_long_list_test.)
#include "device_status_fixture.h"

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

using SppListStatus = DeviceStatusTest;

TEST_F(SppListStatus, EveryAvailableEntryOfAFirstListIsReported) {
  EXPECT_THAT(after(listOf({entry(5, "Phone"), entry(9, "Tablet")})),
              ElementsAre(sppReport(5, "Phone", 1), sppReport(9, "Tablet", 1)));
}

TEST_F(SppListStatus, AReportCarriesNothingButTypeNumberNameAndStatus) {
  EXPECT_THAT(after(listOf({entry(5, "Phone")})), ElementsAre("type 0 id 5 [Phone] spp 1 [] [] usb 0 [] [] iap 0"));
}

TEST_F(SppListStatus, AnEmptyListIsStoredAndNotReported) {
  EXPECT_THAT(after(listOf({})), IsEmpty());
  EXPECT_THAT(storedList(), IsEmpty());
}

TEST_F(SppListStatus, AnUnavailableEntryOfAFirstListIsStoredAndNotReported) {
  EXPECT_THAT(after(listOf({unavailable(5, "Phone"), entry(9, "Tablet")})), ElementsAre(sppReport(9, "Tablet", 1)));
  EXPECT_THAT(storedList(), ElementsAre(describe(unavailable(5, "Phone")), describe(entry(9, "Tablet"))));
}

TEST_F(SppListStatus, EveryValueButZeroIsAvailable) {
  EXPECT_THAT(after(listOf({entry(5, "Phone", kSomeVendor, 2), entry(6, "Tablet", kSomeVendor, 255)})),
              ElementsAre(sppReport(5, "Phone", 1), sppReport(6, "Tablet", 1)));
  EXPECT_THAT(after(listOf({entry(5, "Phone"), entry(6, "Tablet")})), IsEmpty());
}

TEST_F(SppListStatus, TheSameListAgainIsNotReported) {
  const SppInformation list = listOf({entry(5, "Phone"), unavailable(6, "Watch"), entry(9, "Tablet")});
  given(list);
  EXPECT_THAT(after(list), IsEmpty());
}

TEST_F(SppListStatus, AnotherNameAtTheSamePlaceIsReported) {
  given(listOf({entry(5, "Phone"), entry(9, "Tablet")}));
  EXPECT_THAT(after(listOf({entry(5, "Renamed"), entry(9, "Tablet")})), ElementsAre(sppReport(5, "Renamed", 1)));
}

TEST_F(SppListStatus, AnotherVendorAtTheSamePlaceIsReported) {
  given(listOf({entry(5, "Phone"), entry(9, "Tablet")}));
  EXPECT_THAT(after(listOf({entry(5, "Phone"), entry(9, "Tablet", 0x0075)})), ElementsAre(sppReport(9, "Tablet", 1)));
}

TEST_F(SppListStatus, AnotherDeviceNumberAtTheSamePlaceIsReportedAndTheFormerDeviceIsNot) {
  given(listOf({entry(5, "Phone")}));
  EXPECT_THAT(after(listOf({entry(6, "Phone")})), ElementsAre(sppReport(6, "Phone", 1)));
}

TEST_F(SppListStatus, AnotherAddressIsNoChange) {
  given(listOf({entry(5, "Phone")}));
  SppEntry moved = entry(5, "Phone");
  moved.btAddress = "ff:ff:ff:ff:ff:ff";
  EXPECT_THAT(after(listOf({moved})), IsEmpty());
  EXPECT_THAT(storedList(), ElementsAre(describe(moved)));
}

TEST_F(SppListStatus, EntriesAreComparedByPositionSoThatTwoWhichSwapAreBothReported) {
  given(listOf({entry(5, "Phone"), entry(9, "Tablet")}));
  EXPECT_THAT(after(listOf({entry(9, "Tablet"), entry(5, "Phone")})),
              ElementsAre(sppReport(9, "Tablet", 1), sppReport(5, "Phone", 1)));
}

TEST_F(SppListStatus, ADeviceThatMovesUpIsReportedPresentThereAndGoneAtTheEnd) {
  given(listOf({entry(5, "Phone"), entry(9, "Tablet")}));
  EXPECT_THAT(after(listOf({entry(9, "Tablet")})), ElementsAre(sppReport(9, "Tablet", 1), sppReport(9, "Tablet", 0)));
}

TEST_F(SppListStatus, AnEntryThatBecomesAvailableIsReported) {
  given(listOf({unavailable(5, "Phone")}));
  EXPECT_THAT(after(listOf({entry(5, "Phone")})), ElementsAre(sppReport(5, "Phone", 1)));
}

TEST_F(SppListStatus, AnEntryThatBecomesUnavailableIsReportedGoneAsItWas) {
  given(listOf({entry(5, "Phone")}));
  EXPECT_THAT(after(listOf({unavailable(6, "Other")})), ElementsAre(sppReport(5, "Phone", 0)));
}

TEST_F(SppListStatus, AnUnavailableEntryThatChangesIsNotReported) {
  given(listOf({unavailable(5, "Phone")}));
  EXPECT_THAT(after(listOf({unavailable(6, "Other")})), IsEmpty());
  EXPECT_THAT(storedList(), ElementsAre(describe(unavailable(6, "Other"))));
}

TEST_F(SppListStatus, AnEntryThatTheListGrewByIsReportedOnlyWhenAvailable) {
  given(listOf({entry(5, "Phone")}));
  EXPECT_THAT(after(listOf({entry(5, "Phone"), unavailable(6, "Watch"), entry(9, "Tablet")})),
              ElementsAre(sppReport(9, "Tablet", 1)));
}

TEST_F(SppListStatus, AnEntryThatTheListShrankByIsReportedGoneOnlyWhenItWasAvailable) {
  given(listOf({entry(5, "Phone"), unavailable(6, "Watch"), entry(9, "Tablet")}));
  EXPECT_THAT(after(listOf({entry(5, "Phone")})), ElementsAre(sppReport(9, "Tablet", 0)));
  EXPECT_THAT(storedList(), ElementsAre(describe(entry(5, "Phone"))));
}

TEST_F(SppListStatus, AListThatBecomesEmptyReportsEveryDeviceGone) {
  given(listOf({entry(5, "Phone"), entry(9, "Tablet")}));
  EXPECT_THAT(after(listOf({})), ElementsAre(sppReport(5, "Phone", 0), sppReport(9, "Tablet", 0)));
  EXPECT_THAT(after(listOf({})), IsEmpty());
}

TEST_F(SppListStatus, AfterAnEntryThatIsGoneEveryReportOfTheListCarriesStatus0) {
  given(listOf({entry(5, "Phone")}));
  EXPECT_THAT(after(listOf({unavailable(5, "Phone"), entry(9, "Tablet")})),
              ElementsAre(sppReport(5, "Phone", 0), sppReport(9, "Tablet", 0)));
}

TEST_F(SppListStatus, AfterAnEntryThatIsGoneAChangedEntryCarriesStatus0Too) {
  given(listOf({entry(5, "Phone"), entry(9, "Tablet"), entry(10, "Watch")}));
  EXPECT_THAT(after(listOf({unavailable(5, "Phone"), entry(9, "Renamed"), entry(11, "Watch")})),
              ElementsAre(sppReport(5, "Phone", 0), sppReport(9, "Renamed", 0), sppReport(11, "Watch", 0)));
}

TEST_F(SppListStatus, BeforeAnEntryThatIsGoneReportsCarryStatus1) {
  given(listOf({entry(5, "Phone"), entry(9, "Tablet")}));
  EXPECT_THAT(after(listOf({entry(5, "Renamed"), unavailable(9, "Tablet")})),
              ElementsAre(sppReport(5, "Renamed", 1), sppReport(9, "Tablet", 0)));
}

TEST_F(SppListStatus, AnEntryThatWasUnavailableBeforeDoesNotTurnTheStatus) {
  given(listOf({unavailable(5, "Phone")}));
  EXPECT_THAT(after(listOf({unavailable(5, "Phone"), entry(9, "Tablet")})), ElementsAre(sppReport(9, "Tablet", 1)));
}

TEST_F(SppListStatus, TheNextListStartsWithStatus1Again) {
  given(listOf({entry(5, "Phone")}));
  given(listOf({unavailable(5, "Phone"), entry(9, "Tablet")}));
  EXPECT_THAT(after(listOf({entry(5, "Phone"), entry(9, "Tablet")})), ElementsAre(sppReport(5, "Phone", 1)));
}

TEST_F(SppListStatus, ALinkThatIsUpDoesNotShowInTheList) {
  given(listOf({entry(5, "Phone")}));
  given(connection(5, 1));
  EXPECT_THAT(after(listOf({entry(5, "Renamed")})), ElementsAre(sppReport(5, "Renamed", 1)));
}

TEST_F(SppListStatus, AnAppleEntryInFirstPlaceIsStoredWithAllTheRestAndNothingIsReported) {
  for (const std::uint16_t vendor : kAppleVendors) {
    given(listOf({}));
    EXPECT_THAT(after(listOf({entry(5, "iPhone", vendor), entry(9, "Tablet")})), IsEmpty()) << vendor;
    EXPECT_THAT(storedList(), ElementsAre(describe(entry(5, "iPhone", vendor)), describe(entry(9, "Tablet"))));
  }
}

TEST_F(SppListStatus, NothingBehindAnAppleEntryIsReported) {
  for (const std::uint16_t vendor : kAppleVendors) {
    given(listOf({}));
    EXPECT_THAT(after(listOf({entry(4, "Watch"), entry(5, "iPhone", vendor), entry(9, "Tablet")})),
                ElementsAre(sppReport(4, "Watch", 1)))
        << vendor;
  }
}

TEST_F(SppListStatus, AnUnavailableAppleEntryStopsTheComparisonToo) {
  for (const std::uint16_t vendor : kAppleVendors) {
    given(listOf({entry(5, "Phone"), entry(9, "Tablet")}));
    EXPECT_THAT(after(listOf({entry(5, "iPhone", vendor, 0), unavailable(9, "Tablet")})), IsEmpty()) << vendor;
    given(listOf({}));
  }
}

TEST_F(SppListStatus, VendorsNextToApplesAreReported) {
  const std::vector<std::uint16_t> vendors = {0x05AB, 0x05AD, 0x004B, 0x004D, 0xAC05, 0x4C00};
  for (const std::uint16_t vendor : vendors) {
    EXPECT_THAT(after(listOf({entry(5, "Phone", vendor)})), ElementsAre(sppReport(5, "Phone", 1))) << vendor;
    given(listOf({}));
  }
}

TEST_F(SppListStatus, AnEntryThatStoodBehindAnAppleEntryIsNoNewsWhenTheAppleEntryBecomesAnother) {
  given(listOf({entry(5, "iPhone", 0x05AC), entry(9, "Tablet")}));
  EXPECT_THAT(after(listOf({entry(6, "Phone"), entry(9, "Tablet")})), ElementsAre(sppReport(6, "Phone", 1)));
}

TEST_F(SppListStatus, ADeviceWhoseVendorWasApplesIsReportedWhenItIsNot) {
  given(listOf({entry(5, "Phone", 0x004C)}));
  EXPECT_THAT(after(listOf({entry(5, "Phone")})), ElementsAre(sppReport(5, "Phone", 1)));
}

TEST_F(SppListStatus, AnAppleEntryThatTheListShrankByIsReportedGone) {
  for (const std::uint16_t vendor : kAppleVendors) {
    given(listOf({entry(5, "iPhone", vendor)}));
    EXPECT_THAT(after(listOf({})), ElementsAre(sppReport(5, "iPhone", 0))) << vendor;
  }
}

TEST_F(SppListStatus, AnAppleEntryWhosePlaceBecomesUnavailableIsReportedGone) {
  given(listOf({entry(5, "iPhone", 0x05AC)}));
  EXPECT_THAT(after(listOf({unavailable(6, "Phone")})), ElementsAre(sppReport(5, "iPhone", 0)));
}

TEST_F(SppListStatus, AShorterListThatEndsWithAnAppleEntryReportsNothingGone) {
  given(listOf({entry(5, "Phone"), entry(9, "Tablet")}));
  EXPECT_THAT(after(listOf({entry(4, "iPhone", 0x05AC)})), IsEmpty());
  EXPECT_THAT(storedList(), ElementsAre(describe(entry(4, "iPhone", 0x05AC))));
}

TEST_F(SppListStatus, AListWithAnErrorIsNeitherReportedNorStored) {
  SppInformation first = listOf({entry(5, "Phone")});
  first.header = 3;
  given(first);
  for (const int errorCode : {1, 2, 255}) {
    SppInformation list = listOf({entry(9, "Tablet")});
    list.header = 8;
    list.errorCode = static_cast<std::uint8_t>(errorCode);
    EXPECT_THAT(after(list), IsEmpty()) << errorCode;
  }
  EXPECT_THAT(storedList(), ElementsAre(describe(entry(5, "Phone"))));
  EXPECT_EQ(device_status_access::lastSppInfo(*sut).header, 3);
  EXPECT_EQ(device_status_access::lastSppInfo(*sut).errorCode, 0);
}

TEST_F(SppListStatus, TheHeaderIsStoredWithTheListAndMeansNothing) {
  SppInformation list = listOf({entry(5, "Phone")});
  list.header = 7;
  given(list);
  EXPECT_EQ(device_status_access::lastSppInfo(*sut).header, 7);
  list.header = 200;
  EXPECT_THAT(after(list), IsEmpty());
  EXPECT_EQ(device_status_access::lastSppInfo(*sut).header, 200);
}

TEST_F(SppListStatus, TheHeaderIsStoredAfterAStopAtAnAppleEntryToo) {
  SppInformation list = listOf({entry(5, "iPhone", 0x05AC)});
  list.header = 7;
  given(list);
  EXPECT_EQ(device_status_access::lastSppInfo(*sut).header, 7);
}

TEST_F(SppListStatus, TwoEntriesOfOneDeviceAreBothReported) {
  EXPECT_THAT(after(listOf({entry(5, "Phone"), entry(5, "Phone")})),
              ElementsAre(sppReport(5, "Phone", 1), sppReport(5, "Phone", 1)));
}

TEST_F(SppListStatus, ADeviceOfNumber255IsADeviceAsAnyOther) {
  EXPECT_THAT(after(listOf({entry(255, "Phone")})), ElementsAre(sppReport(255, "Phone", 1)));
}

TEST_F(SppListStatus, NoListEntersTheListOfIosDevices) {
  given(listOf({entry(5, "Phone"), entry(9, "iPhone", 0x05AC)}));
  EXPECT_THAT(storedDevices(), IsEmpty());
}

TEST_F(SppListStatus, WithoutAListenerTheListIsStoredAllTheSame) {
  sut->setListener(nullptr);
  EXPECT_THAT(after(listOf({entry(5, "Phone")})), IsEmpty());
  EXPECT_THAT(after(listOf({entry(5, "Phone"), entry(9, "Tablet")})), IsEmpty());
  sut->setListener(&events);
  EXPECT_THAT(after(listOf({entry(5, "Phone"), entry(9, "Tablet")})), IsEmpty());
  EXPECT_THAT(after(listOf({entry(5, "Phone")})), ElementsAre(sppReport(9, "Tablet", 0)));
}

TEST_F(SppListStatus, TheLogFlagHasNoEffectOnReportsOrWhatIsStored) {
  const std::vector<SppInformation> lists = {
      listOf({}),
      listOf({entry(5, "Phone"), unavailable(6, "Watch"), entry(9, "Tablet")}),
      listOf({unavailable(5, "Phone"), entry(6, "Watch")}),
      listOf({entry(5, "Phone"), entry(6, "iPhone", 0x05AC), entry(9, "Tablet")}),
      listOf(std::vector<SppEntry>(256, entry(5, "Phone"))),
      listOf(std::vector<SppEntry>(257, entry(5, "Renamed"))),
      listOf({}),
  };
  VQSLinkAppDeviceStatus other("Maps");
  StatusEvents otherEvents;
  other.setListener(&otherEvents);
  for (SppInformation list : lists) {
    stsLog_ = 0;
    other.analyzeBtAppsSppInfo(&list, 1);
    stsLog_ = 1;
    sut->analyzeBtAppsSppInfo(&list, 1);
    EXPECT_EQ(events.take(), otherEvents.take());
    EXPECT_EQ(storedList(), describeAll(device_status_access::lastSppInfo(other).devices));
    EXPECT_EQ(stsLog_, 1);
  }
}

class SppConnectionStatus : public DeviceStatusTest {
 public:
  void SetUp() override {
    DeviceStatusTest::SetUp();
    given(listOf({entry(5, "Phone"), unavailable(6, "Watch"), entry(9, "Tablet")}));
  }
};

const std::string kOpened = sppReport(5, "Phone", 2, kService);
const std::string kClosed = sppReport(5, "Phone", 1, kService);

TEST_F(SppConnectionStatus, AConnectionOfAListedDeviceIsReportedOpenWithItsService) {
  EXPECT_THAT(after(connection(5, 1)), ElementsAre(kOpened));
  EXPECT_EQ(kOpened, std::string("type 0 id 5 [Phone] spp 2 [") + kService + "] [] usb 0 [] [] iap 0");
}

TEST_F(SppConnectionStatus, TheIdenticalNoticeAgainIsNotReported) {
  given(connection(5, 1));
  EXPECT_THAT(after(connection(5, 1)), IsEmpty());
}

TEST_F(SppConnectionStatus, AnEndOfAConnectionIsReportedPresent) {
  given(connection(5, 1));
  EXPECT_THAT(after(connection(5, 0)), ElementsAre(kClosed));
}

TEST_F(SppConnectionStatus, EveryStateBut1IsNotConnected) {
  for (const std::int32_t state : {0, 2, -1, 3, 256, 257}) {
    EXPECT_THAT(after(connection(5, state)), ElementsAre(kClosed)) << state;
    EXPECT_THAT(after(connection(5, 1)), ElementsAre(kOpened)) << state;
  }
}

TEST_F(SppConnectionStatus, TwoStatesThatAreNotConnectedAreTwoReports) {
  EXPECT_THAT(after(connection(5, 0)), ElementsAre(kClosed));
  EXPECT_THAT(after(connection(5, 2)), ElementsAre(kClosed));
}

TEST_F(SppConnectionStatus, AFirstNoticeWithoutServiceAndConnectionRepeatsTheStart) {
  EXPECT_THAT(after(connection(5, 0, "")), IsEmpty());
  EXPECT_EQ(storedNotice(), "5 [] 0");
}

TEST_F(SppConnectionStatus, AFirstNoticeThatDiffersFromTheStartInItsServiceAloneIsReported) {
  EXPECT_THAT(after(connection(5, 0)), ElementsAre(kClosed));
}

TEST_F(SppConnectionStatus, AFirstNoticeThatDiffersFromTheStartInItsStateAloneIsReported) {
  EXPECT_THAT(after(connection(5, 1, "")), ElementsAre(sppReport(5, "Phone", 2)));
}

TEST_F(SppConnectionStatus, AnotherServiceIsReported) {
  given(connection(5, 1));
  EXPECT_THAT(after(connection(5, 1, kOtherService)), ElementsAre(sppReport(5, "Phone", 2, kOtherService)));
}

TEST_F(SppConnectionStatus, ServicesAreComparedByteForByte) {
  given(connection(5, 1, "abcd"));
  EXPECT_THAT(after(connection(5, 1, "ABCD")), ElementsAre(sppReport(5, "Phone", 2, "ABCD")));
}

TEST_F(SppConnectionStatus, ANoticeThatRepeatsTheOneOfAnotherDeviceIsNotReported) {
  given(connection(5, 1));
  EXPECT_THAT(after(connection(9, 1)), IsEmpty());
  EXPECT_EQ(storedNotice(), describe(connection(9, 1)));
}

TEST_F(SppConnectionStatus, ANoticeOfAnotherDeviceThatDiffersIsReported) {
  given(connection(5, 1));
  EXPECT_THAT(after(connection(9, 0)), ElementsAre(sppReport(9, "Tablet", 1, kService)));
  EXPECT_THAT(after(connection(5, 1)), ElementsAre(kOpened)) << "what was said of this device before does not count";
}

TEST_F(SppConnectionStatus, ANoticeOfADeviceThatIsNotListedIsStoredAndNotReported) {
  EXPECT_THAT(after(connection(7, 1)), IsEmpty());
  EXPECT_EQ(storedNotice(), describe(connection(7, 1)));
  EXPECT_THAT(after(connection(5, 1)), IsEmpty()) << "it repeats the stored one";
}

TEST_F(SppConnectionStatus, ANoticeOfAnUnavailableDeviceIsStoredAndNotReported) {
  EXPECT_THAT(after(connection(6, 1)), IsEmpty());
  EXPECT_EQ(storedNotice(), describe(connection(6, 1)));
}

TEST_F(SppConnectionStatus, ANoticeOfAnAppleDeviceIsStoredAndNotReported) {
  for (const std::uint16_t vendor : kAppleVendors) {
    given(listOf({entry(5, "iPhone", vendor)}));
    EXPECT_THAT(after(connection(5, 0)), IsEmpty());
    EXPECT_THAT(after(connection(5, 1)), IsEmpty());
    EXPECT_EQ(storedNotice(), describe(connection(5, 1)));
  }
}

TEST_F(SppConnectionStatus, AnAppleEntryOfTheSameDeviceStopsTheSearch) {
  for (const std::uint16_t vendor : kAppleVendors) {
    given(listOf({entry(5, "Phone"), entry(5, "iPhone", vendor), entry(5, "Tablet")}));
    EXPECT_THAT(after(connection(5, 1, std::to_string(vendor))),
                ElementsAre(sppReport(5, "Phone", 2, std::to_string(vendor))));
  }
}

TEST_F(SppConnectionStatus, AnUnavailableAppleEntryOfTheSameDeviceStopsTheSearchToo) {
  given(listOf({entry(5, "iPhone", 0x05AC, 0), entry(5, "Tablet")}));
  EXPECT_THAT(after(connection(5, 1)), IsEmpty());
}

TEST_F(SppConnectionStatus, AnAppleEntryOfAnotherDeviceIsPassedOver) {
  given(listOf({entry(4, "iPhone", 0x004C), entry(5, "Phone")}));
  EXPECT_THAT(after(connection(5, 1)), ElementsAre(kOpened)) << "the list behind the Apple entry was stored";
}

TEST_F(SppConnectionStatus, AnUnavailableEntryOfTheSameDeviceIsPassedOver) {
  given(listOf({unavailable(5, "Old"), entry(5, "Phone")}));
  EXPECT_THAT(after(connection(5, 1)), ElementsAre(kOpened));
}

TEST_F(SppConnectionStatus, EveryEntryOfTheSameDeviceIsReportedOpen) {
  given(listOf({entry(5, "Phone"), entry(9, "Tablet"), entry(5, "Twin")}));
  EXPECT_THAT(after(connection(5, 1)), ElementsAre(kOpened, sppReport(5, "Twin", 2, kService)));
  EXPECT_THAT(after(connection(5, 0)), ElementsAre(kClosed, sppReport(5, "Twin", 1, kService)));
}

TEST_F(SppConnectionStatus, TheNextNoticeDoesNotCarryTheOpenStatusOn) {
  given(connection(5, 1));
  EXPECT_THAT(after(connection(9, 2)), ElementsAre(sppReport(9, "Tablet", 1, kService)));
}

TEST_F(SppConnectionStatus, TheListDecidesWhatADeviceIsCalled) {
  given(listOf({entry(5, "Renamed")}));
  EXPECT_THAT(after(connection(5, 1)), ElementsAre(sppReport(5, "Renamed", 2, kService)));
}

TEST_F(SppConnectionStatus, AListDoesNotForgetTheLastNotice) {
  given(connection(5, 1));
  given(listOf({}));
  given(listOf({entry(5, "Phone")}));
  EXPECT_THAT(after(connection(5, 1)), IsEmpty());
}

TEST_F(SppConnectionStatus, ANoticeLeavesTheListAsItIs) {
  const Lines before = storedList();
  given(connection(5, 1));
  given(connection(7, 0));
  EXPECT_THAT(storedList(), ElementsAreArray(before));
  EXPECT_THAT(storedDevices(), IsEmpty());
}

TEST_F(SppConnectionStatus, BeforeTheFirstListNoticesAreOnlyStored) {
  sut.emplace("Radio");
  sut->setListener(&events);
  EXPECT_THAT(after(connection(5, 1)), IsEmpty());
  EXPECT_EQ(storedNotice(), describe(connection(5, 1)));
  given(listOf({entry(5, "Phone")}));
  EXPECT_THAT(after(connection(5, 1)), IsEmpty());
}

TEST_F(SppConnectionStatus, WithoutAListenerTheNoticeIsStoredAllTheSame) {
  sut->setListener(nullptr);
  EXPECT_THAT(after(connection(5, 1)), IsEmpty());
  EXPECT_EQ(storedNotice(), describe(connection(5, 1)));
  sut->setListener(&events);
  EXPECT_THAT(after(connection(5, 1)), IsEmpty());
  EXPECT_THAT(after(connection(5, 0)), ElementsAre(kClosed));
}

}  // namespace
