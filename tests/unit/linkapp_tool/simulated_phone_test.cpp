#include "phone/simulated_phone.h"

#include <gtest/gtest.h>

#include "tests/unit/linkapp_tool/manual_errands.h"

namespace {

using phone::Bytes;
using phone::Generation;
using phone::LaunchPolicy;
using phone::Link;
using phone::ResultPolicy;
using std::chrono::milliseconds;

constexpr const char* kNavi = "com.example.navi";
using Texts = std::vector<std::string>;

// What the stack tells the device side, as text.
class Recorder final : public phone::AccessoryListener {
 public:
  void onConnected(Link link, Generation generation) override {
    add(std::string("connected ") + nameOf(link) + " " + nameOf(generation));
  }
  void onDisconnected() override { add("disconnected"); }
  void onSessionOpened(unsigned int id, std::uint16_t session) override {
    add("opened " + std::to_string(id) + " " + std::to_string(session));
  }
  void onSessionClosed(std::uint16_t session) override { add("closed " + std::to_string(session)); }
  void onData(std::uint16_t session, const std::vector<std::uint8_t>& data) override {
    add("data " + std::to_string(session) + " " + std::string(data.begin(), data.end()));
  }
  void onSendOutcome(std::uint16_t session, phone::SendOutcome outcome) override {
    add((outcome == phone::SendOutcome::kSuccess ? "success " : "failure ") + std::to_string(session));
  }
  void onHandsFree(bool isUp, const phone::Address& address) override {
    add(std::string(isUp ? "up " : "down ") + phone::textOf(address));
  }
  void onPlaying(const std::string& app) override { add("playing " + app); }

  Texts take() { return std::exchange(told_, {}); }
  std::size_t count() const { return told_.size(); }

 private:
  void add(const std::string& text) { told_.push_back(text); }
  Texts told_;
};

class SimulatedPhone : public testing::Test {
 public:
  SimulatedPhone() {
    sut_.start(recorder_);
    sut_.setApps({{1, 0, "", "navi", kNavi}, {2, 7, "music", "music", "com.example.music"}, {3, 0, "", "navi", kNavi}});
  }

  void plug(Generation generation = Generation::kIap2) {
    ASSERT_EQ(sut_.plug(Link::kUsb, generation), "");
    recorder_.take();
  }
  void openNavi() {
    plug();
    sut_.launch({1, kNavi, 0});
    ASSERT_EQ(recorder_.take(), Texts{"opened 1 101"});
  }
  void receive(const std::string& text) { sut_.send(101, {text.begin(), text.end()}); }

  ManualErrands errands_;
  std::vector<std::string> events_;
  Recorder recorder_;
  phone::SimulatedPhone sut_{errands_, [this](const phone::Event& event) { events_.push_back(event.name); }};
};

TEST_F(SimulatedPhone, tells_its_link_and_its_generation) {
  EXPECT_EQ(sut_.plug(Link::kBluetooth, Generation::kIap1), "");
  EXPECT_EQ(recorder_.take(), Texts{"connected bluetooth iap1"});
}

TEST_F(SimulatedPhone, is_plugged_in_once) {
  plug();
  EXPECT_EQ(sut_.plug(Link::kUsb, Generation::kIap2), "the phone is connected over usb already");
  EXPECT_EQ(sut_.plug(Link::kBluetooth, Generation::kIap2),
            "the phone is connected over usb; `switch` changes the link");
  EXPECT_EQ(recorder_.count(), 0U);
}

TEST_F(SimulatedPhone, closes_its_sessions_before_it_goes) {
  openNavi();
  EXPECT_EQ(sut_.unplug(), "");
  EXPECT_EQ(recorder_.take(), (Texts{"closed 101", "disconnected"}));
  EXPECT_EQ(sut_.unplug(), "the phone is not connected");
}

TEST_F(SimulatedPhone, echoes_before_it_tells_the_result) {
  openNavi();
  receive("hello");
  EXPECT_EQ(recorder_.take(), (Texts{"data 101 hello", "success 101"}));
}

TEST_F(SimulatedPhone, opens_sessions_by_iap1_id_with_iap1) {
  plug(Generation::kIap1);
  sut_.launch({2, "com.example.music", 0});
  EXPECT_EQ(recorder_.take(), Texts{"opened 7 101"});
}

TEST_F(SimulatedPhone, refuses_an_app_without_an_iap1_name_with_iap1) {
  plug(Generation::kIap1);
  sut_.launch({1, kNavi, 0});
  EXPECT_EQ(recorder_.count(), 0U);
  EXPECT_EQ(events_.back(), "launch-refused");
}

TEST_F(SimulatedPhone, refuses_launches_when_it_is_not_connected) {
  sut_.launch({1, kNavi, 0});
  EXPECT_EQ(recorder_.count(), 0U);
  EXPECT_EQ(events_.back(), "launch-refused");
}

TEST_F(SimulatedPhone, refuses_launches_as_it_was_told_for_one_app_alone) {
  plug();
  sut_.setLaunches(kNavi, {LaunchPolicy::Kind::kRefuse, {}});
  sut_.launch({1, kNavi, 0});
  EXPECT_EQ(recorder_.count(), 0U);
  sut_.launch({2, "com.example.music", 0});
  EXPECT_EQ(recorder_.take(), Texts{"opened 2 101"});
}

TEST_F(SimulatedPhone, launches_slowly) {
  plug();
  sut_.setLaunches("*", {LaunchPolicy::Kind::kSlow, milliseconds(500)});
  sut_.launch({1, kNavi, 0});
  errands_.pass(milliseconds(499));
  EXPECT_EQ(recorder_.count(), 0U);
  errands_.pass(milliseconds(1));
  EXPECT_EQ(recorder_.take(), Texts{"opened 1 101"});
}

TEST_F(SimulatedPhone, forgets_a_slow_launch_when_it_is_unplugged_meanwhile) {
  plug();
  sut_.setLaunches("*", {LaunchPolicy::Kind::kSlow, milliseconds(500)});
  sut_.launch({1, kNavi, 0});
  sut_.unplug();
  sut_.plug(Link::kUsb, Generation::kIap2);
  recorder_.take();
  errands_.pass(milliseconds(1000));
  EXPECT_EQ(recorder_.count(), 0U);
}

TEST_F(SimulatedPhone, announces_an_open_session_again_to_an_app_that_asks_for_it) {
  openNavi();
  sut_.launch({1, kNavi, 0});
  EXPECT_EQ(recorder_.take(), Texts{"opened 1 101"});
  EXPECT_EQ(events_.back(), "session-open-already");
}

TEST_F(SimulatedPhone, refuses_an_app_that_was_removed) {
  plug();
  sut_.install(kNavi, phone::sinkApp());
  EXPECT_EQ(sut_.remove(kNavi), "");
  sut_.launch({1, kNavi, 0});
  EXPECT_EQ(recorder_.count(), 0U);
}

TEST_F(SimulatedPhone, opens_the_app_that_registered_last) {
  plug();
  EXPECT_EQ(sut_.open(kNavi), "");
  EXPECT_EQ(recorder_.take(), Texts{"opened 3 101"});
  EXPECT_EQ(sut_.open("com.example.gone"), "no head-unit application has registered com.example.gone");
}

TEST_F(SimulatedPhone, ends_a_session_when_its_user_does) {
  openNavi();
  EXPECT_EQ(sut_.close(kNavi), "");
  EXPECT_EQ(recorder_.take(), Texts{"closed 101"});
  receive("late");
  EXPECT_EQ(recorder_.count(), 0U);
}

TEST_F(SimulatedPhone, fails_messages_without_giving_them_to_the_app) {
  openNavi();
  sut_.setResults("*", {ResultPolicy::Kind::kFailure, {}});
  receive("hello");
  EXPECT_EQ(recorder_.take(), Texts{"failure 101"});
}

TEST_F(SimulatedPhone, tells_results_late) {
  openNavi();
  sut_.setResults(kNavi, {ResultPolicy::Kind::kLate, milliseconds(300)});
  receive("hello");
  EXPECT_EQ(recorder_.take(), Texts{"data 101 hello"});
  errands_.pass(milliseconds(300));
  EXPECT_EQ(recorder_.take(), Texts{"success 101"});
}

TEST_F(SimulatedPhone, tells_no_results) {
  openNavi();
  sut_.setResults("*", {ResultPolicy::Kind::kNone, {}});
  receive("hello");
  errands_.pass(std::chrono::seconds(100));
  EXPECT_EQ(recorder_.take(), Texts{"data 101 hello"});
}

TEST_F(SimulatedPhone, tells_no_late_result_of_a_closed_session) {
  openNavi();
  sut_.setResults("*", {ResultPolicy::Kind::kLate, milliseconds(300)});
  receive("hello");
  sut_.close(kNavi);
  recorder_.take();
  errands_.pass(milliseconds(300));
  EXPECT_EQ(recorder_.count(), 0U);
}

TEST_F(SimulatedPhone, reboots_in_the_middle_of_a_message) {
  openNavi();
  sut_.setHandsFree(true, std::nullopt);
  sut_.play("Example Player");
  sut_.setResults("*", {ResultPolicy::Kind::kLate, milliseconds(300)});
  receive("hello");
  recorder_.take();

  EXPECT_EQ(sut_.reboot(milliseconds(200)), "");
  EXPECT_EQ(recorder_.take(), (Texts{"closed 101", "disconnected", "down 12:34:56:78:9a:bc", "playing "}));
  EXPECT_EQ(sut_.plug(Link::kUsb, Generation::kIap2), "the phone is rebooting");
  EXPECT_EQ(sut_.reboot(milliseconds(200)), "the phone is rebooting already");
  errands_.pass(milliseconds(1000));
  EXPECT_EQ(recorder_.take(), (Texts{"connected usb iap2", "up 12:34:56:78:9a:bc"}));
}

TEST_F(SimulatedPhone, changes_its_link_and_keeps_its_hands_free_link) {
  openNavi();
  sut_.setHandsFree(true, std::nullopt);
  recorder_.take();
  EXPECT_EQ(sut_.switchTo(Link::kBluetooth), "");
  EXPECT_EQ(recorder_.take(), (Texts{"closed 101", "disconnected", "connected bluetooth iap2"}));
  EXPECT_EQ(sut_.switchTo(Link::kBluetooth), "the phone is connected over bluetooth already");
}

TEST_F(SimulatedPhone, keeps_the_address_of_its_hands_free_link) {
  sut_.setHandsFree(true, phone::Address{1, 2, 3, 4, 5, 6});
  sut_.setHandsFree(false, std::nullopt);
  EXPECT_EQ(recorder_.take(), (Texts{"up 01:02:03:04:05:06", "down 01:02:03:04:05:06"}));
}

TEST_F(SimulatedPhone, sends_a_burst_of_its_count) {
  openNavi();
  EXPECT_EQ(sut_.burstFromApp(kNavi, {100, 8, 0}), "");
  errands_.pass(std::chrono::seconds(1));
  EXPECT_EQ(recorder_.count(), 100U);
  EXPECT_EQ(events_.back(), "burst-ended");
}

TEST_F(SimulatedPhone, refuses_to_send_what_the_channel_does_not_take) {
  openNavi();
  EXPECT_EQ(sut_.sendFromApp(kNavi, Bytes(4097)), "the channel takes 1 to 4096 bytes");
  EXPECT_EQ(recorder_.count(), 0U);
  EXPECT_EQ(events_.back(), "send-refused");
  EXPECT_EQ(sut_.sendFromApp(kNavi, Bytes(4096)), "");
  EXPECT_EQ(recorder_.count(), 1U);
}

TEST_F(SimulatedPhone, lets_a_source_send_from_the_opening_of_its_session) {
  sut_.install(kNavi, phone::sourceApp(errands_, {5, 16, 0}));
  plug();
  sut_.launch({1, kNavi, 0});
  errands_.pass(milliseconds(100));
  EXPECT_EQ(recorder_.count(), 6U);  // the opening, too
}

TEST_F(SimulatedPhone, leaves_no_errand_behind_when_its_sessions_end) {
  sut_.install(kNavi, phone::sourceApp(errands_, {0, 16, 1}));
  plug();
  sut_.launch({1, kNavi, 0});
  sut_.setResults("*", {ResultPolicy::Kind::kLate, std::chrono::minutes(1)});
  receive("hello");
  EXPECT_EQ(errands_.timerCount(), 2U);
  sut_.unplug();
  EXPECT_EQ(errands_.timerCount(), 0U);
}

}  // namespace
