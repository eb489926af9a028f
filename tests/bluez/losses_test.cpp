// The adapter goes, or is switched off.
#include <string>

#include "tests/bluez/bluez_fixture.h"

namespace bluez_test {
namespace {

using LossesTest = SimulatedBluezTest;

const std::string kConnect = std::string("connect 0 ") + kUuid;
const std::string kListed = "[0 Phone 000f 1]";

TEST_F(LossesTest, AnAdapterThatIsSwitchedOffEndsLinksAndAvailability) {
  addPhone();
  const auto sut = linkedHeadUnit();
  order("adapter off hci0");
  EXPECT_TRUE(sut->expect(link(0, kUuid, false)));
  EXPECT_TRUE(sut->comesTo("devices", "[0 Phone 000f 0]"));
  EXPECT_FALSE(sut->does(kConnect));

  order("adapter on hci0");
  EXPECT_TRUE(sut->comesTo("devices", kListed));
  EXPECT_TRUE(sut->does(kConnect));
  EXPECT_TRUE(sut->expect(link(0, kUuid, true)));
  EXPECT_EQ(sut->ask("problems"), "none");
}

TEST_F(LossesTest, AnAdapterThatIsPulledOutFreezesThePairedPhones) {
  addPhone();
  const auto sut = linkedHeadUnit();
  EXPECT_TRUE(sut->does("manager"));
  EXPECT_TRUE(sut->expect("thawed"));
  EXPECT_TRUE(sut->expect(std::string("paired 0=") + kPhone));

  order("adapter remove hci0");
  EXPECT_TRUE(sut->expect(link(0, kUuid, false)));
  EXPECT_TRUE(sut->expect("frozen")) << "an empty list would tell that nothing is paired any more";
  EXPECT_TRUE(sut->comesTo("devices", "[0 Phone 000f 0]"));
  EXPECT_FALSE(sut->does(kConnect));

  order("adapter add hci0");
  addPhone();
  EXPECT_TRUE(sut->expect("thawed"));
  EXPECT_TRUE(sut->comesTo("devices", kListed));
  EXPECT_TRUE(sut->does(kConnect));
  EXPECT_EQ(sut->ask("problems"), "none");
}

TEST_F(LossesTest, AConnectThatIsUnderWayFailsWithTheAdapter) {
  addPhone("hold=yes");
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", kListed));
  EXPECT_TRUE(sut.does(std::string("register ") + kUuid));
  EXPECT_TRUE(sut.does(kConnect));
  EXPECT_TRUE(simulationSays(std::string("connect ") + kPhone + " " + kUuid));
  order("adapter off hci0");
  EXPECT_TRUE(sut.expect(link(0, kUuid, false)));
}

TEST_F(LossesTest, AConnectThatIsUnderWayFailsWhenThePhoneIsForgotten) {
  addPhone("hold=yes");
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", kListed));
  EXPECT_TRUE(sut.does(std::string("register ") + kUuid));
  EXPECT_TRUE(sut.does(kConnect));
  EXPECT_TRUE(simulationSays(std::string("connect ") + kPhone + " " + kUuid));
  order(std::string("forget ") + kPhone);
  EXPECT_TRUE(sut.expect(link(0, kUuid, false)));
}

TEST_F(LossesTest, PhonesOfASecondAdapterAreThereToo) {
  order("adapter add hci1 00:AA:01:00:00:01");
  addPhone();
  addPhone("name=Other adapter=hci1", kUuid, kOtherPhone);
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 000f 1][1 Other 000f 1]"));
  order("adapter off hci0");
  EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 000f 0][1 Other 000f 1]"));
  EXPECT_TRUE(sut.does(std::string("register ") + kUuid));
  EXPECT_TRUE(sut.does(std::string("connect 1 ") + kUuid));
  EXPECT_TRUE(sut.expect(link(1, kUuid, true)));
}

}  // namespace
}  // namespace bluez_test
