// The walks over channels made by hand: what real processes show for moments only.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>

#include "doctor/examination.h"
#include "tests/inspect/hand_made.h"
#include "tests/inspect/inspect_fixture.h"
#include "why/report.h"
#include "why/walk.h"

namespace {

using iosapp_def_::NOTIFYID_APPLAUNCH;
using iosapp_def_::NOTIFYID_CONNECTSTATUS;
using iosapp_def_::NOTIFYID_SENDRESULT;
using iosapp_def_::NOTIFYID_SESSIONSTATUS;
using testing::HasSubstr;
using testing::StartsWith;
using why::Verdict;

// This process is application and device side at once; what it has mapped is told by hand.
class Walks : public InspectTest {
 public:
  Walks() {
    hand_made::makeFourSegments();
    for (const char* const segment : inspect::kSegments) {
      hand_made::makeLock(segment);
    }
    log_ = std::make_unique<hand_made::Log>();
    hand_made::registerApp(0, "navi", "com.example.navi");
    log_->announcePlace(0);
  }
  void connect(std::uint32_t connectStatus, std::uint32_t iapType = 1) {
    auto status = hand_made::statusOf(NOTIFYID_CONNECTSTATUS);
    status.connectStatus = connectStatus;
    status.iapType = iapType;
    log_->postStatus(status);
  }
  void launch() { log_->postStatus(hand_made::statusOf(NOTIFYID_APPLAUNCH, 1)); }
  void session(bool isOpen, std::uint32_t app = 1) {
    auto status = hand_made::statusOf(NOTIFYID_SESSIONSTATUS, app);
    status.status = isOpen ? 1 : 0;
    log_->postStatus(status);
  }
  void result(std::uint32_t value) {
    auto status = hand_made::statusOf(NOTIFYID_SENDRESULT, 1);
    status.sendResult = value;
    log_->postStatus(status);
  }
  void openSession() {
    connect(1);
    launch();
    session(true);
  }
  // It has read everything but the last so many messages.
  void read(std::uint64_t behind = 0) {
    log_->listReceiver(0, static_cast<std::uint32_t>(getpid()), log_->object().head.load() - behind, {2, 3, 4, 5});
  }
  // With `meanwhile` between its first look at the channel and its last.
  doctor::Examination examine(const std::function<void()>& meanwhile = [] {}) const {
    doctor::Examination all;
    all.snapshot = inspect::takeSnapshot();
    meanwhile();
    all.history = doctor::readHistory({}, all.snapshot);
    doctor::ChannelProcess process;
    process.process = inspect::readProcess(inspect::kProc, static_cast<std::uint32_t>(getpid()));
    process.isSeen = true;
    for (const std::string& name : inspect::objectNames()) {
      process.objects.insert(name);
    }
    all.system.processes.push_back(process);
    return all;
  }
  // "condition: evidence" of the first that fails; empty where none does.
  std::string failed(why::Walk (*walk)(const doctor::Examination&, const why::Question&)) const {
    return failed(walk, examine());
  }
  static std::string failed(why::Walk (*walk)(const doctor::Examination&, const why::Question&),
                            const doctor::Examination& all) {
    const why::Walk walked = walk(all, {"navi", 1, ""});
    const why::Condition* const failure = walked.failed();
    return failure == nullptr ? "" : failure->what + ": " + failure->evidence;
  }

  // A message to the phone and one from it; the first has its result.
  void exchange() {
    hand_made::writeSlot(inspect::kFromHUSegment, 0, "hello");
    log_->announce(inspect::kIdFromHU, 1, 0);
    result(1);
    hand_made::writeSlot(inspect::kFromDeviceSegment, 0, "hello");
    log_->announce(inspect::kIdFromDevice, 1, 0);
  }

  std::unique_ptr<hand_made::Log> log_;
};

TEST_F(Walks, find_nothing_where_everything_holds) {
  openSession();
  exchange();
  read();
  EXPECT_EQ(failed(&why::walkLaunch), "");
  EXPECT_EQ(failed(&why::walkSend), "");
  EXPECT_EQ(failed(&why::walkReceive), "");
}

TEST_F(Walks, do_not_judge_what_comes_while_they_look) {
  openSession();
  exchange();
  read();
  const doctor::Examination all = examine([this] {
    exchange();
    read();
    exchange();  // nobody has read this one
  });
  EXPECT_EQ(failed(&why::walkSend, all), "");
  EXPECT_EQ(failed(&why::walkReceive, all), "");
}

TEST_F(Walks, take_what_has_arrived_while_they_looked_for_read) {
  openSession();
  exchange();
  read();
  hand_made::writeSlot(inspect::kFromHUSegment, 1, "hello");
  log_->announce(inspect::kIdFromHU, 1, 1);
  const doctor::Examination all = examine([this] {
    result(1);
    read();
  });
  EXPECT_EQ(failed(&why::walkSend, all), "");
}

TEST_F(Walks, tell_what_is_still_unread_at_their_last_look) {
  openSession();
  exchange();
  read(1);
  const doctor::Examination all = examine([this] { exchange(); });
  EXPECT_THAT(failed(&why::walkReceive, all), HasSubstr("has not read it yet"));
}

TEST_F(Walks, take_no_connect_status_but_1_for_connected) {
  connect(2);
  read();
  EXPECT_THAT(failed(&why::walkLaunch), StartsWith("device 1 is connected: connectStatus 2 was the last word"));
}

TEST_F(Walks, tell_that_the_application_has_not_read_of_the_link_yet) {
  connect(1);
  read(1);
  EXPECT_THAT(failed(&why::walkLaunch), HasSubstr("has not read it yet"));
  EXPECT_THAT(failed(&why::walkLaunch), HasSubstr("1 message behind"));
}

TEST_F(Walks, tell_that_the_device_side_has_not_read_the_request_yet) {
  connect(1);
  launch();
  read(1);
  EXPECT_THAT(failed(&why::walkLaunch), StartsWith("the device side has read the request: "));
}

TEST_F(Walks, tell_a_session_that_was_closed_again) {
  openSession();
  session(false);
  read();
  EXPECT_THAT(failed(&why::walkLaunch), StartsWith("the device side has opened its session: closed again"));
  EXPECT_THAT(failed(&why::walkSend), StartsWith("its session is open: closed"));
}

TEST_F(Walks, tell_the_request_that_was_lost_with_the_link) {
  openSession();
  connect(0);
  connect(1);
  read();
  EXPECT_THAT(failed(&why::walkLaunch), HasSubstr("before the link went down"));
  EXPECT_THAT(failed(&why::walkSend), HasSubstr("it went with the link"));
}

TEST_F(Walks, tell_the_missing_iap1_name_of_an_app_on_an_iap1_link) {
  connect(1, 0);
  launch();
  read();
  EXPECT_THAT(failed(&why::walkLaunch), HasSubstr("the link is iAP1"));
  EXPECT_THAT(failed(&why::walkLaunch), HasSubstr("this one has none"));
}

TEST_F(Walks, tell_a_slot_that_holds_nothing_and_one_that_is_none) {
  openSession();
  log_->announce(inspect::kIdFromDevice, 1, 5);
  read();
  EXPECT_THAT(failed(&why::walkReceive), HasSubstr("slot 5 holds no message"));
  log_->announce(inspect::kIdFromDevice, 1, 40);
  read();
  EXPECT_THAT(failed(&why::walkReceive), HasSubstr("slot 40 was announced, and there are 40"));
}

TEST_F(Walks, tell_a_ring_that_has_lapped_its_reader) {
  openSession();
  for (std::uint32_t i = 0; i < 50; ++i) {
    hand_made::writeSlot(inspect::kFromDeviceSegment, i % 40, "hello");
    log_->announce(inspect::kIdFromDevice, 1, i % 40);
  }
  read(50);
  EXPECT_THAT(failed(&why::walkReceive), HasSubstr("at least 10 messages that it has not taken are overwritten"));
}

TEST_F(Walks, tell_data_of_another_device) {
  openSession();
  hand_made::writeSlot(inspect::kFromDeviceSegment, 0, "hello");
  const iOSAppCommonDataNotify announcement = {2, 1, 0};
  log_->post(inspect::kIdFromDevice, &announcement, sizeof announcement);
  read();
  EXPECT_THAT(failed(&why::walkReceive), StartsWith("it comes from the device that was launched: device 2"));
}

TEST_F(Walks, say_that_a_choice_which_no_message_shows_is_unseen) {
  connect(1);
  session(true);  // opened by the phone's user
  read();
  const why::Walk walk = why::walkSend(examine(), {"navi", 1, ""});
  const auto& conditions = walk.conditions();
  const auto selected = std::find_if(conditions.begin(), conditions.end(), [](const why::Condition& condition) {
    return condition.what == "an accepted launch has chosen the device";
  });
  ASSERT_NE(selected, conditions.end());
  EXPECT_EQ(selected->verdict, Verdict::kUnseen);
}

TEST_F(Walks, do_not_guess_what_is_older_than_the_log) {
  connect(1);
  for (std::uint64_t i = 0; i < vqframework::kSlotCount; ++i) {
    log_->post(77, "");
  }
  read();
  const why::Walk walk = why::walkLaunch(examine(), {"navi", 1, ""});
  for (const why::Condition& condition : walk.conditions()) {
    if (condition.what == "device 1 is connected") {
      EXPECT_EQ(condition.verdict, Verdict::kUnseen);
      EXPECT_EQ(condition.evidence, "the last word on it is older than the log");
    }
  }
  EXPECT_EQ(walk.failed(), nullptr);
}

TEST_F(Walks, over_phones_with_spp_stop_at_the_first_thing_that_is_missing) {
  doctor::Examination all;
  doctor::Bus& bus = all.system.bus;
  const auto failure = [&all](const std::string& uuid = "") {
    const why::Walk walk = why::walkSpp(all, {"", 1, uuid});
    return walk.failed() == nullptr ? std::string() : walk.failed()->what;
  };
  EXPECT_EQ(failure(), "");  // nothing could be looked at
  bus.state = doctor::Bus::State::kNoBus;
  EXPECT_EQ(failure(), "the D-Bus system bus is reachable");
  bus.state = doctor::Bus::State::kNoBlueZ;
  EXPECT_EQ(failure(), "bluetoothd runs");
  bus.state = doctor::Bus::State::kDenied;
  EXPECT_EQ(failure(), "the bus policy allows it");
  bus.state = doctor::Bus::State::kReachable;
  EXPECT_EQ(failure(), "an adapter is there and powered");
  bus.adapters = {{"hci0", "", true}};
  EXPECT_EQ(failure(), "a phone is paired");
  bus.devices = {{"00:AA:02:00:00:01", true, false, {"35DE0F64-C263-4A4B-ADB6-6B60500D1DBE"}}};
  EXPECT_EQ(failure("00001101-0000-1000-8000-00805f9b34fb"), "a paired phone offers the service");
  EXPECT_EQ(failure("35de0f64-c263-4a4b-adb6-6b60500d1dbe"), "that phone is connected");
  bus.devices[0].isConnected = true;
  EXPECT_EQ(failure("35de0f64-c263-4a4b-adb6-6b60500d1dbe"), "");
}

}  // namespace
