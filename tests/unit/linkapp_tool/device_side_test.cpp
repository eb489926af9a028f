#include "phone/device_side.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "platform/fake/FakeFramework.h"
#include "tests/unit/linkapp_tool/manual_errands.h"

namespace {

using phone::Generation;
using phone::Link;
using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

// A stack that keeps what it is asked for.
class Stack final : public phone::AccessoryStack {
 public:
  void start(phone::AccessoryListener& listener) override { listener_ = &listener; }
  void setApps(const std::vector<phone::HeadUnitApp>& apps) override { apps_ = apps; }
  void launch(const phone::LaunchRequest& request) override {
    asked_.push_back("launch " + std::to_string(request.appId) + " " + request.launchString + " " +
                     std::to_string(request.method));
  }
  void send(std::uint16_t session, std::vector<std::uint8_t> data) override {
    asked_.push_back("send " + std::to_string(session) + " " + std::string(data.begin(), data.end()));
  }

  phone::AccessoryListener* listener_ = nullptr;
  std::vector<phone::HeadUnitApp> apps_;
  Texts asked_;
};

// Connection-status messages that were posted since the last look.
class Messages {
 public:
  Texts take() {
    Texts texts;
    const std::vector<vqfake::Message> all = vqfake::posted();
    for (; seen_ < all.size(); ++seen_) {
      if (all[seen_].id == 4) {
        iosapp_def_::ConnectStatusNotify message;
        memcpy(&message, all[seen_].payload.data(), sizeof message);
        texts.push_back(textOf(message));
      }
    }
    return texts;
  }

 private:
  static std::string textOf(const iosapp_def_::ConnectStatusNotify& message) {
    switch (message.notifyType) {
      case iosapp_def_::NOTIFYID_CONNECTSTATUS:
        return "connection " + std::to_string(message.connectStatus) + " type " + std::to_string(message.connectType) +
               " iap " + std::to_string(message.iapType);
      case iosapp_def_::NOTIFYID_SESSIONSTATUS:
        return "session of " + std::to_string(message.appId) + " " + std::to_string(message.status);
      case iosapp_def_::NOTIFYID_SENDRESULT:
        return "result for " + std::to_string(message.appId) + " " + std::to_string(message.sendResult);
      case iosapp_def_::NOTIFYID_BTHFSTATUS:
        return "hands-free " + std::to_string(message.btConnected);
      case iosapp_def_::NOTIFYID_PLAYBACKAPPINFO:
        return std::string("playing ") + message.playbackAppName;
      default:
        return "kind " + std::to_string(message.notifyType);
    }
  }

  std::size_t seen_ = 0;
};

class DeviceSide : public testing::Test {
 public:
  DeviceSide() {
    vqfake::reset();
    sut_ = std::make_unique<phone::DeviceSide>(errands_, stack_,
                                               [this](const phone::Event& event) { events_.push_back(event.name); });
  }

  void deliver() {
    vqfake::deliverAll();
    errands_.runTasks();
  }
  // A client that is registered and whose announcement has been answered.
  std::unique_ptr<iOSAppCommonClient> registerApp(const std::string& name) {
    auto client = std::make_unique<iOSAppCommonClient>("", name, "com.example." + name);
    deliver();
    deliver();
    return client;
  }
  unsigned int appId() const { return stack_.apps_.back().appId; }

  ManualErrands errands_;
  Stack stack_;
  Texts events_;
  Messages messages_;
  std::unique_ptr<phone::DeviceSide> sut_;
};

TEST_F(DeviceSide, announces_disconnected_over_both_links_when_it_starts) {
  EXPECT_THAT(messages_.take(),
              ElementsAre("connection 0 type 1 iap 1", "connection 0 type 2 iap 1", "hands-free 0", "playing "));
}

TEST_F(DeviceSide, sends_the_hands_free_message_behind_each_connection_message) {
  stack_.listener_->onHandsFree(true, {});
  messages_.take();
  stack_.listener_->onConnected(Link::kBluetooth, Generation::kIap1);
  EXPECT_THAT(messages_.take(), ElementsAre("connection 1 type 1 iap 0", "hands-free 1"));
  stack_.listener_->onDisconnected();
  EXPECT_THAT(messages_.take(), ElementsAre("connection 0 type 1 iap 0", "hands-free 1"));
}

TEST_F(DeviceSide, tells_a_new_app_connection_hands_free_and_playing_app_but_no_session) {
  const auto first = registerApp("navi");
  stack_.listener_->onConnected(Link::kUsb, Generation::kIap2);
  stack_.listener_->onSessionOpened(appId(), 101);
  stack_.listener_->onPlaying("Example Player");
  messages_.take();

  const auto second = registerApp("music");
  EXPECT_THAT(messages_.take(), ElementsAre("connection 1 type 2 iap 1", "hands-free 0", "playing Example Player"));
}

TEST_F(DeviceSide, repeats_the_hands_free_message_for_listeners_that_are_set_late) {
  const auto client = registerApp("navi");
  messages_.take();
  errands_.pass(milliseconds(199));
  EXPECT_THAT(messages_.take(), IsEmpty());
  errands_.pass(milliseconds(1));
  EXPECT_THAT(messages_.take(), ElementsAre("hands-free 0"));
  errands_.pass(milliseconds(800));
  EXPECT_THAT(messages_.take(), ElementsAre("hands-free 0"));
  errands_.pass(milliseconds(4000));
  EXPECT_THAT(messages_.take(), ElementsAre("hands-free 0"));
  errands_.pass(std::chrono::minutes(1));
  EXPECT_THAT(messages_.take(), IsEmpty());
}

TEST_F(DeviceSide, counts_the_repetitions_from_the_last_registration) {
  const auto first = registerApp("navi");
  errands_.pass(milliseconds(100));
  const auto second = registerApp("music");
  messages_.take();
  errands_.pass(milliseconds(150));
  EXPECT_THAT(messages_.take(), IsEmpty());
  errands_.pass(milliseconds(50));
  EXPECT_THAT(messages_.take(), ElementsAre("hands-free 0"));
}

// The client learns of an open session by the message behind the connection message, which alone would report 1.
TEST_F(DeviceSide, leaves_an_open_session_open_when_another_app_registers) {
  const auto first = registerApp("navi");
  const unsigned int navi = appId();
  stack_.listener_->onConnected(Link::kUsb, Generation::kIap2);
  stack_.listener_->onSessionOpened(navi, 101);
  deliver();
  ASSERT_EQ(first->isSessionOpened(1, navi), 1U);

  const auto second = registerApp("music");
  EXPECT_EQ(first->isSessionOpened(1, navi), 1U);
  EXPECT_EQ(second->isDeviceConnected(1), 1U);
}

TEST_F(DeviceSide, tells_the_stack_the_apps_that_are_there_and_that_come) {
  const auto first = registerApp("navi");
  const std::size_t count = stack_.apps_.size();
  EXPECT_EQ(stack_.apps_.back().name, "navi");
  EXPECT_EQ(stack_.apps_.back().launchString, "com.example.navi");

  sut_.reset();
  Stack other;
  const phone::DeviceSide successor(errands_, other, [](const phone::Event&) {});
  EXPECT_EQ(other.apps_.size(), count);
}

TEST_F(DeviceSide, hands_launch_requests_and_data_to_the_stack) {
  const auto client = registerApp("navi");
  const unsigned int navi = appId();
  stack_.listener_->onConnected(Link::kUsb, Generation::kIap2);
  deliver();
  ASSERT_EQ(client->launch(1, iosapp_def_::APPLAUNCH_WITHOUT_ALERT), 1U);
  deliver();
  stack_.listener_->onSessionOpened(navi, 101);
  deliver();
  const unsigned char hello[] = {'h', 'i'};
  ASSERT_EQ(client->sendDataFromHU(hello, 2), 1U);
  deliver();
  EXPECT_THAT(stack_.asked_, ElementsAre("launch " + std::to_string(navi) + " com.example.navi 1", "send 101 hi"));
}

TEST_F(DeviceSide, drops_data_for_a_session_that_has_closed) {
  const auto client = registerApp("navi");
  stack_.listener_->onConnected(Link::kUsb, Generation::kIap2);
  deliver();
  client->launch(1, iosapp_def_::APPLAUNCH_WITHOUT_ALERT);
  stack_.listener_->onSessionOpened(appId(), 101);
  deliver();
  const unsigned char hello[] = {'h', 'i'};
  ASSERT_EQ(client->sendDataFromHU(hello, 2), 1U);
  stack_.listener_->onSessionClosed(101);
  deliver();
  EXPECT_EQ(events_.back(), "data-dropped");
}

TEST_F(DeviceSide, tells_no_result_for_a_session_that_is_not_open) {
  messages_.take();
  stack_.listener_->onSendOutcome(0, phone::SendOutcome::kSuccess);
  stack_.listener_->onSendOutcome(102, phone::SendOutcome::kFailure);
  stack_.listener_->onSessionClosed(102);
  EXPECT_THAT(messages_.take(), IsEmpty());
}

TEST_F(DeviceSide, tells_how_sends_ended) {
  const auto client = registerApp("navi");
  const std::string navi = std::to_string(appId());
  stack_.listener_->onConnected(Link::kUsb, Generation::kIap2);
  stack_.listener_->onSessionOpened(appId(), 101);
  messages_.take();
  stack_.listener_->onSendOutcome(101, phone::SendOutcome::kSuccess);
  stack_.listener_->onSendOutcome(101, phone::SendOutcome::kFailure);
  EXPECT_THAT(messages_.take(), ElementsAre("result for " + navi + " 1", "result for " + navi + " 0"));
}

TEST_F(DeviceSide, that_has_gone_is_not_touched_by_what_was_posted_to_it) {
  iOSAppCommonClient client("", "navi", "com.example.navi");
  vqfake::deliverAll();  // posts an errand
  sut_.reset();
  messages_.take();
  errands_.runTasks();
  EXPECT_THAT(messages_.take(), IsEmpty());
}

}  // namespace
