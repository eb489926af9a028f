#include <string>

#include "tests/bluez/bluez_fixture.h"

namespace bluez_test {
namespace {

const std::string kStart = std::string("auto 0 ") + kUuid;
const std::string kStop = std::string("stop-auto 0 ") + kUuid;
const std::string kTraffic = std::string("traffic ") + kPhone + " " + kUuid;

class AutoConnectTest : public SimulatedBluezTest {
 public:
  // A head unit that has the phone in its list and offers the service.
  void start() {
    EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 000f 1]"));
    EXPECT_TRUE(sut.does(std::string("register ") + kUuid));
  }

  HeadUnit sut;
};

TEST_F(AutoConnectTest, OpensTheLinkOfAPhoneThatIsThere) {
  addPhone();
  start();
  EXPECT_TRUE(sut.does(kStart));
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
}

TEST_F(AutoConnectTest, OpensTheLinkWhenThePhoneComes) {
  addPhone("range=out");
  start();
  EXPECT_TRUE(sut.does(kStart));
  EXPECT_TRUE(simulationSays(std::string("connect ") + kPhone + " failed: br-connection-page-timeout"));
  order(std::string("phone ") + kPhone + " range=in");
  order(std::string("acl ") + kPhone + " up");
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
}

TEST_F(AutoConnectTest, TriesAgainAndAgain) {
  addPhone("range=out");
  start();
  EXPECT_TRUE(sut.does(kStart));
  for (unsigned int i = 0; i < 3; ++i) {
    EXPECT_TRUE(simulationSays(std::string("connect ") + kPhone + " failed: br-connection-page-timeout"));
  }
  order(std::string("phone ") + kPhone + " range=in");
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
}

TEST_F(AutoConnectTest, OpensALinkAgainThatThePhoneEnded) {
  addPhone();
  start();
  EXPECT_TRUE(sut.does(kStart));
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
  for (const char* const how : {"", " reset"}) {
    EXPECT_EQ(simulation().ask(std::string("drop ") + kPhone + how), "1");
    EXPECT_TRUE(sut.expect(link(0, kUuid, false)));
    EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
  }
  EXPECT_EQ(sut.ask("problems"), "none");
}

TEST_F(AutoConnectTest, OpensALinkAgainThatWasLostWithThePhone) {
  addPhone();
  start();
  EXPECT_TRUE(sut.does(kStart));
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
  order(std::string("phone ") + kPhone + " range=out");
  EXPECT_TRUE(sut.expect(link(0, kUuid, false)));
  order(std::string("phone ") + kPhone + " range=in");
  order(std::string("acl ") + kPhone + " up");
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
}

TEST_F(AutoConnectTest, OpensTheLinkWhenThePhoneBeginsToOfferTheService) {
  addPhone("", kOtherUuid);
  start();
  EXPECT_TRUE(sut.does(kStart));
  EXPECT_TRUE(simulationSays(std::string("connect ") + kPhone + " failed: br-connection-profile-unavailable"));
  order(std::string("phone ") + kPhone + " services=" + kUuid + " uuids=" + kUuid);
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
}

TEST_F(AutoConnectTest, OpensTheLinkWhenTheAdapterIsSwitchedOn) {
  addPhone();
  start();
  EXPECT_TRUE(sut.does(kStart));
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
  order("adapter off hci0");
  EXPECT_TRUE(sut.expect(link(0, kUuid, false)));
  order("adapter on hci0");
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
}

TEST_F(AutoConnectTest, OpensTheLinkWhenBluetoothdIsBack) {
  addPhone();
  start();
  EXPECT_TRUE(sut.does(kStart));
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
  order("bluetoothd stop");
  EXPECT_TRUE(sut.expect(link(0, kUuid, false)));
  order("bluetoothd start");
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
}

TEST_F(AutoConnectTest, LeavesALinkThatIsUpAlone) {
  addPhone();
  start();
  EXPECT_TRUE(sut.does(std::string("connect 0 ") + kUuid));
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
  EXPECT_TRUE(sut.does(kStart));
  EXPECT_TRUE(sut.does(kStart)) << "again";
  EXPECT_NE(simulation().ask(kTraffic).find("links=1"), std::string::npos);

  EXPECT_EQ(simulation().ask(std::string("drop ") + kPhone), "1");
  EXPECT_TRUE(sut.expect(link(0, kUuid, false)));
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
}

TEST_F(AutoConnectTest, StoppingItEndsTheLinkForGood) {
  addPhone();
  start();
  EXPECT_TRUE(sut.does(kStart));
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
  EXPECT_TRUE(sut.does(std::string("unregister ") + kUuid));
  EXPECT_TRUE(sut.does(kStop));
  EXPECT_TRUE(sut.expect(link(0, kUuid, false)));
  EXPECT_TRUE(simulationSays(std::string("link ") + kPhone + " " + kUuid + " down by head unit"));

  order(std::string("acl ") + kPhone + " down");
  order(std::string("acl ") + kPhone + " up");
  EXPECT_TRUE(sut.does(std::string("register ") + kOtherUuid)) << "what the phone's coming started is through";
  EXPECT_NE(simulation().ask(kTraffic).find("links=1"), std::string::npos);
}

TEST_F(AutoConnectTest, StoppingItEndsTheTries) {
  addPhone("range=out");
  start();
  EXPECT_TRUE(sut.does(kStart));
  EXPECT_TRUE(simulationSays(std::string("connect ") + kPhone + " failed: br-connection-page-timeout"));
  EXPECT_TRUE(sut.does(kStop));
  order(std::string("phone ") + kPhone + " range=in");
  order(std::string("acl ") + kPhone + " up");
  EXPECT_TRUE(sut.does(std::string("register ") + kOtherUuid));
  EXPECT_NE(simulation().ask(kTraffic).find("links=0"), std::string::npos);
}

TEST_F(AutoConnectTest, IsRefusedForWhatIsNotThere) {
  addPhone();
  EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 000f 1]"));
  EXPECT_FALSE(sut.does(kStart)) << "the service is not registered";
  EXPECT_TRUE(sut.does(std::string("register ") + kUuid));
  EXPECT_FALSE(sut.does(std::string("auto 7 ") + kUuid));
}

}  // namespace
}  // namespace bluez_test
