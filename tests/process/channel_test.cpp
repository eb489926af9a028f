// What crosses from process to process.
#include "tests/process/channel_fixture.h"
#include "tests/process/message_pattern.h"

namespace {

using Channel = ChannelTest;

constexpr std::uint32_t kStatusMessageBytes = 304;

TEST_F(Channel, a_connection_status_message_arrives_unchanged_in_every_process_its_senders_included) {
  Child sender("endpoint", {kStatusSegment.name});
  Child receiver("endpoint", {kStatusSegment.name});
  expectReady(sender);
  expectReady(receiver);
  const std::string sent = toHex(patternBytes(kStatusMessageBytes, 1).data(), kStatusMessageBytes);

  EXPECT_EQ(sender.ask("post 4 " + sent), "1");

  EXPECT_TRUE(receiver.expect("message 4 304 " + sent));
  EXPECT_TRUE(sender.expect("message 4 304 " + sent));
}

TEST_F(Channel, an_endpoint_hears_its_own_identifier_only) {
  Child sender("endpoint", {kStatusSegment.name});
  Child receiver("endpoint", {kFromDeviceSegment.name});
  expectReady(sender);
  expectReady(receiver);

  for (const char* const id : {"2", "3", "4", "5", "19"}) {
    EXPECT_EQ(sender.ask(std::string("post ") + id + " 0" + id), "1");
  }
  EXPECT_EQ(sender.ask("post 3 ff"), "1");

  EXPECT_TRUE(receiver.expect("message 3 1 03"));
  EXPECT_TRUE(receiver.expect("message 3 1 ff"));
}

TEST_F(Channel, the_41st_message_of_a_ring_lies_in_slot_0_again) {
  Child server("server");
  expectReady(server);
  Child client("client", {"app", "launch"});
  expectReady(client);
  expectServerKnowsApp(server, 1, "launch");
  Child watcher("endpoint", {kFromDeviceSegment.name});
  expectReady(watcher);
  ASSERT_EQ(server.ask("connect 0 1"), "ok");
  ASSERT_TRUE(client.expect("info 1 spp 0 - usb 1 app iap 2 hfp 0 00:00:00:00:00:00"));
  ASSERT_EQ(client.ask("launch 0"), "1");
  ASSERT_EQ(server.ask("open 1 7"), "ok");
  ASSERT_TRUE(client.expect("info 1 spp 0 - usb 2 app iap 2 hfp 0 00:00:00:00:00:00"));

  for (std::uint32_t number = 0; number < 41; ++number) {
    const std::uint32_t size = 1 + number * 99;
    ASSERT_EQ(server.ask("data 7 " + std::to_string(size) + " " + std::to_string(number)), "ok");
    ASSERT_TRUE(client.expect("data 1 app " + describePattern(size, number) + " 0"));
    const std::uint32_t announced[] = {1, 1, number % 40};
    ASSERT_TRUE(watcher.expect("message 3 12 " + toHex(announced, sizeof announced)));
    ASSERT_EQ(test_support::shmWord(kFromDeviceSegment.name, kWriteIndex), (number + 1) % 40);
  }

  EXPECT_EQ(test_support::shmWord(kFromDeviceSegment.name, kRecord + kSlotSize), 1 + 40 * 99U);
  EXPECT_EQ(test_support::shmWord(kFromDeviceSegment.name, kRecord + kSlotStride + kSlotSize), 1 + 99U);
}

TEST_F(Channel, a_registration_makes_the_registries_of_other_processes_grow_before_the_servers_table) {
  Child other("registry");
  expectReady(other);
  Child sut("registry");
  expectReady(sut);

  Child client("client", {"app", "launch-me", "iap1"});
  expectReady(client);

  for (Child* const process : {&other, &sut}) {
    EXPECT_TRUE(process->expect("first 1 -"));
    EXPECT_TRUE(process->expect("second 1 launch-me"));
  }
}

TEST_F(Channel, a_registry_that_starts_late_knows_the_apps_of_processes_that_are_gone) {
  Child client("client", {"app", "launch-me"});
  expectReady(client);
  client.kill();

  Child server("server");
  expectReady(server);

  EXPECT_EQ(server.ask("launch-string-of 1"), "launch-me");
}

}  // namespace
