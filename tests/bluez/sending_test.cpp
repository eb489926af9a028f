#include <stdio.h>

#include <string>

#include "tests/bluez/bluez_fixture.h"

namespace bluez_test {
namespace {

using SendingTest = SimulatedBluezTest;

constexpr unsigned int kQueueLimit = 262144;
constexpr unsigned int kChunk = 2000;
const std::string kSend = std::string("send 0 ") + kUuid + " ";
const std::string kFill = std::string("fill 0 ") + kUuid + " " + std::to_string(kChunk);
const std::string kReceived = std::string("received 0 ") + kUuid;
const std::string kTraffic = std::string("traffic ") + kPhone + " " + kUuid;

std::string trafficOf(std::size_t received, std::size_t sent = 0) {
  return "up links=1 received=" + std::to_string(received) + " sent=" + std::to_string(sent) + " wrong-at=none";
}

TEST_F(SendingTest, AMegabyteArrivesWholeInEachDirection) {
  constexpr unsigned int kMegabyte = 1048576;
  addPhone("mode=sink source=" + std::to_string(kMegabyte));
  const auto sut = linkedHeadUnit();
  unsigned int sends = 0;
  for (unsigned int sent = 0; sent < kMegabyte; sent += 4096, ++sends) {
    ASSERT_TRUE(test_support::waitUntil([&] { return sut->ask(kSend + "4096") == "true"; }));
  }
  EXPECT_TRUE(simulationComesTo(kTraffic, trafficOf(kMegabyte, kMegabyte)));
  EXPECT_TRUE(sut->comesTo(kReceived, std::to_string(kMegabyte) + " wrong-at=none"));
  EXPECT_TRUE(sut->comesTo("results", "sent=" + std::to_string(sends) + " unsent=0"));
}

TEST_F(SendingTest, EverySendThatIsAcceptedHasOneResult) {
  addPhone();
  const auto sut = linkedHeadUnit();
  for (unsigned int i = 0; i < 40; ++i) {
    ASSERT_TRUE(sut->does(kSend + "2000"));
  }
  EXPECT_TRUE(sut->comesTo(kReceived, "80000 wrong-at=none"));
  EXPECT_TRUE(sut->comesTo("results", "sent=40 unsent=0"));
}

TEST_F(SendingTest, WithoutALinkNothingIsAccepted) {
  addPhone();
  HeadUnit sut;
  EXPECT_TRUE(sut.comesTo("devices", "[0 Phone 000f 1]"));
  EXPECT_FALSE(sut.does(kSend + "10"));
  EXPECT_TRUE(sut.does(std::string("register ") + kUuid));
  EXPECT_FALSE(sut.does(kSend + "10"));
}

TEST_F(SendingTest, NoBytesAreNoMessage) {
  addPhone();
  const auto sut = linkedHeadUnit();
  EXPECT_FALSE(sut->does(kSend + "0"));
}

// The queue holds a fixed number of bytes; what is refused can be sent later, and nothing is lost or changes its place.
TEST_F(SendingTest, APhoneThatDoesNotReadFillsTheQueueAndGetsEverythingWhenItReads) {
  addPhone("mode=stall");
  const auto sut = linkedHeadUnit();
  unsigned int accepted = 0;
  ASSERT_TRUE(test_support::waitUntil([&] {  // until the kernel takes no more either
    const unsigned int more = static_cast<unsigned int>(std::stoul(sut->ask(kFill)));
    accepted += more;
    return more == 0;
  }));
  EXPECT_GE(accepted * kChunk, kQueueLimit - kChunk);
  EXPECT_FALSE(sut->does(kSend + "2000"));
  EXPECT_EQ(simulation().ask(kTraffic), trafficOf(0));
  EXPECT_EQ(sut->ask("problems"), "none");

  order(std::string("phone ") + kPhone + " mode=sink");
  EXPECT_TRUE(simulationComesTo(kTraffic, trafficOf(std::size_t{accepted} * kChunk)));
  EXPECT_TRUE(sut->comesTo("results", "sent=" + std::to_string(accepted) + " unsent=0"));

  EXPECT_TRUE(sut->does(kSend + "2000"));
  EXPECT_TRUE(simulationComesTo(kTraffic, trafficOf(std::size_t{accepted + 1} * kChunk)));
}

TEST_F(SendingTest, AStalledLinkDoesNotHoldUpAnother) {
  addPhone("mode=stall");
  addPhone("name=Other", kUuid, kOtherPhone);
  const auto sut = linkedHeadUnit("[0 Phone 000f 1][1 Other 000f 1]");
  sut->ask(kFill);
  EXPECT_TRUE(sut->does(std::string("connect 1 ") + kUuid));
  EXPECT_TRUE(sut->expect(link(1, kUuid, true)));
  EXPECT_TRUE(sut->does(std::string("send 1 ") + kUuid + " 3000"));
  EXPECT_TRUE(sut->comesTo(std::string("received 1 ") + kUuid, "3000 wrong-at=none"));
}

class DropWhileSendingTest : public SendingTest, public testing::WithParamInterface<std::string> {};

// Every send has its result also then, and the results come before the news that the link is down.
TEST_P(DropWhileSendingTest, GivesEveryQueuedMessageItsResult) {
  addPhone("mode=stall");
  const auto sut = linkedHeadUnit();
  const unsigned int accepted = static_cast<unsigned int>(std::stoul(sut->ask(kFill)));
  ASSERT_GT(accepted, 0U);
  simulation().ask(GetParam());
  EXPECT_TRUE(sut->expect(link(0, kUuid, false)));
  const std::string results = sut->ask("results");
  unsigned int sent = 0;
  unsigned int unsent = 0;
  ASSERT_EQ(sscanf(results.c_str(), "sent=%u unsent=%u", &sent, &unsent), 2) << results;
  EXPECT_EQ(sent + unsent, accepted);
  EXPECT_GE(unsent * kChunk, kQueueLimit / 2) << "what stayed in the queue did not leave";
  EXPECT_FALSE(sut->does(kSend + "10"));
}

INSTANTIATE_TEST_SUITE_P(Ways, DropWhileSendingTest,
                         testing::Values(std::string("drop ") + kPhone, std::string("drop ") + kPhone + " reset",
                                         std::string("acl ") + kPhone + " down", std::string("adapter off hci0"),
                                         std::string("adapter remove hci0"), std::string("bluetoothd stop")));

TEST_F(SendingTest, BytesThatCameBeforeTheEndOfALinkAreTold) {
  addPhone("mode=sink");
  const auto sut = linkedHeadUnit();
  order(std::string("say ") + kPhone + " " + kUuid + " goodbye");
  simulation().ask(std::string("drop ") + kPhone);
  EXPECT_TRUE(sut->expect(link(0, kUuid, false)));
  EXPECT_EQ(sut->ask(std::string("text 0 ") + kUuid), "goodbye");
}

}  // namespace
}  // namespace bluez_test
