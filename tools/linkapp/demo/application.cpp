// One head-unit application: it launches its app on the phone, exchanges messages with it, and follows the phone's
// hands-free link and the app that plays.
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "LinkAppCommon/LinkAppHfpWrapper.h"
#include "LinkAppCommon/LinkAppiOSPlaybackInfo.h"
#include "LinkAppCommon/VQSLinkAppOperator.h"
#include "demo/demo.h"
#include "demo/line_channel.h"
#include "demo/tally.h"

namespace demo {
namespace {

constexpr unsigned char kDeviceId = 1;
constexpr std::int32_t kTypeIos = 1;  // of a DeviceInfo

// Shorter than the director's patience with a step: what is missing is counted before it gives up.
constexpr std::chrono::seconds kPatience{20};

// Without a UUID for phones that come over Bluetooth SPP it is an operator for iOS alone.
std::unique_ptr<VQSLinkAppOperator> makeOperator(const std::string& name, const std::string& iAP1Name,
                                                 const std::string& sppUuid) {
  const std::string launchString = "com.example." + name;
  return sppUuid.empty() ? std::make_unique<VQSLinkAppOperator>(name, iAP1Name, launchString)
                         : std::make_unique<VQSLinkAppOperator>(sppUuid, name, iAP1Name, launchString);
}

class Application final : public VQSLinkAppDeviceStatusListener,
                          public VQSILinkAppSenderReceiverListener,
                          public LinkAppHfpWrapperListener,
                          public LinkAppiOSPlaybackInfoListener {
 public:
  // Everything that opens the channel is made here, before there is traffic: it sets the rings back.
  Application(const std::string& name, const std::string& iAP1Name, const std::string& sppUuid)
      : tally_(name), operator_(makeOperator(name, iAP1Name, sppUuid)) {
    operator_->setListener(this);
    operator_->setStatusListener(this);
    handsFree_.setListener(this);
    playback_.setListener(this);
    if (!sppUuid.empty()) {
      const bool isAccepted = operator_->registerStandby();
      report("spp", std::string("registerStandby for Bluetooth SPP: ") +
                        (isAccepted ? "phones may connect" : "refused; the iOS side works all the same"));
    }
  }
  ~Application() override {
    playback_.removeListener(this);
    handsFree_.removeListener(this);
    operator_->removeStatusListener(this);
    operator_->removeListener(this);
  }
  Application(const Application&) = delete;
  Application& operator=(const Application&) = delete;

  void launch() {
    if (!operator_->requestiOSLaunch(kDeviceId, VQSLinkAppOperator::IOSAPPLAUNCHMETHOD_WITHOUT_ALERT)) {
      report("problem", "launch was refused");
    }
  }

  void begin() { tally_.begin(); }

  // Sends the next `count` messages and waits until each has its result and its echo.
  void sendRound(unsigned int count) {
    for (unsigned int i = 0; i < count; ++i) {
      const std::vector<std::uint8_t> message = tally_.nextMessage();
      if (!operator_->requestMsgSend(message.data(), static_cast<unsigned int>(message.size()))) {
        report("problem", "a message was refused");
      }
    }
    report("round", tally_.waitForAll(kPatience) ? "done" : "short");
  }

  void reportTotal() {
    report("callbacks", tally_.callbacks());
    report("total", tally_.total());
  }

  // What the facade calls, here all on the channel's delivery thread.

  void onDeviceStatus(LinkAppCommon::ConnectionInfo::DeviceInfo device) override {
    if (device.deviceType != kTypeIos) {
      report("spp", "onDeviceStatus: SPP phone " + std::to_string(device.deviceId));
      return;
    }
    const std::string phone = "onDeviceStatus: iPhone " + std::to_string(device.deviceId) + " over USB ";
    switch (device.usb.status) {
      case 2:
        report("session-open", phone + "has the session of \"" + device.usb.appName + "\" open");
        break;
      case 1:
        report("connected", phone + "is connected");
        break;
      default:
        report("disconnected", phone + "is gone");
        break;
    }
  }

  void onSendResult(unsigned int failed) override {
    if (failed != 0) {
      report("problem", "onSendResult: a message was not delivered");
    }
    tally_.noteResult(failed == 0);
  }

  void onReceivedMsg(const unsigned char* data, unsigned int size) override { tally_.noteEcho(data, size); }

  void onHfpStatus(HfpStatus status) override {
    report("hands-free", "onHfpStatus: iPhone " + std::to_string(status.deviceId) + " has its hands-free link " +
                             (status.connected ? "up" : "down"));
  }

  void onPlaybackAppInfo(iosapp_def_::PlaybackAppInfo info) override {
    report("now-playing",
           "onPlaybackAppInfo: iPhone " + std::to_string(info.deviceId) + " plays with \"" + info.appName + "\"");
  }

 private:
  Tally tally_;
  const std::unique_ptr<VQSLinkAppOperator> operator_;
  LinkAppHfpWrapper handsFree_;
  LinkAppiOSPlaybackInfo playback_;
};

void obey(Application& application, const Command& command) {
  if (command.word == "launch") {
    application.launch();
  } else if (command.word == "begin") {
    application.begin();
  } else if (command.word == "send") {
    application.sendRound(static_cast<unsigned int>(std::stoul(command.argument)));
  } else if (command.word == "total") {
    application.reportTotal();
  } else {
    report("problem", "unknown command \"" + command.word + "\"");
  }
}

}  // namespace

int runApplication(const std::vector<std::string>& arguments) {
  if (arguments.size() != 3) {
    return 2;
  }
  Application application(arguments[0], arguments[1], arguments[2]);
  report("ready", "application is there");
  for (Command command = nextCommand(); command.word != "quit"; command = nextCommand()) {
    obey(application, command);
  }
  return 0;
}

}  // namespace demo
