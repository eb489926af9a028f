#include "app/application.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "LinkAppCommon/iOSAppCommonUtil.h"
#include "VQFramework/Singleton/VQSingleton.h"
#include "app/commands.h"
#include "app/console.h"
#include "app/registration.h"
#include "phone/device_side.h"
#include "phone/simulated_phone.h"
#include "platform/fake/FakeBluetooth.h"
#include "platform/fake/FakeFramework.h"
#include "tests/support/shm_files.h"
#include "tests/unit/linkapp_tool/manual_errands.h"

namespace {

using app::Part;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

constexpr const char* kUuid = "35de0f64-c263-4a4b-adb6-6b60500d1dbe";

// An application and a phone in one process, on doubles that move when the test says so.
class Application : public testing::Test {
 public:
  Application() {
    // Several tests of one run share a /dev/shm and a registry.
    VQSingleton<iOSAppCommonUtil>::destroy();
    test_support::clearShm();
    vqfake::reset();
    vqfake::resetBluetooth();
    phone_ = std::make_unique<phone::SimulatedPhone>(errands_, [](const phone::Event&) {});
    side_ = std::make_unique<phone::DeviceSide>(errands_, *phone_, [](const phone::Event&) {});
  }
  ~Application() override {
    console_.reset();
    sut_.reset();
  }

  void make(const app::Setup& setup = {}) {
    sut_ = std::make_unique<app::Application>(errands_, setup, [this](const talk::Event& event) {
      events_.push_back(event.name + " " + text::toText(event.fields));
    });
    console_ = std::make_unique<app::Console>(*sut_, [this] { hasQuit_ = true; });
    run();
  }
  static app::Setup withParts(const std::vector<Part>& parts) {
    app::Setup setup;
    setup.parts = parts;
    return setup;
  }
  static app::Setup withSpp() {
    app::Setup setup;
    setup.sppUuid = kUuid;
    return setup;
  }

  void run() {
    do {
      errands_.pass(std::chrono::milliseconds(1));
    } while (vqfake::deliverAll() != 0);
    errands_.runTasks();
  }
  std::string tell(const std::string& line) {
    std::vector<command::Word> words;
    std::size_t end = 0;
    command::Mistake mistake;
    EXPECT_TRUE(command::splitWords(line, words, end, mistake));
    const command::Reply reply = console_->obey(words, end);
    run();
    return reply.isOk ? text::toText(reply.fields) : "refused: " + reply.error;
  }
  void openSession() {
    phone_->plug(phone::Link::kUsb, phone::Generation::kIap2);
    run();
    EXPECT_EQ(tell("launch"), "accepted=true");
    EXPECT_THAT(state(), HasSubstr("open=true"));
  }
  std::string state() { return tell("state"); }
  Texts takeEvents() { return std::exchange(events_, {}); }

  ManualErrands errands_;
  std::unique_ptr<phone::SimulatedPhone> phone_;
  std::unique_ptr<phone::DeviceSide> side_;
  std::unique_ptr<app::Application> sut_;
  std::unique_ptr<app::Console> console_;
  Texts events_;
  bool hasQuit_ = false;
};

TEST_F(Application, knows_its_place_in_the_registration_table) {
  make();
  EXPECT_EQ(sut_->appId(), 1U);
  const app::Application second(errands_, {}, [](const talk::Event&) {});
  EXPECT_EQ(second.appId(), 2U);
}

TEST_F(Application, has_no_app_id_when_the_table_is_full) {
  std::vector<std::unique_ptr<iOSAppCommonClient>> others;
  others.reserve(20);
  for (int i = 0; i < 20; ++i) {
    others.push_back(std::make_unique<iOSAppCommonClient>("", "app", "com.example.app"));
  }
  make();
  EXPECT_EQ(sut_->appId(), 0U);
  EXPECT_EQ(app::takenPlaces(), app::tablePlaces());
  EXPECT_EQ(tell("launch"), "accepted=false");
}

TEST_F(Application, tells_the_steps_of_a_connection) {
  make();
  takeEvents();
  openSession();
  EXPECT_THAT(
      takeEvents(),
      ElementsAre("onDeviceStatus from=app type=ios device=1 iap=2 usb.status=1 usb.app=\"\" bluetooth.status=0 "
                  "bluetooth.app=\"\"",
                  "onDeviceStatus from=app type=ios device=1 iap=2 usb.status=2 usb.app=app bluetooth.status=0 "
                  "bluetooth.app=\"\""));
  phone_->unplug();
  run();
  EXPECT_THAT(takeEvents().back(), HasSubstr("usb.status=0"));
  EXPECT_THAT(state(), HasSubstr("open=false"));
}

TEST_F(Application, sends_and_receives) {
  make();
  openSession();
  takeEvents();
  EXPECT_EQ(tell("send \"turn left\""), "accepted=true");
  EXPECT_THAT(takeEvents(), testing::UnorderedElementsAre("onSendResult failed=false",
                                                          "onReceivedMsg size=9 text=\"turn left\" count=1"));
  EXPECT_EQ(tell("send-hex 00"), "accepted=true");
  EXPECT_THAT(state(), HasSubstr("sent=2 refused=0 results=2 failed=0 received=2 received-bytes=10"));
}

TEST_F(Application, counts_what_the_library_refuses) {
  make();
  EXPECT_EQ(tell("send hello"), "accepted=false");
  EXPECT_THAT(state(), HasSubstr("sent=0 refused=1"));
}

TEST_F(Application, launches_once_for_each_connection_where_it_is_asked_to) {
  app::Setup setup;
  setup.isLaunching = true;
  make(setup);
  phone_->plug(phone::Link::kUsb, phone::Generation::kIap2);
  run();
  EXPECT_THAT(state(), HasSubstr("open=true sending=false launches=1"));
  side_->announce();
  run();
  phone_->close("com.example.app");
  run();
  EXPECT_THAT(state(), HasSubstr("open=false sending=false launches=1"));
  phone_->unplug();
  run();
  phone_->plug(phone::Link::kBluetooth, phone::Generation::kIap1);
  run();
  EXPECT_THAT(state(), HasSubstr("launches=2"));
}

TEST_F(Application, sends_a_burst_when_its_session_opens) {
  make();
  EXPECT_EQ(tell("burst 100 size 32"), "");
  EXPECT_THAT(state(), HasSubstr("sending=true"));
  openSession();
  for (int i = 0; i < 100 && sut_->isSending(); ++i) {
    run();
  }
  EXPECT_THAT(events_, Contains("sending-ended sent=100"));
  EXPECT_THAT(state(), HasSubstr("sent=100 refused=0 results=100"));
  EXPECT_THAT(state(), HasSubstr("numbered=100 missing=0 repeated=0"));
}

TEST_F(Application, stops_sending_when_it_is_told) {
  make();
  tell("burst 100");
  EXPECT_EQ(tell("stop-sending"), "");
  openSession();
  EXPECT_THAT(state(), HasSubstr("sending=false"));
  EXPECT_THAT(state(), HasSubstr("sent=0"));
}

TEST_F(Application, sends_back_what_it_gets) {
  make();
  phone_->install("*", phone::sinkApp());
  openSession();
  tell("echo on");
  phone_->sendFromApp("com.example.app", {'h', 'i'});
  run();
  EXPECT_THAT(state(), HasSubstr("sent=1 refused=0 results=1"));
}

TEST_F(Application, says_that_a_listener_alone_cannot_send) {
  make(withParts({Part::kPlayback}));
  EXPECT_EQ(tell("send hello"), "refused: this application has listeners only; start it with 'app' among them");
  EXPECT_THAT(tell("burst 5"), HasSubstr("refused: "));
  EXPECT_THAT(tell("launch"), HasSubstr("refused: "));
  EXPECT_EQ(app::takenPlaces(), 0U);
}

TEST_F(Application, follows_hands_free_links_and_the_playing_app) {
  make(withParts({Part::kHandsFree, Part::kPlayback}));
  phone_->plug(phone::Link::kUsb, phone::Generation::kIap2);
  run();
  takeEvents();
  phone_->setHandsFree(true, {});
  phone_->play("Radio");
  run();
  EXPECT_THAT(takeEvents(), testing::UnorderedElementsAre("onHfpStatus kind=ios device=1 connected=true",
                                                          "onPlaybackAppInfo device=1 name=Radio"));
  EXPECT_THAT(state(), HasSubstr("hands-free=1 playing=Radio"));
}

TEST_F(Application, never_sets_a_listener_twice) {
  make(withParts({Part::kPlayback}));
  EXPECT_EQ(tell("listen playback"), "refused: playback has its listener already");
  phone_->plug(phone::Link::kUsb, phone::Generation::kIap2);
  run();
  takeEvents();
  phone_->play("Radio");
  run();
  EXPECT_THAT(takeEvents(), ElementsAre("onPlaybackAppInfo device=1 name=Radio"));
  EXPECT_EQ(tell("unlisten playback"), "");
  EXPECT_EQ(tell("unlisten playback"), "refused: playback has no listener");
  phone_->play("Other");
  run();
  EXPECT_THAT(takeEvents(), IsEmpty());
}

TEST_F(Application, tells_status_through_a_device_status_alone) {
  make(withParts({Part::kDeviceStatus}));
  phone_->plug(phone::Link::kUsb, phone::Generation::kIap2);
  run();
  EXPECT_THAT(takeEvents(), Contains(HasSubstr("onDeviceStatus from=device-status type=ios device=1")));
  EXPECT_EQ(app::takenPlaces(), 0U);
}

TEST_F(Application, calls_nobody_once_it_is_gone) {
  make();
  phone_->plug(phone::Link::kUsb, phone::Generation::kIap2);
  vqfake::deliverAll();  // the callbacks are posted and have not run
  console_.reset();
  sut_.reset();
  takeEvents();
  run();
  EXPECT_THAT(takeEvents(), IsEmpty());
}

TEST_F(Application, asks_the_spp_service_for_what_it_is_told) {
  make(withSpp());
  vqfake::clearBtCalls();
  EXPECT_EQ(tell("spp-standby"), "accepted=true");
  EXPECT_EQ(tell("spp-connect 3"), "accepted=true");
  EXPECT_EQ(tell("spp-disconnect 3"), "accepted=true");
  EXPECT_EQ(tell("spp-auto start 3"), "accepted=true");
  EXPECT_EQ(tell("spp-auto stop 3"), "accepted=true");
  Texts operations;
  for (const vqfake::BtCall& call : vqfake::btCalls()) {
    operations.push_back(call.operation);
  }
  for (const char* const operation :
       {"registerWaitUuid", "connectSpp", "disconnectSpp", "startAutoConnectSpp", "stopAutoConnectSpp"}) {
    EXPECT_THAT(operations, Contains(operation));
  }
  vqfake::answerBt("connectSpp", false);
  EXPECT_EQ(tell("spp-connect 3"), "accepted=false");
}

TEST_F(Application, says_that_it_has_no_spp_side) {
  make();
  EXPECT_EQ(tell("spp-standby"), "refused: this application has no side for Bluetooth SPP; start it with --spp UUID");
}

TEST_F(Application, links_every_spp_phone_that_is_there_where_it_is_asked_to) {
  app::Setup setup = withSpp();
  setup.isLinkingSpp = true;
  make(setup);
  VQSBtAppsNtf::SppInformation list;
  list.devices.resize(1);
  list.devices[0].deviceId = 7;
  list.devices[0].available = 1;
  vqfake::clearBtCalls();
  vqfake::notifyBtApps(list);
  run();
  EXPECT_THAT(takeEvents(), Contains(HasSubstr("onDeviceStatus from=app type=spp device=7")));
  Texts operations;
  for (const vqfake::BtCall& call : vqfake::btCalls()) {
    operations.push_back(call.operation + " " + std::to_string(call.deviceId));
  }
  EXPECT_THAT(operations, Contains("startAutoConnectSpp 7"));
  VQSBtAppsNtf::SppConnectionState up;
  up.deviceId = 7;
  up.uuid = kUuid;
  up.state = 1;
  vqfake::notifyBtApps(up);
  run();
  EXPECT_THAT(state(), HasSubstr("spp.status=2 open=true"));
  EXPECT_EQ(tell("send hello"), "accepted=true");
}

TEST_F(Application, asks_the_phone_that_was_told_last_where_none_is_named) {
  make(withSpp());
  const auto tellPhones = [this](const std::vector<unsigned char>& numbers) {
    VQSBtAppsNtf::SppInformation list;
    for (const unsigned char number : numbers) {
      list.devices.emplace_back();
      list.devices.back().deviceId = number;
      list.devices.back().available = 1;
    }
    vqfake::notifyBtApps(list);
    run();
  };
  const auto connected = [this] {
    vqfake::clearBtCalls();
    tell("spp-connect");
    Texts calls;
    for (const vqfake::BtCall& call : vqfake::btCalls()) {
      calls.push_back(call.operation + " " + std::to_string(call.deviceId));
    }
    return calls;
  };
  tellPhones({3});
  tellPhones({3, 0});
  EXPECT_THAT(connected(), Contains("connectSpp 0"));
  tellPhones({3});  // the last word is about 0, which is gone
  EXPECT_THAT(connected(), Contains("connectSpp 3"));
}

TEST_F(Application, offers_its_devices_to_completion) {
  make();
  openSession();
  EXPECT_THAT(console_->names("device"), ElementsAre("1"));
  EXPECT_THAT(console_->names("session"), IsEmpty());
}

TEST_F(Application, quits_when_it_is_told) {
  make();
  EXPECT_EQ(tell("quit"), "");
  EXPECT_TRUE(hasQuit_);
}

TEST_F(Application, has_every_state_field_that_scenarios_may_wait_for) {
  make();
  Texts names;
  for (const text::Field& field : sut_->state()) {
    names.push_back(field.name);
  }
  EXPECT_THAT(names, testing::UnorderedElementsAreArray(app::stateFields()));
}

}  // namespace
