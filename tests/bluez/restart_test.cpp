// bluetoothd, oFono and the bus end and come back.
#include <string>

#include "tests/bluez/bluez_fixture.h"

namespace bluez_test {
namespace {

using RestartTest = SimulatedBluezTest;

const std::string kRegister = std::string("register ") + kUuid;
const std::string kConnect = std::string("connect 0 ") + kUuid;
const std::string kSend = std::string("send 0 ") + kUuid + " 1000";
const std::string kReceived = std::string("received 0 ") + kUuid;
const std::string kListed = "[0 Phone 000f 1]";

TEST_F(RestartTest, LinksCarryBytesWhileBluetoothdIsKilledAndAfterItsRestart) {
  addPhone();
  const auto sut = linkedHeadUnit();
  order("bluetoothd kill");
  EXPECT_TRUE(sut->does(kSend));
  EXPECT_TRUE(sut->comesTo(kReceived, "1000 wrong-at=none"));

  order("bluetoothd start");
  EXPECT_TRUE(simulationComesTo("profiles", kUuid)) << "the service is registered again";
  EXPECT_TRUE(sut->does(kSend));
  EXPECT_TRUE(sut->comesTo(kReceived, "2000 wrong-at=none"));
  EXPECT_EQ(sut->ask("problems"), "none");
}

TEST_F(RestartTest, ALinkThatOutlivedBluetoothdCanBeEnded) {
  addPhone();
  const auto sut = linkedHeadUnit();
  order("bluetoothd kill");
  EXPECT_TRUE(sut->does(std::string("disconnect 0 ") + kUuid));
  EXPECT_TRUE(sut->expect(link(0, kUuid, false)));
  EXPECT_TRUE(simulationSays(std::string("link ") + kPhone + " " + kUuid + " down by head unit"));
}

TEST_F(RestartTest, ServicesAreThereAgainAfterARestart) {
  addPhone();
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", kListed));
  EXPECT_TRUE(sut.does(kRegister));
  for (unsigned int i = 0; i < 5; ++i) {
    order("bluetoothd restart");
    EXPECT_TRUE(simulationComesTo("profiles", kUuid));
  }
  EXPECT_TRUE(sut.does(std::string("registered ") + kUuid));
  EXPECT_TRUE(sut.comesTo("devices", kListed));
  EXPECT_TRUE(sut.does(kConnect));
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
}

TEST_F(RestartTest, AServiceThatBluetoothdRegistersTooLateAfterARestartIsRegisteredOnceMore) {
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "none"));
  EXPECT_TRUE(sut.does(kRegister));
  order("lose RegisterProfile");
  order("bluetoothd restart");
  EXPECT_TRUE(simulationSays(std::string("profile ") + kUuid + " unregistered")) << "it would be held for nobody";
  EXPECT_TRUE(simulationComesTo("profiles", kUuid));
  EXPECT_TRUE(sut.does(std::string("registered ") + kUuid));

  EXPECT_TRUE(sut.does(std::string("unregister ") + kUuid));
  EXPECT_TRUE(simulationComesTo("profiles", "none"));
  EXPECT_TRUE(sut.does(kRegister));
}

TEST_F(RestartTest, AServiceThatBluetoothdRefusesAfterARestartIsOfferedNoMore) {
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "none"));
  EXPECT_TRUE(sut.does(kRegister));
  order("fail RegisterProfile org.bluez.Error.NotPermitted \"the reason\"");
  order("bluetoothd restart");
  EXPECT_TRUE(sut.waitForLog("after its restart: org.bluez.Error.NotPermitted: the reason"));
  EXPECT_FALSE(sut.does(std::string("registered ") + kUuid));
  EXPECT_TRUE(sut.does(kRegister));
}

TEST_F(RestartTest, BluetoothdThatEndsInGoodOrderTakesTheLinksAlong) {
  addPhone();
  const auto sut = linkedHeadUnit();
  order("bluetoothd stop");
  EXPECT_TRUE(sut->expect(link(0, kUuid, false)));
  EXPECT_FALSE(sut->does(kSend));

  order("bluetoothd start");
  EXPECT_TRUE(simulationComesTo("profiles", kUuid));
  EXPECT_TRUE(sut->comesTo("devices", kListed));
  EXPECT_TRUE(sut->does(kConnect));
  EXPECT_TRUE(sut->expect(link(0, kUuid, true)));
}

TEST_F(RestartTest, WithoutBluetoothdPhonesAreNotAvailableAndRequestsAreRefused) {
  addPhone();
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", kListed));
  EXPECT_TRUE(sut.does(kRegister));
  order("bluetoothd kill");
  EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 000f 0]"));
  EXPECT_FALSE(sut.does(kConnect));
  EXPECT_FALSE(sut.does("list"));
  EXPECT_FALSE(sut.does(std::string("register ") + kOtherUuid));

  order("bluetoothd start");
  EXPECT_TRUE(sut.comesTo("devices", kListed));
  EXPECT_EQ(sut.ask("problems"), "none");
}

TEST_F(RestartTest, AConnectThatIsUnderWayWhenBluetoothdIsKilledHasFailed) {
  addPhone("hold=yes");
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", kListed));
  EXPECT_TRUE(sut.does(kRegister));
  EXPECT_TRUE(sut.does(kConnect));
  EXPECT_TRUE(simulationSays(std::string("connect ") + kPhone + " " + kUuid));
  order("bluetoothd kill");
  EXPECT_TRUE(sut.expect(link(0, kUuid, false)));
}

TEST_F(RestartTest, WhatChangedWhileBluetoothdWasAwayIsToldAfterItsRestart) {
  addPhone();
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", kListed));
  order("bluetoothd kill");
  order(std::string("forget ") + kPhone);
  addPhone("name=New", kUuid, kOtherPhone);
  order("bluetoothd start");
  EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 000f 0][1 New 000f 1]"));
  EXPECT_EQ(sut.ask("problems"), "none");
}

TEST_F(RestartTest, AHeadUnitThatStartsBeforeBluetoothdHasEverythingLater) {
  order("bluetoothd kill");
  addPhone();
  HeadUnit sut;
  EXPECT_FALSE(sut.does("list"));
  EXPECT_FALSE(sut.does(kRegister));
  order("bluetoothd start");
  EXPECT_TRUE(sut.comesTo("devices", kListed));
  EXPECT_TRUE(sut.does(kRegister));
  EXPECT_TRUE(sut.does(kConnect));
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
}

TEST_F(RestartTest, PairedPhonesAreFrozenWhileBluetoothdIsAway) {
  addPhone();
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", kListed));
  EXPECT_TRUE(sut.does("manager"));
  EXPECT_TRUE(sut.expect("thawed"));
  EXPECT_TRUE(sut.expect(std::string("paired 0=") + kPhone));
  order("bluetoothd kill");
  EXPECT_TRUE(sut.expect("frozen"));
  order("bluetoothd start");
  EXPECT_TRUE(sut.expect("thawed"));
  EXPECT_TRUE(sut.expect(std::string("paired 0=") + kPhone));
}

TEST_F(RestartTest, HandsFreeGoesWithOfonoAndComesBack) {
  addPhone("hands-free=yes");
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", kListed));
  EXPECT_TRUE(sut.does("manager"));
  EXPECT_TRUE(sut.expect("thawed"));
  EXPECT_TRUE(sut.expect(std::string("paired 0=") + kPhone));
  for (unsigned int i = 0; i < 3; ++i) {
    order(std::string("hands-free ") + kPhone + " up");
    EXPECT_TRUE(sut.expect("hands-free 0 profile 1 state 3"));
    order("ofonod kill");
    EXPECT_TRUE(sut.expect("hands-free 0 profile 1 state 0"));
    order("ofonod start");
  }
}

TEST_F(RestartTest, ServicesComeBackWithTheBus) {
  addPhone();
  const auto sut = linkedHeadUnit();
  killBus();
  EXPECT_TRUE(simulationSays("the bus is gone"));
  EXPECT_TRUE(sut->expect(link(0, kUuid, false))) << "bluetoothd ends without a bus";
  EXPECT_FALSE(sut->does(kConnect));
  EXPECT_FALSE(sut->does(kRegister));

  startBus();
  order("bluetoothd start");
  order("ofonod start");
  EXPECT_TRUE(sut->comesTo("devices", kListed));
  EXPECT_TRUE(simulationComesTo("profiles", kUuid));
  EXPECT_TRUE(sut->does(kConnect));
  EXPECT_TRUE(sut->expect(link(0, kUuid, true)));
  EXPECT_EQ(sut->ask("problems"), "none");
}

}  // namespace
}  // namespace bluez_test
