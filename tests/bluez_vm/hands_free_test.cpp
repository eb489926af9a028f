// Hands-free links that the real oFono makes, as LinkAppHfpWrapper tells them.
#include "tests/bluez_vm/bluez_fixture.h"

namespace {

class HandsFreeOnOfono : public BluezTest {
 public:
  static std::string status(const std::string& device, bool connected) {
    return "hands-free 0 " + device + " " + (connected ? "1" : "0");
  }

  // Of another process: numbers are the same for all.
  static std::string numberOfPhone() {
    Child watcher("spp");
    return phoneNumber(watcher);
  }
};

TEST_F(HandsFreeOnOfono, ALinkThatTheCarOpensReachesTheListenerAndSoDoesItsEnd) {
  const std::string device = numberOfPhone();
  Child sut("hands_free");
  ASSERT_TRUE(says(sut, "ready"));
  lab("hands-free up car");
  EXPECT_TRUE(says(sut, status(device, true)));
  lab("hands-free down");
  EXPECT_TRUE(says(sut, status(device, false)));
}

TEST_F(HandsFreeOnOfono, ALinkThatThePhoneOpensReachesTheListenerAndTheConnectionsEndTakesItAlong) {
  const std::string device = numberOfPhone();
  Child sut("hands_free");
  ASSERT_TRUE(says(sut, "ready"));
  lab("hands-free up phone");
  EXPECT_TRUE(says(sut, status(device, true)));
  lab("disconnect");
  EXPECT_TRUE(says(sut, status(device, false)));
}

TEST_F(HandsFreeOnOfono, AListenerThatComesLateIsToldOfTheLink) {
  const std::string device = numberOfPhone();
  Child first("hands_free");
  ASSERT_TRUE(says(first, "ready"));
  lab("hands-free up phone");
  ASSERT_TRUE(says(first, status(device, true)));
  Child sut("hands_free");
  EXPECT_TRUE(says(sut, status(device, true)));
}

TEST_F(HandsFreeOnOfono, TheLinkIsDownWhenOfonoIsKilledAndComesAgainWithIt) {
  const std::string device = numberOfPhone();
  Child sut("hands_free");
  ASSERT_TRUE(says(sut, "ready"));
  lab("hands-free up phone");
  ASSERT_TRUE(says(sut, status(device, true)));
  lab("ofonod kill");
  EXPECT_TRUE(says(sut, status(device, false)));
  lab("ofonod start");
  lab("hands-free up phone");
  EXPECT_TRUE(says(sut, status(device, true)));
}

}  // namespace
