// The listeners of the head unit: each says what its callbacks say, line by line. An application hears "launch" and
// launches its app once more.
#include "tests/support/roles.h"
#include "LinkAppCommon/LinkAppHfpWrapper.h"
#include "LinkAppCommon/LinkAppiOSPlaybackInfo.h"
#include "LinkAppCommon/VQSLinkAppOperator.h"

namespace {

using test_support::hear;
using test_support::say;
using test_support::waitForParent;

constexpr std::int32_t kIphone = 1;
constexpr unsigned char kDeviceId = 1;

class App final : public VQSLinkAppDeviceStatusListener {
 public:
  explicit App(const std::string& name) : operator_(name, "", "com.example." + name) {
    operator_.setStatusListener(this);
  }
  ~App() override { operator_.removeStatusListener(this); }
  App(const App&) = delete;
  App& operator=(const App&) = delete;

  void onDeviceStatus(LinkAppCommon::ConnectionInfo::DeviceInfo device) override {
    if (device.deviceType != kIphone) {
      return;
    }
    say(std::to_string(device.usb.status));
    if (device.usb.status == 1) {
      launch();
    }
  }

  void launch() { operator_.requestiOSLaunch(kDeviceId, VQSLinkAppOperator::IOSAPPLAUNCHMETHOD_WITHOUT_ALERT); }

 private:
  VQSLinkAppOperator operator_;
};

struct HandsFree final : LinkAppHfpWrapperListener {
  void onHfpStatus(HfpStatus status) override { say(status.connected ? "up" : "down"); }
};

struct Playback final : LinkAppiOSPlaybackInfoListener {
  void onPlaybackAppInfo(iosapp_def_::PlaybackAppInfo info) override { say(info.appName.empty() ? "-" : info.appName); }
};

int runApp(const std::string& name) {
  App app(name);
  say("ready");
  while (hear()) {
    app.launch();
  }
  return 0;
}

TEST_ROLE(navi) {
  return runApp("navi");
}

TEST_ROLE(music) {
  return runApp("music");
}

TEST_ROLE(handsfree) {
  HandsFree listener;
  LinkAppHfpWrapper wrapper;
  wrapper.setListener(&listener);
  say("ready");
  waitForParent();
  wrapper.removeListener(&listener);
  return 0;
}

TEST_ROLE(playback) {
  Playback listener;
  LinkAppiOSPlaybackInfo playback;
  playback.setListener(&listener);
  say("ready");
  waitForParent();
  playback.removeListener(&listener);
  return 0;
}

}  // namespace
