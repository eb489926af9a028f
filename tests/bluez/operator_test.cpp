// LinkAppCommon end to end: an operator and a hands-free wrapper on BlueZ and oFono.
#include <string>

#include "tests/bluez/bluez_fixture.h"

namespace bluez_test {
namespace {

using test_support::Child;

class OperatorTest : public SimulatedBluezTest {
 public:
  static std::string device(unsigned int number, const std::string& name, unsigned int status, bool hasUuid = false) {
    return "device 0 " + std::to_string(number) + " " + name + " status " + std::to_string(status) + " " +
           (hasUuid ? kUuid : "");
  }
};

TEST_F(OperatorTest, ConnectsSendsReceivesAndDisconnects) {
  addPhone();
  Child sut("application", {kUuid});
  EXPECT_TRUE(sut.expect(device(0, "Phone", 1)));
  EXPECT_EQ(sut.ask("send early"), "false");

  EXPECT_EQ(sut.ask("connect 0"), "true");
  EXPECT_TRUE(sut.expect(device(0, "Phone", 2, true)));
  EXPECT_EQ(sut.ask("send hello"), "true");
  EXPECT_TRUE(sut.expect("result 0"));
  EXPECT_TRUE(sut.expect("received hello"));

  EXPECT_EQ(sut.ask("disconnect 0"), "true");
  EXPECT_TRUE(sut.expect(device(0, "Phone", 1, true)));
  EXPECT_TRUE(simulationSays(std::string("link ") + kPhone + " " + kUuid + " down by head unit"));
  EXPECT_TRUE(simulationComesTo("profiles", "none"));
  EXPECT_EQ(sut.ask("send late"), "false");

  EXPECT_EQ(sut.ask("connect 0"), "true") << "once more";
  EXPECT_TRUE(sut.expect(device(0, "Phone", 2, true)));
  EXPECT_EQ(sut.finish(), 0);
}

TEST_F(OperatorTest, WaitsForAPhoneAndKeepsItsLink) {
  addPhone();
  Child sut("application", {kUuid});
  EXPECT_TRUE(sut.expect(device(0, "Phone", 1)));
  EXPECT_EQ(sut.ask("standby"), "true");
  order(std::string("connect ") + kPhone + " " + kUuid);
  EXPECT_TRUE(sut.expect(device(0, "Phone", 2, true)));
  EXPECT_EQ(sut.ask("auto 0"), "true");
  EXPECT_EQ(sut.ask("send hello"), "true");
  EXPECT_TRUE(sut.expect("result 0"));
  EXPECT_TRUE(sut.expect("received hello"));

  EXPECT_EQ(simulation().ask(std::string("drop ") + kPhone), "1");
  EXPECT_TRUE(sut.expect(device(0, "Phone", 1, true)));
  EXPECT_TRUE(sut.expect(device(0, "Phone", 2, true)));

  EXPECT_EQ(sut.ask("stop-auto 0"), "true");
  EXPECT_TRUE(sut.expect(device(0, "Phone", 1, true)));
  EXPECT_EQ(sut.finish(), 0);
}

// examples/spp asks for everything from inside its callbacks.
TEST_F(OperatorTest, TheExampleSendsBackWhatAPhoneSends) {
  addPhone("mode=sink");
  const std::string traffic = std::string("traffic ") + kPhone + " " + kUuid;
  Child sut("spp_example");
  EXPECT_TRUE(sut.expect("waiting for phones; Enter ends"));
  for (unsigned int links = 1; links <= 3; ++links) {
    EXPECT_TRUE(simulationSays(std::string("link ") + kPhone + " " + kUuid + " up"));
    order(std::string("send ") + kPhone + " " + kUuid + " 5000");
    EXPECT_TRUE(
        simulationComesTo(traffic, "up links=" + std::to_string(links) + " received=5000 sent=5000 wrong-at=none"));
    EXPECT_EQ(simulation().ask(std::string("drop ") + kPhone), "1");
  }
  EXPECT_EQ(sut.finish(), 0);
}

TEST_F(OperatorTest, HearsOfPhonesThatComeAndGo) {
  addPhone();
  Child sut("application", {kUuid});
  EXPECT_TRUE(sut.expect(device(0, "Phone", 1)));
  addPhone("name=Other", kUuid, kOtherPhone);
  EXPECT_TRUE(sut.expect(device(1, "Other", 1)));
  order(std::string("forget ") + kPhone);
  EXPECT_TRUE(sut.expect(device(0, "Phone", 0)));
  order(std::string("phone ") + kOtherPhone + " alias=Renamed");
  EXPECT_TRUE(sut.expect(device(1, "Renamed", 1)));
}

TEST_F(OperatorTest, DoesNotHearOfApplesPhones) {
  addPhone("name=Pear modalias=bluetooth:v004Cp7203d0102");
  addPhone("name=Other", kUuid, kOtherPhone);
  Child sut("application", {kUuid});
  EXPECT_TRUE(sut.expect(device(1, "Other", 1)));
}

TEST_F(OperatorTest, IsNotToldOfAnIphoneWhoseVendorComesLate) {
  addPhone("paired=no resolved=no modalias=none");
  Child sut("application", {kUuid});
  EXPECT_EQ(sut.ask("standby"), "true") << "once it has started";
  order(std::string("phone ") + kPhone + " paired=yes");
  order(std::string("phone ") + kPhone + " modalias=bluetooth:v004Cp7203d0102");
  addPhone("name=Other", kUuid, kOtherPhone);
  EXPECT_TRUE(sut.expect(device(1, "Other", 1))) << "which comes after what the iPhone would have caused";
}

TEST_F(OperatorTest, RestartsOfBluetoothdAreGoneThrough) {
  addPhone();
  Child sut("application", {kUuid});
  EXPECT_TRUE(sut.expect(device(0, "Phone", 1)));
  EXPECT_EQ(sut.ask("auto 0"), "true");
  EXPECT_TRUE(sut.expect(device(0, "Phone", 2, true)));
  order("bluetoothd stop");
  EXPECT_TRUE(sut.expect(device(0, "Phone", 1, true)));
  EXPECT_TRUE(sut.expect(device(0, "Phone", 0)));
  order("bluetoothd start");
  EXPECT_TRUE(sut.expect(device(0, "Phone", 1)));
  EXPECT_TRUE(sut.expect(device(0, "Phone", 2, true)));
}

TEST_F(OperatorTest, HandsFreeOfAPhoneReachesTheWrappersListener) {
  addPhone("hands-free=yes");
  Child sut("application", {kUuid});
  EXPECT_TRUE(sut.expect(device(0, "Phone", 1)));
  order(std::string("hands-free ") + kPhone + " up");
  EXPECT_TRUE(sut.expect("hands-free kind 0 device 0 up"));
  order(std::string("hands-free ") + kPhone + " down");
  EXPECT_TRUE(sut.expect("hands-free kind 0 device 0 down"));
  order(std::string("hands-free ") + kPhone + " up");
  EXPECT_TRUE(sut.expect("hands-free kind 0 device 0 up"));
  order("ofonod restart");
  EXPECT_TRUE(sut.expect("hands-free kind 0 device 0 down"));
}

TEST_F(OperatorTest, HandsFreeThatWasUpBeforeIsToldToo) {
  addPhone("hands-free=yes");
  order(std::string("hands-free ") + kPhone + " up");
  Child sut("application", {kUuid});
  EXPECT_TRUE(sut.expect(device(0, "Phone", 1)));
  EXPECT_TRUE(sut.expect("hands-free kind 0 device 0 up"));
}

}  // namespace
}  // namespace bluez_test
