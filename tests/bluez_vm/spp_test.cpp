// The SPP service against the real BlueZ: services, links, bytes.
#include "tests/bluez_vm/bluez_fixture.h"

namespace {

constexpr std::uint32_t kMegabyte = 1 << 20;

const std::string kService = kUuid;

class SppOnBluez : public BluezTest {
 public:
  static std::string askFor(const std::string& operation, const std::string& device) {
    return operation + " " + device + " " + kService;
  }
};

TEST_F(SppOnBluez, AServiceBelongsToOneProcessAtATime) {
  Child first("spp");
  Child second("spp");
  ASSERT_EQ(first.ask("register " + kService), "1");
  EXPECT_EQ(first.ask("is-registered " + kService), "1");
  EXPECT_EQ(second.ask("register " + kService), "0");

  EXPECT_EQ(first.ask("unregister " + kService), "1");
  EXPECT_EQ(second.ask("register " + kService), "1");
}

TEST_F(SppOnBluez, HeadUnitConnectsAndNoticesSayTheUuidAsItWasWritten) {
  Child sut("spp");
  const std::string device = phoneNumber(sut);
  const std::string loud = "35DE0F64-C263-4A4B-ADB6-6B60500D1DBE";
  ASSERT_EQ(sut.ask("register " + loud), "1");
  ASSERT_EQ(sut.ask("connect " + device + " " + loud), "1");
  EXPECT_TRUE(says(sut, link(device, 1, loud)));
  EXPECT_TRUE(phoneIsLinked(true));
}

TEST_F(SppOnBluez, PhoneConnectsToAServiceThatStandsBy) {
  Child sut("spp");
  const std::string device = phoneNumber(sut);
  ASSERT_EQ(sut.ask("standby " + kService), "1");
  lab("connect " + kService);
  EXPECT_TRUE(says(sut, link(device, 1)));
  EXPECT_TRUE(echoes(sut, device));
}

TEST_F(SppOnBluez, AMegabyteToThePhoneArrivesUnchangedAndEachSendIsToldToBeSent) {
  Child sut("spp");
  const std::string device = openLink(sut);
  lab("mode " + kService + " keep");
  sut.tell(askFor("stream", device) + " " + std::to_string(kMegabyte) + " 1");
  const std::vector<std::uint8_t> arrived = takeFromPhone(kMegabyte);
  EXPECT_TRUE(sut.expectAnswer("sent", kPatience));
  EXPECT_EQ(describe(arrived), describePattern(kMegabyte, 1));
  EXPECT_TRUE(answers(sut, "results", "256 0"));
}

TEST_F(SppOnBluez, AMegabyteFromThePhoneArrivesUnchanged) {
  Child sut("spp");
  openLink(sut);
  sendFromPhone(patternBytes(kMegabyte, 2));
  EXPECT_TRUE(answers(sut, "received", describePattern(kMegabyte, 2)));
}

TEST_F(SppOnBluez, APhoneThatDoesNotReadStopsTheSenderAndLosesNothing) {
  Child sut("spp");
  const std::string device = openLink(sut);
  lab("mode " + kService + " stall");
  const std::uint32_t accepted = numberOf(sut.ask(askFor("fill", device) + " 3"));
  ASSERT_GT(accepted, 0U);

  lab("mode " + kService + " keep");
  const std::vector<std::uint8_t> arrived = takeFromPhone(accepted);
  std::vector<std::uint8_t> expected;
  const std::vector<std::uint8_t> piece = patternBytes(4096, 3);
  while (expected.size() < accepted) {
    expected.insert(expected.end(), piece.begin(), piece.end());
  }
  EXPECT_EQ(describe(arrived), describe(expected));
}

TEST_F(SppOnBluez, HeadUnitDisconnectsAlsoAfterItTookTheServiceBack) {
  Child sut("spp");
  const std::string device = openLink(sut);
  ASSERT_EQ(sut.ask("unregister " + kService), "1");
  EXPECT_EQ(sut.ask(askFor("disconnect", device)), "1");
  EXPECT_TRUE(says(sut, link(device, 0)));
  EXPECT_TRUE(phoneIsLinked(false));
}

TEST_F(SppOnBluez, PhoneClosesItsEnd) {
  Child sut("spp");
  const std::string device = openLink(sut);
  lab("close " + kService);
  EXPECT_TRUE(says(sut, link(device, 0)));
}

TEST_F(SppOnBluez, PhoneIsThereAgainForTheNextProcessAfterOneWasKilled) {
  {
    Child killed("spp");
    openLink(killed);
  }
  EXPECT_TRUE(phoneIsLinked(false));
  Child sut("spp");
  const std::string device = openLink(sut);
  EXPECT_TRUE(echoes(sut, device));
}

TEST_F(SppOnBluez, AutoConnectBringsTheLinkBackAfterThePhoneDroppedTheConnection) {
  Child sut("spp");
  const std::string device = phoneNumber(sut);
  ASSERT_EQ(sut.ask("register " + kService), "1");
  ASSERT_EQ(sut.ask(askFor("auto-start", device)), "1");
  ASSERT_TRUE(says(sut, link(device, 1)));

  lab("disconnect");
  EXPECT_TRUE(says(sut, link(device, 0)));
  EXPECT_TRUE(says(sut, link(device, 1)));
  EXPECT_TRUE(echoes(sut, device));

  EXPECT_EQ(sut.ask(askFor("auto-stop", device)), "1");
  EXPECT_TRUE(says(sut, link(device, 0)));
  EXPECT_TRUE(phoneIsLinked(false));
}

TEST_F(SppOnBluez, AutoConnectBringsTheLinkBackWhenTheCarsBluetoothIsSwitchedOnAgain) {
  Child sut("spp");
  const std::string device = phoneNumber(sut);
  ASSERT_EQ(sut.ask("register " + kService), "1");
  ASSERT_EQ(sut.ask(askFor("auto-start", device)), "1");
  ASSERT_TRUE(says(sut, link(device, 1)));

  lab("power car off");
  EXPECT_TRUE(says(sut, link(device, 0)));
  lab("power car on");
  EXPECT_TRUE(says(sut, link(device, 1)));
  EXPECT_TRUE(echoes(sut, device));
}

}  // namespace
