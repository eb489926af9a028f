// What head-unit applications do and hear on the facade, over three real processes: a device side, an application whose
// operator serves SPP and iOS, and one for iOS alone that watches hands-free links and the playing app too.
#include <optional>

#include "tests/process/channel_fixture.h"
#include "tests/process/message_pattern.h"

namespace {

constexpr const char* kUuid = "00001101-0000-1000-8000-00805f9b34fb";
constexpr const char* kPhoneAddress = "0a1b2c3d4e5f";

class FacadeStory : public ChannelTest {
 protected:
  void SetUp() override {
    device_.emplace("server");
    expectReady(*device_);
    music_.emplace("application", std::vector<std::string>{"music", "com.example.music", kUuid});
    expectReady(*music_);
    maps_.emplace("media_application", std::vector<std::string>{"maps", "com.example.maps"});
    expectReady(*maps_);
    expectServerKnowsApp(*device_, 2, "com.example.maps");
  }

  // The iPhone over USB, with a status and the name of the app that comes with an opened session.
  static std::string overUsb(int status, const std::string& app = "-") {
    return "status 1 1 - spp 0 - - usb " + std::to_string(status) + " - " + app + " iap 2";
  }

  void connectOverUsb() {
    ASSERT_EQ(device_->ask("connect 0 1"), "ok");
    EXPECT_TRUE(music_->expect(overUsb(1)));
    EXPECT_TRUE(maps_->expect(overUsb(1)));
  }

  void disconnect() {
    ASSERT_EQ(device_->ask("disconnect 0 1"), "ok");
    EXPECT_TRUE(music_->expect(overUsb(0)));
    EXPECT_TRUE(maps_->expect(overUsb(0)));
  }

  void openMusicSession(int session) {
    ASSERT_EQ(music_->ask("launch 1 0"), "1");
    ASSERT_TRUE(device_->expect("launch 1 1 com.example.music 0"));
    ASSERT_EQ(device_->ask("open 1 " + std::to_string(session)), "ok");
    ASSERT_TRUE(music_->expect(overUsb(2, "music")));
  }

  std::optional<Child> device_;
  std::optional<Child> music_;  // app 1
  std::optional<Child> maps_;   // app 2
};

TEST_F(FacadeStory, a_launch_and_a_message_travel_from_end_to_end) {
  connectOverUsb();

  // The launch reaches the device side with the app's own string.
  ASSERT_EQ(music_->ask("launch 1 1"), "1");
  ASSERT_TRUE(device_->expect("launch 1 1 com.example.music 1"));

  // The session that opens on the phone is reported with the app's name.
  ASSERT_EQ(device_->ask("open 1 11"), "ok");
  EXPECT_TRUE(music_->expect(overUsb(2, "music")));
  EXPECT_EQ(device_->ask("session-of 1"), "11");

  // A message goes out over that session, and its outcome comes back.
  EXPECT_EQ(music_->ask("send 4096 1"), "1");
  EXPECT_TRUE(device_->expect("data 1 11 " + describePattern(4096, 1)));
  ASSERT_EQ(device_->ask("result 11 1"), "ok");
  EXPECT_TRUE(music_->expect("result 0"));
  EXPECT_EQ(music_->ask("send 1 2"), "1");
  EXPECT_TRUE(device_->expect("data 1 11 " + describePattern(1, 2)));
  ASSERT_EQ(device_->ask("result 11 0"), "ok");
  EXPECT_TRUE(music_->expect("result 1"));

  // And the phone's own message comes in.
  ASSERT_EQ(device_->ask("data 11 4096 3"), "ok");
  EXPECT_TRUE(music_->expect("message " + describePattern(4096, 3)));
}

TEST_F(FacadeStory, both_applications_talk_to_the_phone_at_once) {
  connectOverUsb();
  openMusicSession(11);
  ASSERT_EQ(maps_->ask("launch 1 7"), "1");  // an unknown method launches with the user's consent
  ASSERT_TRUE(device_->expect("launch 1 2 com.example.maps 0"));
  ASSERT_EQ(device_->ask("open 2 22"), "ok");
  ASSERT_TRUE(maps_->expect(overUsb(2, "maps")));

  ASSERT_EQ(maps_->ask("send 300 1"), "1");
  ASSERT_EQ(music_->ask("send 400 2"), "1");
  EXPECT_TRUE(device_->expect("data 1 22 " + describePattern(300, 1)));
  EXPECT_TRUE(device_->expect("data 1 11 " + describePattern(400, 2)));
  ASSERT_EQ(device_->ask("data 11 500 3"), "ok");
  ASSERT_EQ(device_->ask("data 22 600 4"), "ok");
  ASSERT_EQ(device_->ask("result 22 1"), "ok");
  ASSERT_EQ(device_->ask("result 11 0"), "ok");

  EXPECT_TRUE(music_->expect("message " + describePattern(500, 3)));
  EXPECT_TRUE(music_->expect("result 1"));
  EXPECT_TRUE(maps_->expect("message " + describePattern(600, 4)));
  EXPECT_TRUE(maps_->expect("result 0"));
}

TEST_F(FacadeStory, an_app_without_a_session_hears_nothing_of_the_others) {
  connectOverUsb();
  EXPECT_EQ(maps_->ask("send 10 1"), "0");  // nothing launched, so no link is in use
  ASSERT_EQ(maps_->ask("launch 1 0"), "1");
  ASSERT_TRUE(device_->expect("launch 1 2 com.example.maps 0"));

  openMusicSession(11);
  ASSERT_EQ(music_->ask("send 10 1"), "1");
  ASSERT_EQ(device_->ask("result 11 1"), "ok");
  ASSERT_EQ(device_->ask("data 11 20 2"), "ok");
  ASSERT_TRUE(music_->expect("result 0"));
  ASSERT_TRUE(music_->expect("message " + describePattern(20, 2)));
  EXPECT_EQ(maps_->ask("send 10 1"), "0");
  EXPECT_TRUE(
      maps_->waitForLog("[LinkAppCommon/private/iOSApp/iOSAppCommonClient:0 sendDataFromHU 1] "
                        "##### Send Error : DeviceId[1]] not opened.\n"));

  // The very next thing that maps hears is meant for all.
  disconnect();
}

TEST_F(FacadeStory, a_disconnect_ends_the_session_and_after_a_reconnect_a_launch_opens_another) {
  connectOverUsb();
  openMusicSession(11);

  disconnect();
  EXPECT_EQ(music_->ask("send 10 1"), "0");
  EXPECT_EQ(music_->ask("launch 1 0"), "0");
  EXPECT_TRUE(
      music_->waitForLog("[LinkAppCommon/private/iOSApp/iOSAppCommonClient:0 launch 1] "
                         "##### Launch Error : DeviceId[1]] not connected.\n"));

  connectOverUsb();
  EXPECT_EQ(music_->ask("send 10 1"), "0");
  openMusicSession(12);
  EXPECT_EQ(music_->ask("send 10 2"), "1");
  EXPECT_TRUE(device_->expect("data 1 12 " + describePattern(10, 2)));
  ASSERT_EQ(device_->ask("data 12 20 3"), "ok");
  EXPECT_TRUE(music_->expect("message " + describePattern(20, 3)));
}

TEST_F(FacadeStory, a_session_that_the_phone_closes_leaves_the_device_connected) {
  connectOverUsb();
  openMusicSession(11);

  ASSERT_EQ(device_->ask("close 11"), "ok");

  EXPECT_TRUE(music_->expect(overUsb(1)));
  EXPECT_EQ(music_->ask("send 10 1"), "0");
}

TEST_F(FacadeStory, an_iphone_over_bluetooth_is_reported_on_its_bluetooth_link) {
  ASSERT_EQ(device_->ask("connect 1 1"), "ok");
  EXPECT_TRUE(music_->expect("status 1 1 - spp 1 - - usb 0 - - iap 2"));

  ASSERT_EQ(music_->ask("launch 1 0"), "1");
  ASSERT_TRUE(device_->expect("launch 1 1 com.example.music 0"));
  ASSERT_EQ(device_->ask("open 1 11"), "ok");

  EXPECT_TRUE(music_->expect("status 1 1 - spp 2 - music usb 0 - - iap 2"));
}

TEST_F(FacadeStory, a_refused_spp_request_leaves_the_iphone_as_the_link_in_use) {
  connectOverUsb();
  openMusicSession(11);

  EXPECT_EQ(music_->ask("spp-connect 3"), "0");
  EXPECT_EQ(music_->ask("spp-disconnect 3"), "0");
  EXPECT_EQ(music_->ask("standby"), "0");

  EXPECT_EQ(music_->ask("send 10 1"), "1");
  EXPECT_TRUE(device_->expect("data 1 11 " + describePattern(10, 1)));
}

TEST_F(FacadeStory, an_operator_for_ios_alone_has_no_spp_side) {
  EXPECT_EQ(maps_->ask("spp-connect 3"), "0");
  EXPECT_EQ(maps_->ask("standby"), "0");

  EXPECT_TRUE(
      maps_->waitForLog("[LinkAppCommon/private/VQSLinkAppOperator:0 requestSppConnect 1] mpBtApps(NULL)!!!\n"));
  EXPECT_EQ(maps_->countInLog("mpBtApps(NULL)!!!"), 1U);
}

TEST_F(FacadeStory, an_application_hears_nothing_while_it_has_no_status_listener) {
  connectOverUsb();
  openMusicSession(11);

  ASSERT_EQ(music_->ask("deaf"), "1");
  ASSERT_EQ(device_->ask("data 11 20 1"), "ok");
  ASSERT_EQ(device_->ask("result 11 1"), "ok");
  ASSERT_EQ(device_->ask("disconnect 0 1"), "ok");
  // Its client goes on: a launch is granted, and not sent, until the end of the session has come through.
  ASSERT_TRUE(test_support::waitUntil([this] { return music_->ask("launch 1 0") == "0"; }));
  ASSERT_EQ(music_->ask("listen"), "1");
  ASSERT_EQ(device_->ask("connect 0 1"), "ok");

  EXPECT_TRUE(music_->expect(overUsb(1)));
}

TEST_F(FacadeStory, the_hands_free_link_of_an_iphone_on_usb_reaches_its_listener) {
  connectOverUsb();

  ASSERT_EQ(device_->ask(std::string("handsfree 1 ") + kPhoneAddress), "ok");
  EXPECT_TRUE(maps_->expect("handsfree 1 1 1"));
  ASSERT_EQ(device_->ask(std::string("handsfree 3 ") + kPhoneAddress), "ok");  // bit 0 alone tells: no news
  ASSERT_EQ(device_->ask(std::string("handsfree 2 ") + kPhoneAddress), "ok");
  EXPECT_TRUE(maps_->expect("handsfree 1 1 0"));

  // The other application's next news is not of it.
  disconnect();
}

// For an iPhone linked over SPP the Bluetooth manager's word counts, and it has none to say here.
TEST_F(FacadeStory, the_hands_free_link_of_an_iphone_on_bluetooth_is_not_taken_from_the_channel) {
  ASSERT_EQ(device_->ask("connect 1 1"), "ok");
  ASSERT_TRUE(maps_->expect("status 1 1 - spp 1 - - usb 0 - - iap 2"));

  ASSERT_EQ(device_->ask(std::string("handsfree 1 ") + kPhoneAddress), "ok");
  ASSERT_EQ(device_->ask("playback radio"), "ok");

  EXPECT_TRUE(maps_->expect("playback 1 radio"));
}

TEST_F(FacadeStory, the_playing_app_reaches_its_listener_alone) {
  connectOverUsb();

  ASSERT_EQ(device_->ask("playback radio"), "ok");
  ASSERT_EQ(device_->ask("playback " + std::string(256, 'x')), "ok");

  EXPECT_TRUE(maps_->expect("playback 1 radio"));
  EXPECT_TRUE(maps_->expect("playback 1 " + std::string(255, 'x')));
  disconnect();
}

}  // namespace
