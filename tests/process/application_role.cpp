// Role "application APPNAME LAUNCHSTRING [UUID]" and role "media_application APPNAME LAUNCHSTRING [UUID]": a head-unit
// application on the facade. Its operator serves SPP as well where it has a UUID; the second role watches the
// hands-free links and the playing app besides.
//
// It says
//   ready
//   status TYPE DEVICE NAME spp STATUS UUID APP usb STATUS UUID APP iap VERSION      texts: "-" = empty
//   result FAILED
//   message SIZE:HASH
//   handsfree KIND DEVICE CONNECTED
//   playback DEVICE NAME
// and hears, answered by the result ("1" = true),
//   launch DEVICE METHOD | send SIZE SEED | spp-connect DEVICE | spp-disconnect DEVICE | standby |
//   deaf | listen      takes back and sets the status listener, which is what switches all reception
#include <memory>

#include "LinkAppCommon/LinkAppHfpWrapper.h"
#include "LinkAppCommon/LinkAppiOSPlaybackInfo.h"
#include "LinkAppCommon/VQSLinkAppOperator.h"
#include "tests/process/message_pattern.h"
#include "tests/support/roles.h"

using LinkAppCommon::ConnectionInfo;
using test_support::answer;
using test_support::hear;
using test_support::say;

namespace {

std::string shown(const std::string& text) {
  return text.empty() ? "-" : text;
}

std::string shown(const ConnectionInfo::DeviceStatusInfo& link) {
  return std::to_string(link.status) + " " + shown(link.uuid) + " " + shown(link.appName);
}

class SayingListener : public VQSLinkAppDeviceStatusListener,
                       public VQSILinkAppSenderReceiverListener,
                       public LinkAppHfpWrapperListener,
                       public LinkAppiOSPlaybackInfoListener {
 public:
  void onDeviceStatus(ConnectionInfo::DeviceInfo info) override {
    say("status " + std::to_string(info.deviceType) + " " + std::to_string(info.deviceId) + " " +
        shown(info.deviceName) + " spp " + shown(info.btSpp) + " usb " + shown(info.usb) + " iap " +
        std::to_string(info.iapVersion));
  }

  void onSendResult(unsigned int failed) override { say("result " + std::to_string(failed)); }

  void onReceivedMsg(const unsigned char* data, unsigned int size) override { say("message " + describe(data, size)); }

  void onHfpStatus(HfpStatus status) override {
    say("handsfree " + std::to_string(status.deviceKind) + " " + std::to_string(status.deviceId) + " " +
        std::to_string(status.connected));
  }

  void onPlaybackAppInfo(iosapp_def_::PlaybackAppInfo info) override {
    say("playback " + std::to_string(info.deviceId) + " " + shown(info.appName));
  }
};

std::unique_ptr<VQSLinkAppOperator> makeOperator(const test_support::Arguments& args) {
  const std::string& appName = args.at(0);
  const std::string& launchString = args.at(1);
  return args.size() > 2 ? std::make_unique<VQSLinkAppOperator>(args[2], appName, "", launchString)
                         : std::make_unique<VQSLinkAppOperator>(appName, "", launchString);
}

class Application {
 public:
  explicit Application(const test_support::Arguments& args) : operator_(makeOperator(args)) {
    operator_->setListener(&listener_);
    operator_->setStatusListener(&listener_);
  }

  LinkAppHfpWrapperListener* hfpListener() { return &listener_; }
  LinkAppiOSPlaybackInfoListener* playbackListener() { return &listener_; }

  std::string obey(const std::vector<std::string>& words) {
    const auto number = [&words](std::size_t index) { return index < words.size() ? numberOf(words[index]) : 0; };
    const auto device = static_cast<unsigned char>(number(1));
    const std::string command = words.empty() ? "" : words[0];
    if (command == "launch") {
      const auto method = static_cast<VQSLinkAppOperator::IOSAppLaunchMethod>(number(2));
      return std::to_string(operator_->requestiOSLaunch(device, method));
    }
    if (command == "send") {
      const std::vector<std::uint8_t> bytes = patternBytes(number(1), number(2));
      return std::to_string(operator_->requestMsgSend(bytes.data(), static_cast<unsigned int>(bytes.size())));
    }
    if (command == "spp-connect") {
      return std::to_string(operator_->requestSppConnect(device));
    }
    if (command == "spp-disconnect") {
      return std::to_string(operator_->requestSppDisconnect(device));
    }
    if (command == "standby") {
      return std::to_string(operator_->registerStandby());
    }
    if (command == "deaf") {
      return std::to_string(operator_->removeStatusListener(&listener_));
    }
    if (command == "listen") {
      return std::to_string(operator_->setStatusListener(&listener_));
    }
    return "unknown command";
  }

  int run() {
    say("ready");
    while (const auto line = hear()) {
      answer(obey(wordsOf(*line)));
    }
    return 0;
  }

 private:
  SayingListener listener_;
  const std::unique_ptr<VQSLinkAppOperator> operator_;
};

TEST_ROLE(application) {
  return Application(args).run();
}

TEST_ROLE(media_application) {
  Application process(args);
  LinkAppHfpWrapper handsFree;
  LinkAppiOSPlaybackInfo playback;
  handsFree.setListener(process.hfpListener());
  playback.setListener(process.playbackListener());
  return process.run();
}

}  // namespace
