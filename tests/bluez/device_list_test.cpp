#include <stdlib.h>

#include <algorithm>
#include <string>

#include "tests/bluez/bluez_fixture.h"

namespace bluez_test {
namespace {

using DeviceListTest = SimulatedBluezTest;

const std::string kApple = "modalias=bluetooth:v004Cp7203d0102";
const std::string kThird = "00:AA:02:00:00:03";

TEST_F(DeviceListTest, IsEmptyWithoutPhones) {
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "none"));
  EXPECT_TRUE(sut.does("list"));
}

TEST_F(DeviceListTest, HasThePairedPhones) {
  addPhone("name=\"My Phone\" modalias=usb:v1D6Bp0246d0540");
  addPhone("paired=no", kUuid, kOtherPhone);
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "[0 My Phone 1d6b 1]"));
}

TEST_F(DeviceListTest, FollowsPairingAndForgetting) {
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "none"));
  addPhone("paired=no");
  order(std::string("phone ") + kPhone + " paired=yes");
  EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 000f 1]"));
  order(std::string("forget ") + kPhone);
  EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 000f 0]"));
  addPhone();
  EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 000f 1]"));
  EXPECT_EQ(sut.ask("problems"), "none");
}

TEST_F(DeviceListTest, FollowsNames) {
  addPhone();
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 000f 1]"));
  order(std::string("phone ") + kPhone + " alias=Renamed");
  EXPECT_TRUE(sut.comesTo("devices", "[0 Renamed 000f 1]"));
}

TEST_F(DeviceListTest, TakesTheAddressForANameWhereThereIsNone) {
  addPhone("name=none");
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "[0 00-AA-02-00-00-01 000f 1]"));
}

TEST_F(DeviceListTest, ABlockedPhoneIsNotAvailable) {
  addPhone("blocked=yes");
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 000f 0]"));
  order(std::string("phone ") + kPhone + " blocked=no");
  EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 000f 1]"));
}

// It would be an SPP phone until then otherwise, also where it is an iPhone.
TEST_F(DeviceListTest, APhoneIsListedWhenItsVendorIsKnown) {
  addPhone("paired=no resolved=no modalias=none");
  addPhone("name=Other", kUuid, kOtherPhone);
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "[0 Other 000f 1]"));
  order(std::string("phone ") + kPhone + " paired=yes");
  order(std::string("phone ") + kOtherPhone + " alias=Seen");
  EXPECT_TRUE(sut.comesTo("devices", "[0 Seen 000f 1]"));

  order(std::string("phone ") + kPhone + " " + kApple);
  EXPECT_TRUE(sut.comesTo("devices", "[0 Seen 000f 1][1 Phone 004c 1]"));
}

TEST_F(DeviceListTest, APhoneWithoutAVendorIsListedWhenItsServicesAreKnown) {
  addPhone("resolved=no modalias=none");
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "none"));
  order(std::string("acl ") + kPhone + " up");
  order(std::string("phone ") + kPhone + " resolved=yes");
  EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 0000 1]"));
}

// BlueZ does not search the services of a phone that connects by itself.
TEST_F(DeviceListTest, APhoneThatIsConnectedAlreadyAndWhoseServicesNobodySearchesIsListedAllTheSame) {
  addPhone("resolved=no modalias=none");
  order(std::string("acl ") + kPhone + " up");
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 0000 1]"));
}

TEST_F(DeviceListTest, APhoneWhosePairingEndsWithoutASearchOfItsServicesIsListedAllTheSame) {
  addPhone("paired=no resolved=no modalias=none");
  order(std::string("acl ") + kPhone + " up");
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "none"));
  order(std::string("phone ") + kPhone + " paired=yes");
  EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 0000 1]"));
}

class ChosenAdapterTest : public DeviceListTest, public testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(ByNameAndAddress, ChosenAdapterTest, testing::Values("hci1", "00:aa:01:00:00:01"));

TEST_P(ChosenAdapterTest, PhonesOfOtherAdaptersAreNotThere) {
  order("adapter add hci1 00:AA:01:00:00:01");
  addPhone();
  addPhone("name=Other adapter=hci1", kUuid, kOtherPhone);
  setenv("LINKAPP_BLUETOOTH_ADAPTER", GetParam(), 1);
  HeadUnit sut;
  unsetenv("LINKAPP_BLUETOOTH_ADAPTER");
  EXPECT_TRUE(sut.comesTo("devices", "[0 Other 000f 1]"));

  order(std::string("phone ") + kPhone + " alias=Changed");
  order("adapter off hci0");
  order(std::string("phone ") + kOtherPhone + " alias=Seen");
  EXPECT_TRUE(sut.comesTo("devices", "[0 Seen 000f 1]"));
  EXPECT_EQ(sut.ask("problems"), "none");
}

TEST_F(DeviceListTest, ApplesPhonesStandBehindTheOthers) {
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "none"));
  addPhone("name=Pear " + kApple);
  EXPECT_TRUE(sut.comesTo("devices", "[0 Pear 004c 1]"));
  addPhone("name=Other", kUuid, kOtherPhone);
  EXPECT_TRUE(sut.comesTo("devices", "[1 Other 000f 1][0 Pear 004c 1]"));
  addPhone("name=Quince modalias=usb:v05ACp12A8d0100", kUuid, kThird.c_str());
  EXPECT_TRUE(sut.comesTo("devices", "[1 Other 000f 1][0 Pear 004c 1][2 Quince 05ac 1]"));
  EXPECT_EQ(sut.ask("problems"), "none");
}

TEST_F(DeviceListTest, ADeviceKeepsItsPlaceWhenOneBeforeItGoes) {
  addPhone();
  addPhone("name=Other", kUuid, kOtherPhone);
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 000f 1][1 Other 000f 1]"));
  order(std::string("forget ") + kPhone);
  EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 000f 0][1 Other 000f 1]"));
  EXPECT_EQ(sut.ask("problems"), "none");
}

TEST_F(DeviceListTest, NumbersStayWithTheirDevicesOverRestartsOfTheHeadUnit) {
  addPhone();
  addPhone("name=Other", kUuid, kOtherPhone);
  {
    HeadUnit before;
    EXPECT_TRUE(before.comesTo("devices", "[0 Phone 000f 1][1 Other 000f 1]"));
    EXPECT_EQ(before.finish(), 0);
  }
  order(std::string("forget ") + kPhone);
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "[1 Other 000f 1]"));
  addPhone("name=Back");
  EXPECT_TRUE(sut.comesTo("devices", "[1 Other 000f 1][0 Back 000f 1]"));
}

TEST_F(DeviceListTest, NumbersAreTheSameInAllProcesses) {
  HeadUnit first;
  HeadUnit sut;
  EXPECT_TRUE(first.comesTo("devices", "none"));
  EXPECT_TRUE(sut.comesTo("devices", "none"));
  addPhone();
  addPhone("name=Other", kUuid, kOtherPhone);
  EXPECT_TRUE(first.comesTo("devices", "[0 Phone 000f 1][1 Other 000f 1]"));
  EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 000f 1][1 Other 000f 1]"));
}

std::size_t countOf(const std::string& text, char wanted) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), wanted));
}

// Hundreds of lists of hundreds of devices take their time on a busy machine.
bool isFull(HeadUnit& headUnit) {
  return test_support::waitUntil([&] { return countOf(headUnit.ask("devices"), '[') == 255; },
                                 5 * test_support::kDeadline);
}

// Numbers have 8 bits.
TEST_F(DeviceListTest, OfThreeHundredPhonesAsManyAreListedAsThereAreNumbers) {
  order(std::string("phones 300 services=") + kUuid);
  HeadUnit sut;
  EXPECT_TRUE(isFull(sut));
  EXPECT_EQ(sut.ask("problems"), "none");

  EXPECT_TRUE(sut.does(std::string("register ") + kUuid));
  EXPECT_TRUE(sut.does(std::string("connect 254 ") + kUuid));
  EXPECT_TRUE(sut.expect(link(254, kUuid, true)));
}

TEST_F(DeviceListTest, ThreeHundredPhonesThatComeOneByOneAreToldOneByOne) {
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "none"));
  order(std::string("phones 300 services=") + kUuid);
  EXPECT_TRUE(isFull(sut));
  EXPECT_EQ(sut.ask("problems"), "none");
}

}  // namespace
}  // namespace bluez_test
