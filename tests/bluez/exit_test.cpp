// The singletons end while there is something to end. A watchdog, not a clock, judges: Child::finish gives up.
#include <string>

#include "tests/bluez/bluez_fixture.h"

namespace bluez_test {
namespace {

using ExitTest = SimulatedBluezTest;

TEST_F(ExitTest, OpenLinksEndWithTheService) {
  addPhone();
  const auto sut = linkedHeadUnit();
  EXPECT_TRUE(sut->does("end"));
  EXPECT_TRUE(simulationSays(std::string("link ") + kPhone + " " + kUuid + " down by head unit"));
  EXPECT_EQ(sut->ask("problems"), "none");
  EXPECT_EQ(sut->finish(), 0);
}

TEST_F(ExitTest, AProcessEndsWithOpenLinks) {
  addPhone();
  const auto sut = linkedHeadUnit();
  EXPECT_TRUE(sut->does("manager"));
  EXPECT_EQ(sut->finish(), 0);
  EXPECT_TRUE(simulationSays(std::string("link ") + kPhone + " " + kUuid + " down by head unit"));
  EXPECT_TRUE(simulationComesTo("profiles", "none"));
}

TEST_F(ExitTest, AProcessEndsWhileAPhoneDoesNotRead) {
  addPhone("mode=stall");
  const auto sut = linkedHeadUnit();
  sut->ask(std::string("fill 0 ") + kUuid + " 4096");
  EXPECT_EQ(sut->finish(), 0);
  EXPECT_TRUE(simulationSays(std::string("link ") + kPhone + " " + kUuid + " down by head unit"));
}

TEST_F(ExitTest, AProcessEndsWhileAPhoneSends) {
  addPhone("mode=sink source=1000000000");
  const auto sut = linkedHeadUnit();
  ASSERT_TRUE(test_support::waitUntil([&] { return sut->ask(std::string("received 0 ") + kUuid)[0] != '0'; }));
  EXPECT_EQ(sut->finish(), 0);
}

TEST_F(ExitTest, AProcessEndsWhileAConnectIsUnderWay) {
  addPhone("hold=yes");
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 000f 1]"));
  EXPECT_TRUE(sut.does(std::string("register ") + kUuid));
  EXPECT_TRUE(sut.does(std::string("connect 0 ") + kUuid));
  EXPECT_TRUE(simulationSays(std::string("connect ") + kPhone + " " + kUuid));
  EXPECT_EQ(sut.finish(), 0);
}

TEST_F(ExitTest, AProcessEndsWhileBluetoothdDoesNotAnswer) {
  addPhone();
  const auto sut = linkedHeadUnit();
  order("mute UnregisterProfile 9");
  order("mute DisconnectProfile 9");
  EXPECT_EQ(sut->finish(), 0);
}

TEST_F(ExitTest, AProcessEndsWithoutABus) {
  addPhone();
  const auto sut = linkedHeadUnit();
  killBus();
  EXPECT_TRUE(sut->expect(link(0, kUuid, false)));
  EXPECT_EQ(sut->finish(), 0);
}

TEST_F(ExitTest, AKilledProcessLeavesNothingBehind) {
  addPhone();
  linkedHeadUnit()->kill();
  EXPECT_TRUE(simulationSays(std::string("link ") + kPhone + " " + kUuid + " down by head unit"));
  EXPECT_TRUE(simulationComesTo("profiles", "none"));
  const auto next = linkedHeadUnit();
}

}  // namespace
}  // namespace bluez_test
