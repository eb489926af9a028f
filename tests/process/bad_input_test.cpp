// What a foreign or broken process can write into the channel, and what becomes of it.
#include <fstream>
#include <memory>
#include <optional>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "tests/process/channel_fixture.h"
#include "tests/process/message_pattern.h"
#include "tests/support/roles.h"

namespace {

constexpr std::uint32_t kAllOnes = 0xFFFFFFFF;

constexpr const char* kInvalidEntry =
    "[LinkAppCommon/private/iOSApp/iOSAppCommonUtil:0 convertiOSAppInfoToLinkAppInfo 1] "
    "### Error : iOSAppInfo is invalid.\n";
constexpr const char* kTableFull =
    "[LinkAppCommon/private/iOSApp/iOSAppCommonLocalMem_AppInfo:0 registAppInfo 1] "
    "### Error : iOSAppInfoList overflow!\n";

// Registers as many apps as its argument says.
TEST_ROLE(many_clients) {
  std::vector<std::unique_ptr<iOSAppCommonClient>> clients;
  for (unsigned long i = 0; i < std::stoul(args.at(0)); ++i) {
    const std::string number = std::to_string(i + 1);
    clients.push_back(std::make_unique<iOSAppCommonClient>("", "app" + number, "launch" + number));
  }
  test_support::say("ready");
  test_support::waitForParent();
  return 0;
}

// A server, a client with an open session, and a foreign process with an endpoint of its own.
class BadInput : public ChannelTest {
 protected:
  void SetUp() override {
    server_.emplace("server");
    expectReady(*server_);
    client_.emplace("client", std::vector<std::string>{"app", "launch"});
    expectReady(*client_);
    foreign_.emplace("endpoint", std::vector<std::string>{kFromHUSegment.name});
    expectReady(*foreign_);
    ASSERT_EQ(server_->ask("connect 0 1"), "ok");
    ASSERT_TRUE(client_->expect("info 1 spp 0 - usb 1 app iap 2 hfp 0 00:00:00:00:00:00"));
    ASSERT_EQ(client_->ask("launch 0"), "1");
    ASSERT_TRUE(server_->expect("launch 1 1 launch 0"));
    ASSERT_EQ(server_->ask("open 1 9"), "ok");
    ASSERT_TRUE(client_->expect("info 1 spp 0 - usb 2 app iap 2 hfp 0 00:00:00:00:00:00"));
  }

  void postWords(unsigned int id, const std::vector<std::uint32_t>& words) {
    postHex(id, toHex(words.data(), words.size() * sizeof words[0]));
  }

  void postHex(unsigned int id, const std::string& hex) {
    ASSERT_EQ(foreign_->ask("post " + std::to_string(id) + " " + hex), "1");
  }

  // That nothing came of what was posted before: the next thing heard is a message that is sent only now.
  void expectChannelGoesOn() {
    EXPECT_EQ(client_->ask("send 700 1"), "1");
    EXPECT_TRUE(server_->expect("data 1 9 " + describePattern(700, 1)));
    EXPECT_EQ(server_->ask("data 9 800 2"), "ok");
    EXPECT_TRUE(client_->expect("data 1 app " + describePattern(800, 2) + " 0"));
  }

  std::optional<Child> server_;
  std::optional<Child> client_;
  std::optional<Child> foreign_;
};

TEST_F(BadInput, a_write_position_beyond_the_ring_is_taken_modulo_40) {
  for (const Segment& ring : {kFromHUSegment, kFromDeviceSegment}) {
    ASSERT_TRUE(test_support::pokeShmWord(ring.name, kWriteIndex, kAllOnes));
  }

  expectChannelGoesOn();

  EXPECT_EQ(test_support::shmWord(kFromHUSegment.name, kWriteIndex), kAllOnes % 40 + 1);
  EXPECT_EQ(test_support::shmWord(kFromHUSegment.name, kRecord + kAllOnes % 40 * kSlotStride + kSlotSize), 700U);
  EXPECT_EQ(test_support::shmWord(kFromDeviceSegment.name, kWriteIndex), kAllOnes % 40 + 1);
  EXPECT_EQ(test_support::shmWord(kFromDeviceSegment.name, kRecord + kAllOnes % 40 * kSlotStride + kSlotSize), 800U);
}

TEST_F(BadInput, a_slot_of_more_than_4096_bytes_counts_as_never_written) {
  for (const std::uint32_t size : {5000U, 4097U, kAllOnes, 0x80000000U}) {
    for (const Segment& ring : {kFromHUSegment, kFromDeviceSegment}) {
      ASSERT_TRUE(test_support::pokeShmWord(ring.name, kRecord + 39 * kSlotStride + kSlotSize, size));
    }
    postWords(2, {1, 1, 39});
    postWords(3, {1, 1, 39});
  }

  expectChannelGoesOn();
}

TEST_F(BadInput, a_slot_that_was_never_written_is_not_read) {
  postWords(2, {1, 1, 17});
  postWords(3, {1, 1, 17});

  expectChannelGoesOn();
}

TEST_F(BadInput, an_announced_slot_beyond_the_ring_is_not_read) {
  for (const std::uint32_t slot : {40U, 41U, kAllOnes, 0x80000000U}) {
    postWords(2, {1, 1, slot});
    postWords(3, {1, 1, slot});
  }

  expectChannelGoesOn();
}

TEST_F(BadInput, data_of_another_device_or_app_is_dropped) {
  expectChannelGoesOn();  // slot 0 of both rings is written now

  postWords(2, {2, 1, 0});         // a device that the server has no ring for
  postWords(3, {2, 1, 0});         // not the client's device
  postWords(3, {1, 2, 0});         // not the client's app
  postWords(3, {1, 0, 0});         // no app at all
  postWords(3, {1, kAllOnes, 0});  // an app that there cannot be

  expectChannelGoesOn();
}

TEST_F(BadInput, messages_of_unknown_kinds_are_ignored) {
  for (const std::uint32_t kind : {6U, 7U, 0x80000000U, kAllOnes}) {
    std::vector<std::uint32_t> message(76, 1);
    message[0] = kind;
    postWords(4, message);
  }

  expectChannelGoesOn();
}

TEST_F(BadInput, messages_of_unknown_identifiers_are_ignored) {
  for (const unsigned int id : {0U, 1U, 6U, 18U, 0x7FFFFFFFU, kAllOnes}) {
    postWords(id, std::vector<std::uint32_t>(76, 1));
  }

  expectChannelGoesOn();
}

TEST_F(BadInput, empty_messages_are_ignored) {
  for (const unsigned int id : {2U, 3U, 4U, 5U}) {
    postHex(id, "-");
  }

  expectChannelGoesOn();
}

// What is missing reads as zero.
TEST_F(BadInput, a_message_that_is_cut_short_reads_as_zeros_behind_its_end) {
  postHex(4, "01");  // device 0, over USB, disconnected
  EXPECT_TRUE(client_->expect("info 0 spp 0 - usb 0 app iap 1 hfp 0 00:00:00:00:00:00"));

  expectChannelGoesOn();  // slot 0 of both rings is written now
  postHex(2, "01");       // device 1, app 0, slot 0
  EXPECT_TRUE(server_->expect("data 1 0 " + describePattern(700, 1)));
  postHex(3, "01");  // the same; no client has app 0

  expectChannelGoesOn();
}

TEST_F(BadInput, an_announced_app_beyond_the_table_or_never_written_is_logged_and_dropped) {
  for (const std::uint32_t index : {19U, 20U, kAllOnes}) {
    postWords(5, {index});
  }

  expectChannelGoesOn();
  EXPECT_EQ(server_->countInLog(kInvalidEntry), 3U);
  EXPECT_EQ(server_->ask("launch-string-of 2"), "-");
}

TEST_F(BadInput, an_app_count_of_all_ones_refuses_registrations_and_counts_as_20_for_readers) {
  ASSERT_TRUE(test_support::pokeShmWord(kAppInfoSegment.name, kAppCount, kAllOnes));

  Child refused("client", {"refused", "launch"});
  expectReady(refused);
  EXPECT_EQ(refused.countInLog(kTableFull), 1U);
  EXPECT_EQ(test_support::shmWord(kAppInfoSegment.name, kAppCount), kAllOnes);

  Child reader("server");
  expectReady(reader);
  EXPECT_EQ(reader.ask("launch-string-of 1"), "launch");
  EXPECT_EQ(reader.countInLog(kInvalidEntry), 19U);  // the other entries were never written
}

class Registration : public ChannelTest {};

TEST_F(Registration, of_a_21st_app_is_refused_with_a_log_line) {
  Child sut("many_clients", {"20"});
  expectReady(sut);
  EXPECT_EQ(sut.countInLog(kTableFull), 0U);
  Child server("server");
  expectReady(server);

  Child late("client", {"late", "launch"});
  expectReady(late);

  EXPECT_EQ(late.countInLog(kTableFull), 1U);
  EXPECT_EQ(test_support::shmWord(kAppInfoSegment.name, kAppCount), 20U);
  EXPECT_EQ(server.ask("launch-string-of 20"), "launch20");
  EXPECT_EQ(server.ask("launch-string-of 21"), "-");
  // It hears of the device and can launch nothing.
  EXPECT_EQ(server.ask("connect 0 1"), "ok");
  EXPECT_TRUE(late.expect("info 1 spp 0 - usb 1 late iap 2 hfp 0 00:00:00:00:00:00"));
  EXPECT_EQ(late.ask("launch 0"), "0");
}

// Two processes with 19 apps registered must not both get the last place.
TEST_F(Registration, by_many_processes_at_once_fills_every_place_once) {
  Child one("many_clients", {"12"});
  Child two("many_clients", {"12"});
  expectReady(one);
  expectReady(two);

  EXPECT_EQ(one.countInLog(kTableFull) + two.countInLog(kTableFull), 4U);
  EXPECT_EQ(test_support::shmWord(kAppInfoSegment.name, kAppCount), 20U);
  for (std::uint32_t index = 0; index < 20; ++index) {
    EXPECT_EQ(test_support::shmWord(kAppInfoSegment.name, kRecord + index * kEntryStride), index + 1);
  }
}

// Whoever creates an object may die before it has its size.
TEST_F(Registration, works_on_objects_that_a_dead_creator_left_empty) {
  std::vector<std::string> objects = {kLogObject};
  for (const Segment& segment : kSegments) {
    objects.push_back(segment.name);
    objects.push_back(lockObject(segment));
  }
  for (const std::string& object : objects) {
    const std::ofstream empty(test_support::shmFile(object));
  }

  Child server("server", {"phone"});
  expectReady(server);
  Child client("client", {"app", "launch"});
  expectReady(client);

  EXPECT_EQ(server.ask("connect 0 1"), "ok");
  EXPECT_TRUE(client.expect("info 1 spp 0 - usb 1 app iap 2 hfp 0 00:00:00:00:00:00"));
  EXPECT_EQ(client.ask("launch 0"), "1");
  EXPECT_TRUE(client.expect("info 1 spp 0 - usb 2 app iap 2 hfp 0 00:00:00:00:00:00"));
  EXPECT_EQ(client.ask("exchange 1 50"), "ok");
  EXPECT_EQ(server.log() + client.log(), "");
  for (const Segment& segment : kSegments) {
    EXPECT_EQ(test_support::shmSize(segment.name), segment.size);
    EXPECT_EQ(test_support::shmWord(segment.name, 0), segment.recordBytes);
  }
}

}  // namespace
