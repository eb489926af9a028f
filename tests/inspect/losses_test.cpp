// What got lost, told from messages and receivers.
#include "inspect/losses.h"

#include "inspect/snapshot.h"
#include "inspect/status_json.h"
#include "inspect/status_text.h"
#include "tests/inspect/inspect_fixture.h"

namespace {

using inspect::ChannelState;
using inspect::Losses;
using inspect::LossKind;
using inspect::Message;
using inspect::Receiver;
using inspect::RingId;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::uint32_t kDeviceSide = 100;
constexpr std::uint32_t kApp = 200;       // the process of app 1
constexpr std::uint32_t kOtherApp = 300;  // of app 2
constexpr std::uint64_t kNow = 1'000'000'000'000;

MATCHER_P3(IsLoss, kind, count, app, "") {
  return arg.kind == kind && arg.count == std::uint64_t{count} && arg.app == std::uint32_t{app};
}

class LossesOfTheChannel : public testing::Test {
 public:
  // App 1 and app 2 are known to belong to their processes, and the device side has spoken.
  LossesOfTheChannel() {
    place(0, kApp);
    place(1, kOtherApp);
    post(hand_made::statusOf(iosapp_def_::NOTIFYID_BTHFSTATUS), kDeviceSide);
  }

  void give(std::uint32_t id, const void* payload, std::size_t size, std::uint32_t pid) {
    Message message;
    message.sequence = sequence_++;
    message.time = time_;
    message.number = numbers_[id]++;
    message.id = id;
    message.pid = pid;
    message.size = static_cast<std::uint32_t>(size);
    std::memcpy(message.payload.data(), payload, size);
    state_.add(message);
    sut_.add(message);
  }
  void place(std::uint32_t place, std::uint32_t pid) { give(inspect::kIdAppInfo, &place, sizeof place, pid); }
  void post(const iosapp_def_::ConnectStatusNotify& status, std::uint32_t pid = kDeviceSide) {
    give(inspect::kIdConnectStatus, &status, sizeof status, pid);
  }
  void announce(std::uint32_t id, std::uint32_t app, std::uint32_t slot) {
    const iOSAppCommonDataNotify announcement = {1, app, slot};
    const std::uint32_t pid = id == inspect::kIdFromDevice ? kDeviceSide : app == 1 ? kApp : kOtherApp;
    give(id, &announcement, sizeof announcement, pid);
  }
  void send(std::uint32_t app, std::uint32_t slot) { announce(inspect::kIdFromHU, app, slot); }
  void answer(std::uint32_t app) {
    auto status = hand_made::statusOf(iosapp_def_::NOTIFYID_SENDRESULT, app);
    status.sendResult = iosapp_def_::SENDRESULT_SUCCESS;
    post(status);
  }
  void goRound(std::uint32_t id, std::uint32_t app, std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i) {
      announce(id, app, i % 40);
    }
  }

  static Receiver receiver(std::uint32_t pid, std::uint64_t position, std::uint64_t lost = 0) {
    Receiver receiver;
    receiver.pid = pid;
    receiver.startTime = 7;
    receiver.identifiers = {2, 3, 4, 5};
    receiver.identifierCount = 4;
    receiver.position = position;
    receiver.lost = lost;
    return receiver;
  }
  void look(const std::vector<Receiver>& receivers, std::uint64_t now = kNow) {
    sut_.look(
        receivers, state_, [this](const Receiver& one) { return dead_ != one.pid; }, now);
  }

  ChannelState state_;
  std::map<std::uint32_t, std::uint32_t> numbers_;
  std::uint64_t sequence_ = 1;
  std::uint64_t time_ = kNow;
  std::uint32_t dead_ = 0;
  Losses sut_{Losses::Earlier::kDoesNotCount};
};

TEST_F(LossesOfTheChannel, are_none_where_everything_is_read_and_answered) {
  for (std::uint32_t i = 0; i < 100; ++i) {
    send(1, i % 40);
    answer(1);
    announce(inspect::kIdFromDevice, 1, i % 40);
    look({receiver(kDeviceSide, sequence_), receiver(kApp, sequence_)});
  }
  EXPECT_THAT(sut_.take(), IsEmpty());
  EXPECT_EQ(sut_.total().all(), 0U);
}

TEST_F(LossesOfTheChannel, count_slots_that_are_overwritten_before_the_app_they_are_for_took_them) {
  const std::uint64_t first = sequence_;
  goRound(inspect::kIdFromDevice, 1, 43);
  look({receiver(kApp, first + 1), receiver(kOtherApp, first), receiver(kDeviceSide, sequence_)});
  const auto found = sut_.take();
  EXPECT_THAT(found, ElementsAre(IsLoss(LossKind::kOverwritten, 1U, 1U), IsLoss(LossKind::kOverwritten, 1U, 1U)));
  EXPECT_EQ(found.front().pid, kApp);
  EXPECT_EQ(found.front().ring, RingId::kFromDevice);
  EXPECT_EQ(found.front().sequence, first + 1);
  EXPECT_EQ(sut_.byApp[1].overwritten, 2U);
  EXPECT_EQ(sut_.byReceiver[kApp].overwritten, 2U);
  EXPECT_EQ(sut_.byReceiver.count(kOtherApp), 0U);
}

TEST_F(LossesOfTheChannel, count_slots_from_the_head_unit_for_the_device_side_alone) {
  const std::uint64_t first = sequence_;
  goRound(inspect::kIdFromHU, 2, 41);
  look({receiver(kApp, first), receiver(kDeviceSide, first)});
  EXPECT_EQ(sut_.total().overwritten, 1U);
  EXPECT_EQ(sut_.byReceiver[kDeviceSide].overwritten, 1U);
  EXPECT_EQ(sut_.byApp[2].overwritten, 1U);
}

TEST_F(LossesOfTheChannel, count_an_overwritten_slot_once) {
  const std::uint64_t first = sequence_;
  goRound(inspect::kIdFromDevice, 1, 41);
  look({receiver(kApp, first)});
  look({receiver(kApp, first)});
  EXPECT_EQ(sut_.total().overwritten, 1U);
}

TEST_F(LossesOfTheChannel, are_none_for_places_of_processes_that_have_ended_or_not_begun) {
  const std::uint64_t first = sequence_;
  dead_ = kApp;
  goRound(inspect::kIdFromDevice, 1, 60);
  look({receiver(kApp, first)});
  goRound(inspect::kIdFromDevice, 2, 60);
  look({receiver(kOtherApp, 0)});
  EXPECT_EQ(sut_.total().overwritten, 0U);
}

TEST_F(LossesOfTheChannel, count_skipped_slots_and_name_the_app_that_came_next) {
  send(1, 37);
  send(2, 39);
  send(1, 0);
  send(1, 4);
  const auto found = sut_.take();
  EXPECT_THAT(found, ElementsAre(IsLoss(LossKind::kSkipped, 1U, 2U), IsLoss(LossKind::kSkipped, 3U, 1U)));
  EXPECT_EQ(found.front().ring, RingId::kFromHU);
  EXPECT_EQ(found.front().pid, kOtherApp);
  EXPECT_EQ(sut_.byApp[1].skipped, 3U);
}

TEST_F(LossesOfTheChannel, know_that_a_ring_may_be_set_back) {
  send(1, 5);
  send(1, 0);
  send(1, 1);
  EXPECT_EQ(sut_.total().skipped, 0U);
  EXPECT_EQ(sut_.setBacks, 1U);
}

TEST_F(LossesOfTheChannel, know_nothing_of_slots_whose_announcement_was_missed) {
  send(1, 5);
  ++numbers_[inspect::kIdFromHU];
  send(1, 9);
  sut_.addMissed(3, sequence_, kNow);
  send(1, 20);
  EXPECT_EQ(sut_.total().skipped, 0U);
}

TEST_F(LossesOfTheChannel, count_what_receivers_say_they_lost_since_they_were_seen_first) {
  look({receiver(kApp, 10, 5)});
  EXPECT_EQ(sut_.total().notifications, 0U);
  look({receiver(kApp, 20, 12), receiver(kOtherApp, 20, 3)});
  EXPECT_THAT(sut_.take(),
              ElementsAre(IsLoss(LossKind::kNotifications, 7U, 1U), IsLoss(LossKind::kNotifications, 3U, 2U)));
  look({receiver(kApp, 30, 12), receiver(kOtherApp, 30, 3)});
  EXPECT_EQ(sut_.total().notifications, 10U);
  EXPECT_EQ(sut_.byReceiver[kApp].notifications, 7U);
}

TEST_F(LossesOfTheChannel, of_a_single_look_count_what_receivers_have_lost_all_the_time) {
  Losses sut(Losses::Earlier::kCounts);
  sut.look(
      {receiver(kApp, 10, 5)}, state_, [](const Receiver&) { return true; }, kNow);
  EXPECT_EQ(sut.total().notifications, 5U);
}

TEST_F(LossesOfTheChannel, begin_anew_with_a_process_that_has_the_number_of_an_earlier_one) {
  look({receiver(kApp, 10, 5)});
  Receiver next = receiver(kApp, 10, 6);
  next.startTime = 8;
  look({next});
  EXPECT_EQ(sut_.total().notifications, 6U);
}

TEST_F(LossesOfTheChannel, count_sends_that_had_no_result_when_their_session_ended) {
  send(1, 0);
  send(1, 1);
  send(2, 2);
  answer(1);
  post(hand_made::statusOf(iosapp_def_::NOTIFYID_SESSIONSTATUS, 1));
  const auto found = sut_.take();
  EXPECT_THAT(found, ElementsAre(IsLoss(LossKind::kWithoutResult, 1U, 1U)));
  EXPECT_EQ(found.front().pid, kApp);
  post(hand_made::statusOf(iosapp_def_::NOTIFYID_CONNECTSTATUS));
  EXPECT_THAT(sut_.take(), ElementsAre(IsLoss(LossKind::kWithoutResult, 1U, 2U)));
  post(hand_made::statusOf(iosapp_def_::NOTIFYID_CONNECTSTATUS));
  EXPECT_EQ(sut_.total().withoutResult, 2U);
}

TEST_F(LossesOfTheChannel, count_sends_that_have_no_result_in_time_once_even_if_it_comes_later) {
  send(1, 0);
  time_ += 1;
  send(1, 1);
  look({}, kNow + Losses::kPatience - 1);
  EXPECT_THAT(sut_.take(), IsEmpty());
  look({}, kNow + Losses::kPatience);
  EXPECT_THAT(sut_.take(), ElementsAre(IsLoss(LossKind::kWithoutResult, 1U, 1U)));
  answer(1);
  answer(1);
  look({}, kNow + 10 * Losses::kPatience);
  post(hand_made::statusOf(iosapp_def_::NOTIFYID_SESSIONSTATUS, 1));
  EXPECT_EQ(sut_.total().withoutResult, 1U);
}

TEST_F(LossesOfTheChannel, forget_sends_of_the_app_that_had_the_place_before) {
  send(1, 0);
  place(0, kApp);
  look({}, kNow + 2 * Losses::kPatience);
  EXPECT_EQ(sut_.total().withoutResult, 0U);
}

TEST_F(LossesOfTheChannel, keep_what_the_onlooker_missed_apart_and_conclude_nothing_across_it) {
  const std::uint64_t first = sequence_;
  send(1, 0);
  goRound(inspect::kIdFromDevice, 1, 40);
  sut_.addMissed(50, sequence_, kNow);
  goRound(inspect::kIdFromDevice, 1, 40);
  look({receiver(kApp, first)}, kNow + 2 * Losses::kPatience);
  EXPECT_THAT(sut_.take(), ElementsAre(IsLoss(LossKind::kMissedByOnlooker, 50U, 0U)));
  EXPECT_EQ(sut_.missed, 50U);
  EXPECT_EQ(sut_.total().all(), 0U);
}

TEST_F(LossesOfTheChannel, leave_out_what_was_before_when_they_begin_anew) {
  send(1, 0);
  send(1, 5);
  sut_.beginAnew();
  EXPECT_THAT(sut_.take(), IsEmpty());
  look({}, kNow + 2 * Losses::kPatience);
  EXPECT_EQ(sut_.total().all(), 0U);
  send(1, 6);
  look({}, kNow + 4 * Losses::kPatience);
  EXPECT_EQ(sut_.total().withoutResult, 1U);
}

TEST_F(LossesOfTheChannel, are_bounded_by_what_a_table_can_hold_whatever_is_announced) {
  for (std::uint32_t app = 0; app < 5000; ++app) {
    announce(inspect::kIdFromHU, app * 7919, (app * 3) % 60);
    std::vector<Receiver> receivers = {receiver(app, sequence_, app)};
    look(receivers);
  }
  EXPECT_LE(sut_.byApp.size(), iOSAppInfoList::kEntryCount + 1);
  EXPECT_LE(sut_.byReceiver.size(), 256U);
}

// This process is the receiver, and stands still.
TEST_F(InspectTest, losses_are_in_a_snapshot_with_the_app_and_are_no_fault_of_the_present) {
  hand_made::makeFourSegments();
  hand_made::registerApp(0, "navi", "com.example.navi");
  hand_made::Log log;
  log.announcePlace(0);
  log.postStatus(hand_made::statusOf(iosapp_def_::NOTIFYID_BTHFSTATUS), 1);
  log.announce(inspect::kIdFromHU, 1, 0);
  log.announce(inspect::kIdFromHU, 1, 3);
  log.postStatus(hand_made::statusOf(iosapp_def_::NOTIFYID_SESSIONSTATUS, 1));
  const inspect::Snapshot before = inspect::takeSnapshot();
  EXPECT_EQ(before.losses.byApp.at(1).skipped, 2U);
  EXPECT_EQ(before.losses.byApp.at(1).withoutResult, 2U);
  EXPECT_EQ(before.faults(), 0U);
  EXPECT_THAT(statusText(before, false), HasSubstr("app 1 (navi) got no send result for 2 messages\n"));
  EXPECT_THAT(statusText(before, false), HasSubstr("2 slots were skipped in a ring before messages of app 1 (navi)"));

  log.listReceiver(0, static_cast<std::uint32_t>(getpid()), 3, {3});
  for (std::uint32_t i = 0; i < 44; ++i) {
    log.announce(inspect::kIdFromDevice, 1, i % 40, 1);
  }
  const inspect::Snapshot sut = inspect::takeSnapshot();
  EXPECT_EQ(sut.losses.byApp.at(1).overwritten, 4U);
  EXPECT_EQ(sut.losses.byReceiver.at(static_cast<std::uint32_t>(getpid())).overwritten, 4U);
  EXPECT_THAT(text::toJson(statusFields(sut)),
              HasSubstr(R"("losses":{"overwritten":4,"skipped":2,"notifications":0,"withoutResult":2,"setBacks":0,)"
                        R"("apps":[{"app":1,)"));
}

}  // namespace
