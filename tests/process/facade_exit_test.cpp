// An application ends while its facade objects are alive, have their listeners, and are being called.
#include <atomic>
#include <cstdlib>
#include <memory>
#include <optional>

#include "LinkAppCommon/LinkAppHfpWrapper.h"
#include "LinkAppCommon/LinkAppiOSPlaybackInfo.h"
#include "LinkAppCommon/VQSLinkAppOperator.h"
#include "tests/process/channel_fixture.h"
#include "tests/support/no_bus.h"
#include "tests/support/roles.h"

using test_support::say;

namespace {

class CountingListener : public VQSLinkAppDeviceStatusListener,
                         public VQSILinkAppSenderReceiverListener,
                         public LinkAppiOSWrapperListener,
                         public LinkAppHfpWrapperListener,
                         public LinkAppiOSPlaybackInfoListener {
 public:
  using Function = void (*)();

  explicit CountingListener(Function onFirstStatus) : onFirstStatus_(onFirstStatus) {}

  void onDeviceStatus(LinkAppCommon::ConnectionInfo::DeviceInfo /*info*/) override {
    if (calls_++ == 0) {
      onFirstStatus_();
    }
  }
  void oniOSClientDeviceInfo(void* /*info*/) override { ++calls_; }
  void onHfpStatus(HfpStatus /*status*/) override { ++calls_; }
  void onPlaybackAppInfo(iosapp_def_::PlaybackAppInfo /*info*/) override { ++calls_; }

 private:
  const Function onFirstStatus_;
  std::atomic<unsigned int> calls_{0};
};

// One object of each class, with its listener.
struct Application {
  explicit Application(CountingListener::Function onFirstStatus)
      : listener(onFirstStatus), anyListener([] {}), iosWrapper("app", "", "launch"), deviceStatus(&iosWrapper, "app") {
    combined.setListener(&listener);
    combined.setStatusListener(&listener);
    iosWrapper.setListener(&anyListener);
    deviceStatus.setListener(&anyListener);
    handsFree.setListener(&anyListener);
    playback.setListener(&anyListener);
  }

  // The device status does not call its wrapper at its end; all others may keep their listeners.
  ~Application() { deviceStatus.removeListener(&anyListener); }

  CountingListener listener;
  CountingListener anyListener;
  VQSLinkAppOperator combined{"uuid", "combined", "", "launch-combined"};
  LinkAppiOSWrapper iosWrapper;
  VQSLinkAppDeviceStatus deviceStatus;
  LinkAppHfpWrapper handsFree;
  LinkAppiOSPlaybackInfo playback;
};

void sayCalled() {
  say("called");
}

// The callback is an effect of "ready", but by way of two other processes, where a race detector cannot follow.
std::atomic<bool> isReady{false};

void exitNow() {
  exit(isReady ? 0 : 1);
}

Application* immortal = nullptr;
std::unique_ptr<Application> goesAfterTheSingletons;  // it was here before them

TEST_ROLE(never_destroys_its_facade) {
  immortal = new Application(&sayCalled);
  say("ready");
  test_support::waitForParent();
  return 0;
}

TEST_ROLE(destroys_its_facade_after_the_singletons) {
  goesAfterTheSingletons = std::make_unique<Application>(&sayCalled);
  say("ready");
  test_support::waitForParent();
  return 0;
}

TEST_ROLE(destroys_its_facade_before_the_singletons) {
  static const Application application(&sayCalled);
  say("ready");
  test_support::waitForParent();
  return 0;
}

TEST_ROLE(exits_in_a_callback_of_its_facade) {
  immortal = new Application(&exitNow);
  isReady = true;
  say("ready");
  test_support::waitForParent();
  return 1;
}

std::string nameOf(const testing::TestParamInfo<const char*>& info) {
  return info.param;
}

class FacadeExit : public ChannelTest, public testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    device_.emplace("server", std::vector<std::string>{"phone"});
    expectReady(*device_);
    other_.emplace("application", std::vector<std::string>{"other", "com.example.other"});
    expectReady(*other_);
    leaver_.emplace(GetParam());
    expectReady(*leaver_);
  }

  // Ends the application in the midst of what the device side announces: nobody waits for the answers.
  void leaveUnderTraffic() {
    constexpr int kRounds = 100;
    const bool waitsForItsEnd = std::string(GetParam()) != "exits_in_a_callback_of_its_facade";
    for (int round = 0; round < kRounds; ++round) {
      device_->tell("connect 0 1");
      device_->tell("handsfree 1 0a1b2c3d4e5f");
      device_->tell("playback radio");
      device_->tell("disconnect 0 1");
      if (round == kRounds / 2 && waitsForItsEnd) {
        EXPECT_TRUE(leaver_->expect("called"));
        leaver_->release();
      }
    }
    EXPECT_EQ(leaver_->wait(), 0);
    for (int answer = 0; answer < 4 * kRounds; ++answer) {
      ASSERT_TRUE(device_->expectAnswer("ok"));
    }
  }

  std::optional<Child> device_;
  std::optional<Child> other_;
  std::optional<Child> leaver_;
};

TEST_P(FacadeExit, under_traffic_is_clean) {
  leaveUnderTraffic();

  EXPECT_EQ(leaver_->log(), test_support::kLogWithoutBus);
}

TEST_P(FacadeExit, under_traffic_leaves_the_others_alone) {
  leaveUnderTraffic();

  constexpr const char* kConnected = "status 1 1 - spp 0 - - usb 1 - - iap 2";
  constexpr const char* kDisconnected = "status 1 1 - spp 0 - - usb 0 - - iap 2";
  for (int round = 0; round < 100; ++round) {
    ASSERT_TRUE(other_->expect(kConnected));
    ASSERT_TRUE(other_->expect(kDisconnected));
  }
  ASSERT_EQ(device_->ask("connect 0 1"), "ok");
  ASSERT_TRUE(other_->expect(kConnected));
  EXPECT_EQ(other_->ask("launch 1 0"), "1");
  EXPECT_TRUE(other_->expect("status 1 1 - spp 0 - - usb 2 - other iap 2"));
  EXPECT_EQ(other_->ask("send 100 1"), "1");
  EXPECT_TRUE(other_->expect("result 0"));
}

INSTANTIATE_TEST_SUITE_P(Process, FacadeExit,
                         testing::Values("never_destroys_its_facade", "destroys_its_facade_after_the_singletons",
                                         "destroys_its_facade_before_the_singletons",
                                         "exits_in_a_callback_of_its_facade"),
                         nameOf);

}  // namespace
