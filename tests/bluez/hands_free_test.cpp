#include <string>

#include "tests/bluez/bluez_fixture.h"

namespace bluez_test {
namespace {

using HandsFreeTest = SimulatedBluezTest;

const std::string kPaired = std::string("paired 0=") + kPhone;

TEST_F(HandsFreeTest, AnObserverIsToldThePresentState) {
  addPhone("hands-free=yes");
  addPhone("name=Other hands-free=yes", kUuid, kOtherPhone);
  order(std::string("hands-free ") + kOtherPhone + " up");
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 000f 1][1 Other 000f 1]"));
  EXPECT_TRUE(sut.does("manager"));
  EXPECT_TRUE(sut.expect("thawed"));
  EXPECT_TRUE(sut.expect(kPaired + " 1=" + kOtherPhone));
  EXPECT_TRUE(sut.expect("hands-free 1 profile 1 state 3"));
  EXPECT_EQ(sut.ask("problems"), "none");
}

TEST_F(HandsFreeTest, EveryNewObserverIsToldTheStateOnce) {
  addPhone();
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 000f 1]"));
  for (unsigned int i = 0; i < 3; ++i) {
    EXPECT_TRUE(sut.does("manager"));
    EXPECT_TRUE(sut.expect("thawed"));
    EXPECT_TRUE(sut.expect(kPaired));
    EXPECT_TRUE(sut.does("no-manager"));
  }
}

TEST_F(HandsFreeTest, FollowsThePhonesLink) {
  addPhone("hands-free=yes");
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 000f 1]"));
  EXPECT_TRUE(sut.does("manager"));
  EXPECT_TRUE(sut.expect("thawed"));
  EXPECT_TRUE(sut.expect(kPaired));
  for (unsigned int i = 0; i < 3; ++i) {
    order(std::string("hands-free ") + kPhone + " up");
    EXPECT_TRUE(sut.expect("hands-free 0 profile 1 state 3"));
    order(std::string("hands-free ") + kPhone + " down");
    EXPECT_TRUE(sut.expect("hands-free 0 profile 1 state 0"));
  }
  order(std::string("hands-free ") + kPhone + " up");
  EXPECT_TRUE(sut.expect("hands-free 0 profile 1 state 3"));
  order(std::string("acl ") + kPhone + " down");
  EXPECT_TRUE(sut.expect("hands-free 0 profile 1 state 0"));
}

TEST_F(HandsFreeTest, ThePairedListFollowsPairing) {
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "none"));
  EXPECT_TRUE(sut.does("manager"));
  EXPECT_TRUE(sut.expect("thawed"));
  EXPECT_TRUE(sut.expect("paired"));
  addPhone();
  EXPECT_TRUE(sut.expect(kPaired));
  addPhone("name=Other", kUuid, kOtherPhone);
  EXPECT_TRUE(sut.expect(kPaired + " 1=" + kOtherPhone));
  order(std::string("forget ") + kPhone);
  EXPECT_TRUE(sut.expect(std::string("paired 1=") + kOtherPhone));
}

TEST_F(HandsFreeTest, APhoneThatIsForgottenLosesItsHandsFreeLink) {
  addPhone("hands-free=yes");
  order(std::string("hands-free ") + kPhone + " up");
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 000f 1]"));
  EXPECT_TRUE(sut.does("manager"));
  EXPECT_TRUE(sut.expect("thawed"));
  EXPECT_TRUE(sut.expect(kPaired));
  EXPECT_TRUE(sut.expect("hands-free 0 profile 1 state 3"));
  order(std::string("forget ") + kPhone);
  EXPECT_TRUE(sut.expect("hands-free 0 profile 1 state 0"));
}

TEST_F(HandsFreeTest, WithoutOfonoNothingIsConnectedAndEverythingElseWorks) {
  order("ofonod kill");
  addPhone("hands-free=yes");
  const auto sut = linkedHeadUnit();
  EXPECT_TRUE(sut->does("manager"));
  EXPECT_TRUE(sut->expect("thawed"));
  EXPECT_TRUE(sut->expect(kPaired));
  order("ofonod start");
  order(std::string("hands-free ") + kPhone + " up");
  EXPECT_TRUE(sut->expect("hands-free 0 profile 1 state 3"));
}

TEST_F(HandsFreeTest, OneProgramMayOwnBothNames) {
  startSimulation({"--one-connection"});
  addPhone("hands-free=yes");
  const auto sut = linkedHeadUnit();
  EXPECT_TRUE(sut->does("manager"));
  EXPECT_TRUE(sut->expect("thawed"));
  EXPECT_TRUE(sut->expect(kPaired));
  order(std::string("hands-free ") + kPhone + " up");
  EXPECT_TRUE(sut->expect("hands-free 0 profile 1 state 3"));
  order("ofonod kill");
  EXPECT_TRUE(sut->expect("hands-free 0 profile 1 state 0"));
  order("bluetoothd kill");
  EXPECT_TRUE(sut->expect("frozen"));
}

}  // namespace
}  // namespace bluez_test
