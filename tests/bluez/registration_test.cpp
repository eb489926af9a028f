#include <string>

#include "tests/bluez/bluez_fixture.h"

namespace bluez_test {
namespace {

using RegistrationTest = SimulatedBluezTest;

std::string with(const char* command, const std::string& uuid) {
  return std::string(command) + " " + uuid;
}

TEST_F(RegistrationTest, AServiceIsOfferedUntilItIsTakenBack) {
  HeadUnit sut;
  EXPECT_FALSE(sut.does(with("registered", kUuid)));

  EXPECT_TRUE(sut.does(with("register", kUuid)));
  EXPECT_TRUE(sut.does(with("registered", kUuid)));
  EXPECT_EQ(simulation().ask("profiles"), kUuid);

  EXPECT_TRUE(sut.does(with("unregister", kUuid)));
  EXPECT_FALSE(sut.does(with("registered", kUuid)));
  EXPECT_TRUE(simulationComesTo("profiles", "none"));
}

TEST_F(RegistrationTest, AUuidIsTheSameInBothCasesAndIsRegisteredInLowerCase) {
  HeadUnit sut;
  EXPECT_TRUE(sut.does(with("register", "35DE0F64-C263-4A4B-ADB6-6B60500D1DBE")));
  EXPECT_EQ(simulation().ask("profiles"), kUuid);
  EXPECT_TRUE(sut.does(with("registered", kUuid)));
  EXPECT_TRUE(sut.does(with("unregister", kUuid)));
  EXPECT_TRUE(simulationComesTo("profiles", "none"));
}

TEST_F(RegistrationTest, AShortUuidIsRegisteredInItsLongForm) {
  HeadUnit sut;
  EXPECT_TRUE(sut.does("register 1101"));
  EXPECT_EQ(simulation().ask("profiles"), "00001101-0000-1000-8000-00805f9b34fb");
}

TEST_F(RegistrationTest, WhatIsNoUuidIsRefused) {
  HeadUnit sut;
  for (const char* const text : {"", "spp", "zzz", "35de0f64-c263-4a4b-adb6-6b60500d1db",
                                 "35de0f64c2634a4badb66b60500d1dbe0", "zzde0f64-c263-4a4b-adb6-6b60500d1dbe"}) {
    EXPECT_FALSE(sut.does(with("register", text))) << text;
    EXPECT_FALSE(sut.does(with("registered", text))) << text;
  }
  EXPECT_TRUE(simulationComesTo("profiles", "none"));
}

TEST_F(RegistrationTest, WhatIsNotRegisteredCannotBeTakenBack) {
  HeadUnit sut;
  EXPECT_FALSE(sut.does(with("unregister", kUuid)));
}

TEST_F(RegistrationTest, SeveralServicesAreOfferedAtOnce) {
  HeadUnit sut;
  EXPECT_TRUE(sut.does(std::string("wait ") + kUuid + " " + kOtherUuid));
  EXPECT_EQ(simulation().ask("profiles"), std::string(kUuid) + " " + kOtherUuid);
}

TEST_F(RegistrationTest, OneRefusedServiceRefusesAllThatWaitWithIt) {
  HeadUnit sut;
  EXPECT_FALSE(sut.does(std::string("wait ") + kUuid + " nonsense"));
  EXPECT_FALSE(sut.does(with("registered", kUuid)));
  EXPECT_TRUE(simulationComesTo("profiles", "none"));
}

// Registered without a channel, a service could not be reached by phones.
TEST_F(RegistrationTest, EveryServiceListensOnAChannelOfItsOwn) {
  HeadUnit sut;
  EXPECT_TRUE(sut.does(with("register", kUuid)));
  EXPECT_TRUE(sut.does(with("register", kOtherUuid)));
  const std::string text = simulation().nextLine().value_or("") + simulation().nextLine().value_or("");
  EXPECT_NE(text.find("on channel 1"), std::string::npos) << text;
  EXPECT_NE(text.find("on channel 2"), std::string::npos) << text;
}

TEST_F(RegistrationTest, ASecondProcessCannotHaveTheSameService) {
  HeadUnit first;
  HeadUnit sut;
  EXPECT_TRUE(first.does(with("register", kUuid)));

  EXPECT_FALSE(sut.does(with("register", kUuid)));
  EXPECT_FALSE(sut.does(with("registered", kUuid)));
  EXPECT_TRUE(sut.waitForLog("UUID already registered"));
  EXPECT_TRUE(sut.does(with("register", kOtherUuid)));
}

TEST_F(RegistrationTest, AServiceIsFreeAgainWhenItsProcessWasKilled) {
  HeadUnit first;
  HeadUnit sut;
  EXPECT_TRUE(first.does(with("register", kUuid)));
  first.kill();
  EXPECT_TRUE(simulationSays(std::string("profile ") + kUuid + " forgotten, its owner has left"));

  EXPECT_TRUE(sut.does(with("register", kUuid)));
}

TEST_F(RegistrationTest, ABluetoothdThatDoesNotAnswerRefuses) {
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "none"));
  order("mute RegisterProfile");
  EXPECT_FALSE(sut.does(with("register", kUuid)));
  EXPECT_FALSE(sut.does(with("registered", kUuid)));
  EXPECT_TRUE(sut.does(with("register", kUuid)));
}

class RefusedRegistrationTest : public RegistrationTest, public testing::WithParamInterface<const char*> {};

TEST_P(RefusedRegistrationTest, IsToldInTheLogAndLeavesNothing) {
  order(std::string("fail RegisterProfile ") + GetParam() + " \"the reason\"");
  HeadUnit sut;
  EXPECT_FALSE(sut.does(with("register", kUuid)));
  EXPECT_FALSE(sut.does(with("registered", kUuid)));
  EXPECT_TRUE(sut.waitForLog("the reason"));

  EXPECT_TRUE(sut.does(with("register", kUuid))) << "the next one is not refused";
}

INSTANTIATE_TEST_SUITE_P(Errors, RefusedRegistrationTest,
                         testing::Values("org.bluez.Error.InvalidArguments", "org.bluez.Error.AlreadyExists",
                                         "org.bluez.Error.NotPermitted", "org.freedesktop.DBus.Error.AccessDenied",
                                         "org.freedesktop.DBus.Error.NoReply"));

}  // namespace
}  // namespace bluez_test
