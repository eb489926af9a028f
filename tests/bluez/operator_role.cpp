// A head-unit application on LinkAppCommon alone: an operator for SPP and iOS, and a hands-free wrapper.
//
// Commands: standby; connect, auto, disconnect, stop-auto NUMBER; send TEXT; quit by the end of the input.
#include <sstream>
#include <string>

#include "LinkAppCommon/LinkAppHfpWrapper.h"
#include "LinkAppCommon/VQSLinkAppOperator.h"
#include "tests/support/roles.h"

namespace bluez_test {
namespace {

using test_support::answer;
using test_support::hear;
using test_support::say;

class Application final : public VQSLinkAppDeviceStatusListener,
                          public VQSILinkAppSenderReceiverListener,
                          public LinkAppHfpWrapperListener {
 public:
  explicit Application(const std::string& uuid) : operator_(uuid, "music", "music1", "com.example.music") {
    operator_.setListener(this);
    operator_.setStatusListener(this);
    handsFree_.setListener(this);
  }
  ~Application() override {
    handsFree_.removeListener(this);
    operator_.removeStatusListener(this);
    operator_.removeListener(this);
  }
  Application(const Application&) = delete;
  Application& operator=(const Application&) = delete;

  bool obey(const std::string& line) {
    std::istringstream words(line);
    std::string command;
    words >> command;
    if (command == "standby") {
      return operator_.registerStandby();
    }
    if (command == "send") {
      std::string text;
      words >> text;
      return operator_.requestMsgSend(reinterpret_cast<const unsigned char*>(text.data()),
                                      static_cast<unsigned int>(text.size()));
    }
    unsigned int number = 255;
    words >> number;
    const auto device = static_cast<unsigned char>(number);
    return command == "connect"     ? operator_.requestSppConnect(device)
           : command == "auto"      ? operator_.requestSppAutoConnectStart(device)
           : command == "stop-auto" ? operator_.requestSppAutoConnectStop(device)
                                    : command == "disconnect" && operator_.requestSppDisconnect(device);
  }

  void onDeviceStatus(LinkAppCommon::ConnectionInfo::DeviceInfo info) override {
    say("device " + std::to_string(info.deviceType) + " " + std::to_string(info.deviceId) + " " + info.deviceName +
        " status " + std::to_string(info.btSpp.status) + " " + info.btSpp.uuid);
  }
  void onSendResult(unsigned int failed) override { say("result " + std::to_string(failed)); }
  void onReceivedMsg(const unsigned char* data, unsigned int size) override {
    say("received " + std::string(reinterpret_cast<const char*>(data), size));
  }
  void onHfpStatus(HfpStatus status) override {
    say("hands-free kind " + std::to_string(status.deviceKind) + " device " + std::to_string(status.deviceId) +
        (status.connected ? " up" : " down"));
  }

 private:
  VQSLinkAppOperator operator_;
  LinkAppHfpWrapper handsFree_;
};

}  // namespace

TEST_ROLE(application) {
  Application application(args.at(0));
  while (const auto line = hear()) {
    answer(application.obey(*line) ? "true" : "false");
  }
  return 0;
}

}  // namespace bluez_test
