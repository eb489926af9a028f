// bluetoothd ends in the middle of everything.
#include "tests/bluez_vm/bluez_fixture.h"

namespace {

const std::string kService = kUuid;

class BluetoothdEnds : public BluezTest {
 public:
  // The head unit waits until the phone has registered with the new daemon: who searches takes the first record, and in
  // this machine both show on both sides.
  static void startBluetoothd(const Child& headUnit) {
    headUnit.stop();
    lab("bluetoothd start");
    headUnit.proceed();
  }
};

// The kernel keeps the links of a killed daemon.
TEST_F(BluetoothdEnds, KilledItLeavesLinksOpenAndTheServiceIsOfferedAgainWhenItIsBack) {
  Child sut("spp");
  const std::string device = openLink(sut);
  lab("bluetoothd kill");
  EXPECT_TRUE(echoes(sut, device));

  startBluetoothd(sut);
  EXPECT_TRUE(echoes(sut, device));
  lab("close " + kService);
  EXPECT_TRUE(says(sut, link(device, 0)));
  EXPECT_TRUE(answers(sut, "is-registered " + kService, "1"));
  lab("connect " + kService);
  EXPECT_TRUE(says(sut, link(device, 1)));
  EXPECT_TRUE(echoes(sut, device));
}

TEST_F(BluetoothdEnds, StoppedItTakesLinksAlongAndAutoConnectBringsThemBack) {
  Child sut("spp");
  const std::string device = openLink(sut);
  ASSERT_EQ(sut.ask("auto-start " + device + " " + kService), "1");
  lab("bluetoothd stop");
  EXPECT_TRUE(says(sut, link(device, 0)));

  startBluetoothd(sut);
  EXPECT_TRUE(says(sut, link(device, 1)));
  EXPECT_TRUE(echoes(sut, device));
}

TEST_F(BluetoothdEnds, AProcessThatStartsWithoutItIsRefusedSaysWhyAndWorksWhenItIsThere) {
  lab("bluetoothd stop");
  Child sut("spp");
  EXPECT_EQ(sut.ask("register " + kService), "0");
  EXPECT_TRUE(sut.waitForLog("BlueZ does not run, there is no org.bluez on the bus"));

  lab("bluetoothd start");
  const std::string device = openLink(sut);
  EXPECT_TRUE(echoes(sut, device));
}

}  // namespace
