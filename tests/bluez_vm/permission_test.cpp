// A system bus that lets nobody but root speak to BlueZ and oFono, and the policy files that make an exception for the
// group linkapp. The user headunit is in it, the user stranger is not.
#include "tests/bluez_vm/bluez_fixture.h"

namespace {

class Permission : public BluezTest {};

TEST_F(Permission, AUserOfTheGroupConnectsAndIsConnectedTo) {
  Child sut("spp", {"headunit"});
  const std::string device = openLink(sut);
  EXPECT_TRUE(echoes(sut, device));
  EXPECT_EQ(sut.ask("disconnect " + device + " " + kUuid), "1");
  EXPECT_TRUE(says(sut, link(device, 0)));

  lab(std::string("connect ") + kUuid);
  EXPECT_TRUE(says(sut, link(device, 1)));
  EXPECT_TRUE(echoes(sut, device));
}

TEST_F(Permission, AUserOfTheGroupHearsOfHandsFreeLinks) {
  Child watcher("spp", {"headunit"});
  const std::string device = phoneNumber(watcher);
  Child sut("hands_free", {"headunit"});
  ASSERT_TRUE(says(sut, "ready"));
  lab("hands-free up car");
  EXPECT_TRUE(says(sut, "hands-free 0 " + device + " 1"));
}

TEST_F(Permission, AnybodyElseIsRefusedAndTheLogSaysWhy) {
  Child sut("spp", {"stranger"});
  EXPECT_EQ(sut.ask(std::string("register ") + kUuid), "0");
  EXPECT_EQ(sut.ask("devices"), "");
  EXPECT_TRUE(sut.waitForLog("BlueZ does not tell its devices: org.freedesktop.DBus.Error.AccessDenied"));
}

TEST_F(Permission, AnybodyElseHearsOfNoHandsFreeLinkAndTheLogSaysWhy) {
  Child sut("hands_free", {"stranger"});
  EXPECT_TRUE(sut.waitForLog("oFono does not tell its modems: org.freedesktop.DBus.Error.AccessDenied"));
}

}  // namespace
