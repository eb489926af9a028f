// The whole channel over three real processes: a device-side process with a simulated phone, and two applications.
#include <optional>

#include "tests/process/channel_fixture.h"
#include "tests/process/message_pattern.h"

namespace {

constexpr const char* kNoAddress = "00:00:00:00:00:00";

class EndToEnd : public ChannelTest {
 protected:
  static constexpr const char* kUsb = "0";
  static constexpr const char* kBluetooth = "1";

  void start(const std::vector<std::string>& serverArguments) {
    server_.emplace("server", serverArguments);
    expectReady(*server_);
    music_.emplace("client", std::vector<std::string>{"music", "com.example.music"});
    expectReady(*music_);
    maps_.emplace("client", std::vector<std::string>{"maps", "com.example.maps", "MAPS"});
    expectReady(*maps_);
    expectServerKnowsApp(*server_, 2, "com.example.maps");
  }

  void connect(const char* connectType, int iapType) {
    ASSERT_EQ(server_->ask(std::string("connect ") + connectType + " " + std::to_string(iapType)), "ok");
  }

  static std::string usbInfo(const std::string& app, int status) {
    return "info 1 spp 0 - usb " + std::to_string(status) + " " + app + " iap 2 hfp 0 " + kNoAddress;
  }

  void expectBoth(int usbStatus) {
    EXPECT_TRUE(music_->expect(usbInfo("music", usbStatus)));
    EXPECT_TRUE(maps_->expect(usbInfo("maps", usbStatus)));
  }

  std::optional<Child> server_;
  std::optional<Child> music_;
  std::optional<Child> maps_;
};

TEST_F(EndToEnd, messages_of_every_size_travel_to_the_phone_and_back_for_two_apps_at_once) {
  start({"phone"});
  connect(kUsb, 1);
  expectBoth(1);
  ASSERT_EQ(music_->ask("launch 0"), "1");
  ASSERT_EQ(maps_->ask("launch 0"), "1");
  expectBoth(2);

  // Both apps' messages share the rings: one of them must not run 40 messages ahead of the other.
  constexpr int kAhead = 16;
  for (int size = 1; size <= 4096 && !HasFailure(); size += kAhead) {
    const std::string command = "exchange " + std::to_string(size) + " " + std::to_string(size + kAhead - 1);
    music_->tell(command);
    maps_->tell(command);
    EXPECT_TRUE(music_->expectAnswer("ok"));
    EXPECT_TRUE(maps_->expectAnswer("ok"));
  }
}

TEST_F(EndToEnd, a_launch_opens_a_session_for_its_app_alone) {
  start({});
  connect(kUsb, 1);
  expectBoth(1);

  ASSERT_EQ(music_->ask("launch 7"), "1");
  ASSERT_TRUE(server_->expect("launch 1 1 com.example.music 7"));
  ASSERT_EQ(server_->ask("open 1 11"), "ok");

  EXPECT_TRUE(music_->expect(usbInfo("music", 2)));
  EXPECT_EQ(music_->ask("session 1"), "1");
  EXPECT_EQ(maps_->ask("session 1"), "0");
  EXPECT_EQ(maps_->ask("send 1 1"), "0");
  EXPECT_EQ(music_->ask("send 1 1"), "1");
  EXPECT_TRUE(server_->expect("data 1 11 " + describePattern(1, 1)));
}

TEST_F(EndToEnd, data_and_results_reach_the_app_of_their_session) {
  start({});
  connect(kUsb, 1);
  expectBoth(1);
  ASSERT_EQ(music_->ask("launch 0"), "1");
  ASSERT_EQ(maps_->ask("launch 0"), "1");
  ASSERT_EQ(server_->ask("open 1 11"), "ok");
  ASSERT_EQ(server_->ask("open 2 22"), "ok");
  expectBoth(2);

  ASSERT_EQ(server_->ask("data 22 300 1"), "ok");
  ASSERT_EQ(server_->ask("result 22 1"), "ok");
  ASSERT_EQ(server_->ask("result 11 4000000000"), "ok");
  ASSERT_EQ(server_->ask("data 11 400 2"), "ok");

  EXPECT_TRUE(maps_->expect("data 1 maps " + describePattern(300, 1) + " 0"));
  EXPECT_TRUE(maps_->expect("result 1 0 maps 1"));
  EXPECT_TRUE(music_->expect("result 1 0 music 4000000000"));
  EXPECT_TRUE(music_->expect("data 1 music " + describePattern(400, 2) + " 0"));
}

TEST_F(EndToEnd, an_iap1_device_opens_sessions_by_the_number_of_the_iap1_name) {
  start({});
  connect(kBluetooth, 0);
  ASSERT_TRUE(music_->expect(std::string("info 1 spp 1 music usb 0 - iap 1 hfp 0 ") + kNoAddress));
  ASSERT_TRUE(maps_->expect(std::string("info 1 spp 1 maps usb 0 - iap 1 hfp 0 ") + kNoAddress));

  ASSERT_EQ(server_->ask("open 1 5"), "ok");  // the first app with such a name is the second one registered

  EXPECT_TRUE(maps_->expect(std::string("info 1 spp 2 maps usb 0 - iap 1 hfp 0 ") + kNoAddress));
  EXPECT_EQ(server_->ask("session-of 2"), "5");
  EXPECT_EQ(server_->ask("session-of 1"), "0");
}

TEST_F(EndToEnd, a_disconnect_clears_sessions_and_a_reconnect_starts_without_them) {
  start({"phone"});
  connect(kUsb, 1);
  expectBoth(1);
  ASSERT_EQ(music_->ask("launch 0"), "1");
  ASSERT_EQ(maps_->ask("launch 0"), "1");
  expectBoth(2);

  ASSERT_EQ(server_->ask("disconnect 0 1"), "ok");
  expectBoth(0);
  EXPECT_EQ(music_->ask("connected"), "0");
  EXPECT_EQ(music_->ask("session 1"), "0");
  EXPECT_EQ(maps_->ask("session 2"), "0");
  EXPECT_EQ(maps_->ask("launch 0"), "0");
  EXPECT_TRUE(
      maps_->waitForLog("[LinkAppCommon/private/iOSApp/iOSAppCommonClient:0 launch 1] "
                        "##### Launch Error : DeviceId[1]] not connected.\n"));

  connect(kUsb, 1);
  expectBoth(1);
  EXPECT_EQ(music_->ask("session 1"), "0");
  EXPECT_EQ(music_->ask("launch 0"), "1");
  EXPECT_TRUE(music_->expect(usbInfo("music", 2)));
  EXPECT_EQ(music_->ask("exchange 1 100"), "ok");
}

TEST_F(EndToEnd, a_closed_session_ends_for_its_app_alone) {
  start({"phone"});
  connect(kUsb, 1);
  expectBoth(1);
  ASSERT_EQ(music_->ask("launch 0"), "1");
  ASSERT_EQ(maps_->ask("launch 0"), "1");
  expectBoth(2);

  ASSERT_EQ(server_->ask("close 101"), "ok");

  EXPECT_TRUE(music_->expect(usbInfo("music", 1)));
  EXPECT_EQ(music_->ask("send 1 1"), "0");
  EXPECT_EQ(maps_->ask("exchange 1 10"), "ok");
}

TEST_F(EndToEnd, the_playing_apps_name_reaches_every_app_cut_to_255_characters) {
  start({});

  ASSERT_EQ(server_->ask("playback radio"), "ok");
  ASSERT_EQ(server_->ask("playback " + std::string(256, 'x')), "ok");

  for (Child* const client : {&*music_, &*maps_}) {
    EXPECT_TRUE(client->expect("playback 1 radio"));
    EXPECT_TRUE(client->expect("playback 1 " + std::string(255, 'x')));
  }
}

// The hands-free message fills `btConnected` while clients add by `status`: the report is right, the list stays empty,
// and the next report about the device knows no address any more.
TEST_F(EndToEnd, the_hands_free_link_is_reported_and_not_kept) {
  start({});
  connect(kUsb, 1);
  expectBoth(1);

  ASSERT_EQ(server_->ask("handsfree 3 0a1B2c3D4e5F"), "ok");
  EXPECT_TRUE(music_->expect("info 1 spp 0 - usb 1 music iap 2 hfp 1 0a:1b:2c:3d:4e:5f"));
  EXPECT_EQ(music_->ask("handsfree"), "0");

  connect(kUsb, 1);
  EXPECT_TRUE(music_->expect(usbInfo("music", 1)));

  ASSERT_EQ(server_->ask("handsfree 2 0a1B2c3D4e5F"), "ok");  // bit 0 alone tells
  EXPECT_TRUE(music_->expect("info 1 spp 0 - usb 1 music iap 2 hfp 0 0a:1b:2c:3d:4e:5f"));
}

}  // namespace
