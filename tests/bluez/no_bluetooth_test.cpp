// No bus, no BlueZ, or no permission: every operation is refused, and one line in the log says why.
#include <string>

#include "tests/bluez/bluez_fixture.h"

namespace bluez_test {
namespace {

class NoBluetoothTest : public BluezTest {
 public:
  static void expectRefusals(HeadUnit& sut) {
    const std::string link = std::string(" 0 ") + kUuid;
    for (const std::string& operation : std::initializer_list<std::string>{
             std::string("register ") + kUuid, std::string("unregister ") + kUuid, std::string("registered ") + kUuid,
             std::string("wait ") + kUuid, "connect" + link, "disconnect" + link, "auto" + link, "stop-auto" + link,
             "send" + link + " 10", "list"}) {
      EXPECT_FALSE(sut.does(operation)) << operation;
    }
    EXPECT_EQ(sut.ask("devices"), "no list");
    EXPECT_EQ(sut.ask("results"), "sent=0 unsent=0");
    EXPECT_EQ(sut.countInLog("no Bluetooth"), 1U) << sut.log();
    EXPECT_EQ(sut.finish(), 0);
  }
};

TEST_F(NoBluetoothTest, WithoutABusEveryOperationIsRefused) {
  HeadUnit sut;
  expectRefusals(sut);
}

TEST_F(NoBluetoothTest, WithoutBluetoothdEveryOperationIsRefused) {
  startBus();
  HeadUnit sut;
  expectRefusals(sut);
}

TEST_F(NoBluetoothTest, WithoutPermissionEveryOperationIsRefused) {
  startBus("<deny send_destination=\"org.bluez\"/>\n");
  startSimulation();
  HeadUnit sut;
  expectRefusals(sut);
}

TEST_F(NoBluetoothTest, ABusThatComesLaterIsFound) {
  HeadUnit sut;
  EXPECT_FALSE(sut.does("list"));
  startBus();
  startSimulation();
  addPhone();
  EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 000f 1]"));
}

class SilentBluezTest : public SimulatedBluezTest {};

TEST_F(SilentBluezTest, ABluetoothdThatDoesNotTellItsDevicesIsAskedAgain) {
  addPhone();
  order("fail GetManagedObjects org.freedesktop.DBus.Error.AccessDenied refused 2");
  HeadUnit sut;
  EXPECT_FALSE(sut.does("list"));
  EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 000f 1]"));
  EXPECT_EQ(sut.countInLog("BlueZ does not tell its devices"), 1U) << sut.log();
}

TEST_F(SilentBluezTest, AnOfonoThatDoesNotTellItsModemsIsAskedAgain) {
  addPhone("hands-free=yes");
  order(std::string("hands-free ") + kPhone + " up");
  order("fail GetModems org.freedesktop.DBus.Error.AccessDenied refused 2");
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 000f 1]"));
  EXPECT_TRUE(sut.does("manager"));
  EXPECT_TRUE(sut.expect("thawed"));
  EXPECT_TRUE(sut.expect(std::string("paired 0=") + kPhone));
  EXPECT_TRUE(sut.expect("hands-free 0 profile 1 state 3"));
  EXPECT_EQ(sut.countInLog("oFono does not tell its modems"), 1U) << sut.log();
}

}  // namespace
}  // namespace bluez_test
