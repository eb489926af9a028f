#include <string>

#include "tests/bluez/bluez_fixture.h"

namespace bluez_test {
namespace {

using ConnectTest = SimulatedBluezTest;

const std::string kConnect = std::string("connect 0 ") + kUuid;
const std::string kDisconnect = std::string("disconnect 0 ") + kUuid;
const std::string kRegister = std::string("register ") + kUuid;
const std::string kTraffic = std::string("traffic ") + kPhone + " " + kUuid;
const std::string kListed = "[0 Phone 000f 1]";

TEST_F(ConnectTest, ALinkComesUpAndCarriesBytesBothWays) {
  addPhone();
  const auto sut = linkedHeadUnit();
  EXPECT_TRUE(sut->does(std::string("send 0 ") + kUuid + " 1000"));
  EXPECT_TRUE(sut->comesTo(std::string("received 0 ") + kUuid, "1000 wrong-at=none"));
  EXPECT_EQ(sut->ask("results"), "sent=1 unsent=0");
  EXPECT_EQ(sut->ask("problems"), "none");
}

TEST_F(ConnectTest, TheUuidOfNoticesIsWrittenAsTheApplicationWroteIt) {
  addPhone();
  HeadUnit sut;
  const std::string uuid = "35DE0F64-c263-4A4B-adb6-6b60500d1dbe";
  EXPECT_TRUE(sut.comesTo("devices", kListed));
  EXPECT_TRUE(sut.does("register " + uuid));
  EXPECT_TRUE(sut.does("connect 0 " + uuid));
  EXPECT_TRUE(sut.expect(link(0, uuid.c_str(), true)));
  EXPECT_TRUE(sut.does("send 0 " + uuid + " 10"));
  EXPECT_TRUE(sut.comesTo("received 0 " + uuid, "10 wrong-at=none"));
}

TEST_F(ConnectTest, ALinkThatIsUpIsToldAgainWhenItIsAskedForAgain) {
  addPhone();
  const auto sut = linkedHeadUnit();
  EXPECT_TRUE(sut->does(kConnect));
  EXPECT_TRUE(sut->expect(link(0, kUuid, true)));
  EXPECT_NE(simulation().ask(kTraffic).find("links=1"), std::string::npos);
}

TEST_F(ConnectTest, TheHeadUnitEndsALink) {
  addPhone();
  const auto sut = linkedHeadUnit();
  EXPECT_TRUE(sut->does(kDisconnect));
  EXPECT_TRUE(sut->expect(link(0, kUuid, false)));
  EXPECT_TRUE(simulationSays(std::string("link ") + kPhone + " " + kUuid + " down by head unit"));
}

// The order in which the operator does it.
TEST_F(ConnectTest, ALinkIsClosedAlsoAfterItsServiceWasTakenBack) {
  addPhone();
  const auto sut = linkedHeadUnit();
  EXPECT_TRUE(sut->does(std::string("unregister ") + kUuid));
  EXPECT_EQ(simulation().ask(kTraffic).substr(0, 3), "up ") << "taking the service back leaves the link";

  EXPECT_TRUE(sut->does(kDisconnect));
  EXPECT_TRUE(sut->expect(link(0, kUuid, false)));
  EXPECT_TRUE(simulationSays(std::string("link ") + kPhone + " " + kUuid + " down by head unit"));
}

class PhoneEndsLinkTest : public ConnectTest, public testing::WithParamInterface<const char*> {};

TEST_P(PhoneEndsLinkTest, IsTold) {
  addPhone();
  const auto sut = linkedHeadUnit();
  EXPECT_EQ(simulation().ask(std::string("drop ") + kPhone + GetParam()), "1");
  EXPECT_TRUE(sut->expect(link(0, kUuid, false)));
  EXPECT_FALSE(sut->does(std::string("send 0 ") + kUuid + " 10"));

  EXPECT_TRUE(sut->does(kConnect));
  EXPECT_TRUE(sut->expect(link(0, kUuid, true)));
  EXPECT_EQ(sut->ask("problems"), "none");
}

INSTANTIATE_TEST_SUITE_P(Ways, PhoneEndsLinkTest, testing::Values("", " reset"));

TEST_F(ConnectTest, ALostPhoneEndsItsLinks) {
  addPhone();
  const auto sut = linkedHeadUnit();
  order(std::string("acl ") + kPhone + " down");
  EXPECT_TRUE(sut->expect(link(0, kUuid, false)));
}

TEST_F(ConnectTest, TheUserEndsAllLinksOfAPhone) {
  addPhone();
  const auto sut = linkedHeadUnit();
  order(std::string("phone ") + kPhone + " blocked=yes");
  EXPECT_TRUE(sut->expect(link(0, kUuid, false)));
  EXPECT_TRUE(sut->comesTo("devices", "[0 Phone 000f 0]"));
}

TEST_F(ConnectTest, ThePhoneOpensTheLink) {
  addPhone();
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", kListed));
  EXPECT_TRUE(sut.does(std::string("wait ") + kUuid));
  order(std::string("connect ") + kPhone + " " + kUuid);
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
  EXPECT_TRUE(sut.does(std::string("send 0 ") + kUuid + " 100"));
  EXPECT_TRUE(sut.comesTo(std::string("received 0 ") + kUuid, "100 wrong-at=none"));
}

TEST_F(ConnectTest, AnUntrustedPairedPhoneMayOpenTheLink) {
  addPhone("trusted=no");
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", kListed));
  EXPECT_TRUE(sut.does(std::string("wait ") + kUuid));
  order(std::string("connect ") + kPhone + " " + kUuid);
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
}

TEST_F(ConnectTest, APhoneThatComesAgainBeforeItsOldLinkEndedHasTheNewOne) {
  addPhone();
  const auto sut = linkedHeadUnit();
  order(std::string("connect ") + kPhone + " " + kUuid);
  EXPECT_TRUE(sut->expect(link(0, kUuid, false)));
  EXPECT_TRUE(sut->expect(link(0, kUuid, true)));
  order(std::string("send ") + kPhone + " " + kUuid + " 500");
  EXPECT_TRUE(sut->comesTo(std::string("received 0 ") + kUuid, "500 wrong-at=none"));
}

TEST_F(ConnectTest, TwoServicesOfOnePhoneHaveLinksOfTheirOwn) {
  addPhone("", (std::string(kUuid) + "," + kOtherUuid).c_str());
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", kListed));
  for (const char* const uuid : {kUuid, kOtherUuid}) {
    EXPECT_TRUE(sut.does(std::string("register ") + uuid));
    EXPECT_TRUE(sut.does(std::string("connect 0 ") + uuid)) << "while the other one is under way";
  }
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
  EXPECT_TRUE(sut.expect(link(0, kOtherUuid, true)));

  EXPECT_TRUE(sut.does(kDisconnect));
  EXPECT_TRUE(sut.expect(link(0, kUuid, false)));
  EXPECT_TRUE(sut.does(std::string("send 0 ") + kOtherUuid + " 10"));
  EXPECT_TRUE(sut.comesTo(std::string("received 0 ") + kOtherUuid, "10 wrong-at=none"));
}

TEST_F(ConnectTest, TwoPhonesHaveLinksToOneService) {
  addPhone();
  addPhone("name=Other", kUuid, kOtherPhone);
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 000f 1][1 Other 000f 1]"));
  EXPECT_TRUE(sut.does(kRegister));
  EXPECT_TRUE(sut.does(kConnect));
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
  EXPECT_TRUE(sut.does(std::string("connect 1 ") + kUuid));
  EXPECT_TRUE(sut.expect(link(1, kUuid, true)));
  EXPECT_TRUE(sut.does(std::string("send 1 ") + kUuid + " 10"));
  EXPECT_TRUE(sut.comesTo(std::string("received 1 ") + kUuid, "10 wrong-at=none"));
  EXPECT_EQ(sut.ask(std::string("received 0 ") + kUuid), "0 wrong-at=none");
}

TEST_F(ConnectTest, AServiceThatIsNotRegisteredCannotBeConnected) {
  addPhone();
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", kListed));
  EXPECT_FALSE(sut.does(kConnect));
}

TEST_F(ConnectTest, ADeviceThatIsNotThereCannotBeConnected) {
  addPhone();
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", kListed));
  EXPECT_TRUE(sut.does(kRegister));
  EXPECT_FALSE(sut.does(std::string("connect 1 ") + kUuid));
  EXPECT_FALSE(sut.does(std::string("connect 255 ") + kUuid));
  EXPECT_FALSE(sut.does(std::string("disconnect 255 ") + kUuid));
}

TEST_F(ConnectTest, AConnectThatIsGivenUpIsEndedAndLeavesNoLink) {
  addPhone("hold=yes");
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", kListed));
  EXPECT_TRUE(sut.does(kRegister));
  EXPECT_TRUE(sut.does(kConnect));
  EXPECT_TRUE(simulationSays(std::string("connect ") + kPhone + " " + kUuid));
  EXPECT_TRUE(sut.does(kDisconnect));
  EXPECT_TRUE(sut.expect(link(0, kUuid, false)));
  EXPECT_TRUE(simulationSays(std::string("connect ") + kPhone + " failed: br-connection-aborted-by-local"));
  EXPECT_EQ(simulation().ask(kTraffic).substr(0, 12), "down links=0");

  order(std::string("phone ") + kPhone + " hold=no");
  EXPECT_TRUE(sut.does(kConnect));
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
}

// BlueZ hands over a link and answers ConnectProfile afterwards; operations do not wait for either.
TEST_F(ConnectTest, OperationsAreAnsweredWhileAPhoneDoesNotAnswer) {
  addPhone("hold=yes");
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", kListed));
  EXPECT_TRUE(sut.does(kRegister));
  EXPECT_TRUE(sut.does(kConnect));
  EXPECT_TRUE(simulationSays(std::string("connect ") + kPhone + " " + kUuid));
  EXPECT_TRUE(sut.does(kConnect)) << "one that is under way is not started again";
  EXPECT_TRUE(sut.does(std::string("register ") + kOtherUuid));
  EXPECT_TRUE(sut.does("list"));

  order(std::string("release ") + kPhone);
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
}

TEST_F(ConnectTest, ABusyPhoneIsTriedAgain) {
  addPhone();
  order("fail ConnectProfile org.bluez.Error.InProgress br-connection-busy 2");
  const auto sut = linkedHeadUnit();
  EXPECT_EQ(sut->ask("problems"), "none");
}

// BlueZ says so where its own end of a former link is still up.
TEST_F(ConnectTest, AnAnswerWithoutALinkIsTriedAgain) {
  addPhone();
  order("pretend ConnectProfile");
  const auto sut = linkedHeadUnit();
  EXPECT_EQ(sut->ask("problems"), "none");
}

// A device that is not paired is forgotten with its last link, but not between that and the next.
TEST_F(ConnectTest, ALinkOfAPhoneThatIsNotPairedIsReplacedByItsNextOne) {
  addPhone("paired=no");
  HeadUnit sut;
  EXPECT_TRUE(sut.does(kRegister));
  order(std::string("connect ") + kPhone + " " + kUuid);
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
  order(std::string("connect ") + kPhone + " " + kUuid);
  EXPECT_TRUE(sut.expect(link(0, kUuid, false)));
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
  EXPECT_TRUE(sut.does(std::string("send 0 ") + kUuid + " 10"));
  EXPECT_EQ(sut.ask("problems"), "none");
}

TEST_F(ConnectTest, TwoProcessesHaveLinksToServicesOfTheirOwn) {
  addPhone("", (std::string(kUuid) + "," + kOtherUuid).c_str());
  const auto first = linkedHeadUnit();
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", kListed));
  EXPECT_TRUE(sut.does(std::string("register ") + kOtherUuid));
  EXPECT_TRUE(sut.does(std::string("connect 0 ") + kOtherUuid));
  EXPECT_TRUE(sut.expect(link(0, kOtherUuid, true)));
  EXPECT_TRUE(sut.does(std::string("send 0 ") + kOtherUuid + " 10"));
  EXPECT_TRUE(first->does(std::string("send 0 ") + kUuid + " 20"));
  EXPECT_TRUE(sut.comesTo(std::string("received 0 ") + kOtherUuid, "10 wrong-at=none"));
  EXPECT_TRUE(first->comesTo(std::string("received 0 ") + kUuid, "20 wrong-at=none"));
  EXPECT_FALSE(sut.does(std::string("send 0 ") + kUuid + " 10")) << "the other one's link";
}

// Receivers know a link only by its phone's entry in the list.
class EarlyPhoneTest : public ConnectTest, public testing::WithParamInterface<const char*> {};

TEST_P(EarlyPhoneTest, ALinkIsToldWhenItsPhoneIsListed) {
  addPhone("resolved=no modalias=none");
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "none"));
  EXPECT_TRUE(sut.does(std::string("wait ") + kUuid));
  order(std::string("connect ") + kPhone + " " + kUuid);
  order(std::string("phone ") + kPhone + " " + GetParam());
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
  EXPECT_NE(sut.ask("devices"), "none");
  EXPECT_TRUE(sut.does(std::string("send 0 ") + kUuid + " 100"));
  EXPECT_TRUE(sut.comesTo(std::string("received 0 ") + kUuid, "100 wrong-at=none"));
  EXPECT_EQ(sut.ask("problems"), "none");
}

INSTANTIATE_TEST_SUITE_P(Settings, EarlyPhoneTest,
                         testing::Values("modalias=bluetooth:v000Fp1200d1436", "modalias=bluetooth:v004Cp7203d0102",
                                         "resolved=yes", "alias=NothingIsKnown"));

TEST_F(ConnectTest, WhatAPhoneSaidThatHasHungUpSinceComesBetweenTheNewsOfItsLink) {
  addPhone("resolved=no modalias=none");
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "none"));
  EXPECT_TRUE(sut.does(std::string("wait ") + kUuid));
  order(std::string("connect ") + kPhone + " " + kUuid);
  order(std::string("say ") + kPhone + " " + kUuid + " hello");
  EXPECT_EQ(simulation().ask(std::string("drop ") + kPhone), "1");
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
  EXPECT_TRUE(sut.expect(link(0, kUuid, false)));
  EXPECT_EQ(sut.ask(std::string("text 0 ") + kUuid), "hello");
  EXPECT_EQ(sut.ask("problems"), "none");
}

class FailedConnectTest : public ConnectTest, public testing::WithParamInterface<const char*> {};

TEST_P(FailedConnectTest, IsToldAsALinkThatIsDownWithALineInTheLog) {
  addPhone();
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", kListed));
  EXPECT_TRUE(sut.does(kRegister));
  order(std::string("refuse ") + kPhone + " " + GetParam());
  EXPECT_TRUE(sut.does(kConnect));
  EXPECT_TRUE(sut.expect(link(0, kUuid, false)));
  EXPECT_TRUE(sut.waitForLog(std::string("br-connection-") + GetParam()));

  EXPECT_TRUE(sut.does(kConnect));
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
}

INSTANTIATE_TEST_SUITE_P(Reasons, FailedConnectTest,
                         testing::Values("page-timeout", "refused", "not-supported", "unknown", "canceled",
                                         "key-missing", "aborted-by-remote", "timeout"));

class RefusedConnectTest : public ConnectTest, public testing::WithParamInterface<const char*> {};

TEST_P(RefusedConnectTest, IsToldAsALinkThatIsDownWithALineInTheLog) {
  addPhone();
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", kListed));
  EXPECT_TRUE(sut.does(kRegister));
  order(std::string("fail ConnectProfile ") + GetParam() + " \"the reason\"");
  EXPECT_TRUE(sut.does(kConnect));
  EXPECT_TRUE(sut.expect(link(0, kUuid, false)));
  EXPECT_TRUE(sut.waitForLog("the reason"));
}

INSTANTIATE_TEST_SUITE_P(Errors, RefusedConnectTest,
                         testing::Values("org.bluez.Error.NotAvailable", "org.bluez.Error.BREDR.ProfileUnavailable",
                                         "org.bluez.Error.NotReady", "org.bluez.Error.AuthenticationFailed",
                                         "org.freedesktop.DBus.Error.AccessDenied",
                                         "org.freedesktop.DBus.Error.UnknownObject"));

TEST_F(ConnectTest, AServiceThatThePhoneDoesNotHaveFails) {
  addPhone("", kOtherUuid);
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", kListed));
  EXPECT_TRUE(sut.does(kRegister));
  EXPECT_TRUE(sut.does(kConnect));
  EXPECT_TRUE(sut.expect(link(0, kUuid, false)));
  EXPECT_TRUE(sut.waitForLog("br-connection-profile-unavailable"));
}

// BlueZ searches the services of a phone once for an ACL link.
TEST_F(ConnectTest, AServiceThatThePhoneOpenedLaterIsFoundWhenThePhoneComesAgain) {
  addPhone("", kOtherUuid);
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", kListed));
  EXPECT_TRUE(sut.does(kRegister));
  EXPECT_TRUE(sut.does(kConnect));
  EXPECT_TRUE(sut.expect(link(0, kUuid, false)));

  order(std::string("phone ") + kPhone + " services=" + kUuid);
  EXPECT_TRUE(sut.does(kConnect));
  EXPECT_TRUE(sut.expect(link(0, kUuid, false))) << "the list of services is an old one";

  order(std::string("acl ") + kPhone + " down");
  EXPECT_TRUE(sut.does(kConnect));
  EXPECT_TRUE(sut.expect(link(0, kUuid, true)));
}

}  // namespace
}  // namespace bluez_test
