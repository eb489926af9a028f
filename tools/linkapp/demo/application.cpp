// One head-unit application: it launches its app on the iPhone, exchanges messages with it, and follows the hands-free
// links and the app that plays. One that has a UUID does the same with a phone that comes over Bluetooth SPP.
#include <atomic>
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

constexpr unsigned char kDeviceId = 1;  // the iPhone's
constexpr unsigned char kNoDevice = 255;
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
    isOverSpp_ = false;
    if (!operator_->requestiOSLaunch(kDeviceId, VQSLinkAppOperator::IOSAPPLAUNCHMETHOD_WITHOUT_ALERT)) {
      report("problem", "launch was refused");
    }
  }

  // From now on messages go to this phone.
  void connectSpp() {
    isOverSpp_ = true;
    if (!operator_->requestSppConnect(sppPhone_)) {
      report("problem", "the SPP connect was refused");
    }
  }

  void disconnectSpp() {
    if (!operator_->requestSppDisconnect(sppPhone_)) {
      report("problem", "the SPP disconnect was refused");
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

  // What the facade calls: on the channel's delivery thread for the iPhone, on Bluetooth's for the SPP phone.

  void onDeviceStatus(LinkAppCommon::ConnectionInfo::DeviceInfo device) override {
    if (device.deviceType != kTypeIos) {
      onSppStatus(device);
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

  void onReceivedMsg(const unsigned char* data, unsigned int size) override {
    if (isOverSpp_) {
      tally_.noteStream(data, size);
    } else {
      tally_.noteEcho(data, size);
    }
  }

  void onHfpStatus(HfpStatus status) override {
    const bool isIphone = status.deviceKind == 1;
    report(isIphone ? "hands-free" : "spp-hands-free",
           std::string("onHfpStatus: ") + (isIphone ? "iPhone " : "SPP phone ") + std::to_string(status.deviceId) +
               " has its hands-free link " + (status.connected ? "up" : "down"));
  }

  void onPlaybackAppInfo(iosapp_def_::PlaybackAppInfo info) override {
    report("now-playing",
           "onPlaybackAppInfo: iPhone " + std::to_string(info.deviceId) + " plays with \"" + info.appName + "\"");
  }

 private:
  void onSppStatus(const LinkAppCommon::ConnectionInfo::DeviceInfo& device) {
    sppPhone_ = device.deviceId;
    const std::string phone =
        "onDeviceStatus: SPP phone " + std::to_string(device.deviceId) + " \"" + device.deviceName + "\" ";
    if (device.btSpp.status == 2) {
      report("spp-up", phone + "has its link up");
    } else if (device.btSpp.status == 0) {
      report("spp-gone", phone + "is gone");
    } else if (device.btSpp.uuid.empty()) {
      report("spp-listed", phone + "is there");
    } else {
      report("spp-down", phone + "has its link down");
    }
  }

  Tally tally_;
  std::atomic<bool> isOverSpp_{false};
  std::atomic<unsigned char> sppPhone_{kNoDevice};
  const std::unique_ptr<VQSLinkAppOperator> operator_;
  LinkAppHfpWrapper handsFree_;
  LinkAppiOSPlaybackInfo playback_;
};

void obey(Application& application, const Command& command) {
  if (command.word == "launch") {
    application.launch();
  } else if (command.word == "connect-spp") {
    application.connectSpp();
  } else if (command.word == "disconnect-spp") {
    application.disconnectSpp();
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
