// What notifications add up to.
#include "inspect/channel_state.h"

#include "inspect/log_reader.h"
#include "tests/inspect/inspect_fixture.h"

namespace {

using hand_made::statusOf;
using inspect::AppTraffic;
using inspect::ChannelState;
using inspect::LogReader;

constexpr std::uint32_t kApp = 4711;
constexpr std::uint32_t kDeviceSide = 4712;

class StateOfTheChannel : public InspectTest {
 public:
  ChannelState state() const {
    const LogReader reader(inspect::kSharedMemory);
    std::vector<inspect::Message> messages;
    reader.read(0, reader.head(), 8192, messages);
    ChannelState sut;
    for (const inspect::Message& message : messages) {
      sut.add(message);
    }
    return sut;
  }
  void connect(std::uint32_t connectStatus) {
    auto status = statusOf(iosapp_def_::NOTIFYID_CONNECTSTATUS);
    status.connectStatus = connectStatus;
    log_.postStatus(status, kDeviceSide);
  }
  void session(std::uint32_t appId, std::uint32_t value) {
    auto status = statusOf(iosapp_def_::NOTIFYID_SESSIONSTATUS, appId);
    status.status = value;
    log_.postStatus(status, kDeviceSide);
  }
  void result(std::uint32_t appId, iosapp_def_::SendResult value) {
    auto status = statusOf(iosapp_def_::NOTIFYID_SENDRESULT, appId);
    status.sendResult = value;
    log_.postStatus(status, kDeviceSide);
  }

  hand_made::Log log_;
};

TEST_F(StateOfTheChannel, is_unknown_before_anything_was_said) {
  const ChannelState sut = state();
  EXPECT_FALSE(sut.link || sut.handsFree || sut.playback || sut.deviceSide);
  EXPECT_TRUE(sut.apps.empty());
}

TEST_F(StateOfTheChannel, follows_one_app_from_registration_to_its_results) {
  log_.announcePlace(0, kApp);
  connect(1);
  log_.postStatus(statusOf(iosapp_def_::NOTIFYID_APPLAUNCH, 1), kApp);
  session(1, 1);
  for (std::uint32_t slot = 0; slot < 3; ++slot) {
    log_.announce(2, 1, slot, kApp);
  }
  result(1, iosapp_def_::SENDRESULT_SUCCESS);
  result(1, iosapp_def_::SENDRESULT_FAILURE);
  log_.announce(3, 1, 0, kDeviceSide);
  const ChannelState sut = state();
  EXPECT_TRUE(sut.link->isConnected());
  EXPECT_EQ(sut.deviceSide->pid, kDeviceSide);
  ASSERT_EQ(sut.apps.count(1), 1U);
  const AppTraffic& app = sut.apps.at(1);
  EXPECT_EQ(app.owner->pid, kApp);
  EXPECT_EQ(app.registered->sequence, 0U);
  EXPECT_TRUE(app.isSessionOpen);
  EXPECT_EQ(app.launches, 1U);
  EXPECT_EQ(app.sent, 3U);
  EXPECT_EQ(app.results, 2U);
  EXPECT_EQ(app.failures, 1U);
  EXPECT_EQ(app.open, 1U);
  EXPECT_EQ(app.received, 1U);
  EXPECT_EQ(sut.lastSlot[0], 2U);
  EXPECT_EQ(sut.ringMessages[0], 3U);
  EXPECT_EQ(sut.senders.at(kApp).messages, 5U);
}

TEST_F(StateOfTheChannel, ends_sessions_with_the_link_and_counts_sends_that_will_have_no_result) {
  connect(1);
  session(1, 1);
  session(2, 1);
  log_.announce(2, 1, 0, kApp);
  session(2, 0);
  connect(0);
  const ChannelState sut = state();
  EXPECT_FALSE(sut.link->isConnected());
  EXPECT_FALSE(sut.apps.at(1).isSessionOpen);
  EXPECT_FALSE(sut.apps.at(2).isSessionOpen);
  EXPECT_EQ(sut.apps.at(1).open, 0U);
  EXPECT_EQ(sut.apps.at(1).unanswered, 1U);
}

TEST_F(StateOfTheChannel, takes_exactly_1_for_connected) {
  connect(2);
  EXPECT_FALSE(state().link->isConnected());
}

TEST_F(StateOfTheChannel, forgets_the_app_that_had_a_place_before) {
  log_.announcePlace(0, kApp);
  log_.announce(2, 1, 0, kApp);
  log_.announcePlace(0, kApp + 10);
  const ChannelState sut = state();
  EXPECT_EQ(sut.apps.at(1).sent, 0U);
  EXPECT_EQ(sut.apps.at(1).owner->pid, kApp + 10);
}

TEST_F(StateOfTheChannel, keeps_no_apps_and_no_more_senders_than_there_can_be) {
  for (std::uint32_t i = 0; i < 1000; ++i) {
    log_.announce(2, 20 + i, 0, 5000 + i);
  }
  log_.announcePlace(20);
  const ChannelState sut = state();
  EXPECT_EQ(sut.apps.size(), 1U);
  EXPECT_EQ(sut.strange, 1000U);
  EXPECT_EQ(sut.senders.size(), 256U);
}

TEST_F(StateOfTheChannel, keeps_hands_free_and_playing_app) {
  auto status = statusOf(iosapp_def_::NOTIFYID_BTHFSTATUS);
  status.btConnected = 1;
  status.btAddress[5] = 0x2A;
  log_.postStatus(status);
  status = statusOf(iosapp_def_::NOTIFYID_PLAYBACKAPPINFO);
  status.playbackAppName[0] = 'R';
  log_.postStatus(status);
  const ChannelState sut = state();
  EXPECT_EQ(sut.handsFree->btAddress, "00:00:00:00:00:2a");
  EXPECT_EQ(sut.playback->appName, "R");
}

}  // namespace
