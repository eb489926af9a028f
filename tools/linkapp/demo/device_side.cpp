// The device-side process: it owns the server of the channel and joins it to the phone.
#include <algorithm>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "LinkAppCommon/iOSAppCommonServer.h"
#include "VQFramework/Observer/VQObserver.h"
#include "demo/demo.h"
#include "demo/line_channel.h"
#include "demo/phone.h"

namespace demo {
namespace {

constexpr unsigned int kDeviceId = 1;
constexpr unsigned int kLaunchRequest = 0;
constexpr unsigned int kData = 1;

class DeviceSide : public PhoneListener {
 public:
  DeviceSide() : server_(kDeviceId), observer_(this, &DeviceSide::onServer), phone_(*this) {
    server_.AddObserver(&observer_);
  }
  ~DeviceSide() override { server_.RemoveObserver(&observer_); }
  DeviceSide(const DeviceSide&) = delete;
  DeviceSide& operator=(const DeviceSide&) = delete;

  Phone& phone() { return phone_; }

  // The channel's delivery thread: nothing here may take long, so the phone gets its work in a queue.
  unsigned int onServer(unsigned int id, void* data, unsigned int size) {
    if (data == nullptr || size == 0) {
      return 0;
    }
    if (id == kLaunchRequest) {
      const auto& request = *static_cast<const iOSAppLaunchRequest*>(data);
      report("launch-asked", "app " + std::to_string(request.appId) + " asks for \"" + request.launchString + "\"");
      phone_.launch(request.launchString, request.appId);
    } else if (id == kData) {
      const auto& received = *static_cast<const iosapp_def_::CommData*>(data);
      const std::unique_ptr<std::uint8_t[]> bytes(received.data);  // the array is ours
      phone_.receive(received.sessionId, {bytes.get(), bytes.get() + received.size});
    }
    return 0;
  }

  // The phone's thread. Each step is reported before the channel announces it, so that reports of what follows from it
  // come later.
  void onPlugged(bool isPlugged) override {
    report(isPlugged ? "plugged" : "unplugged", isPlugged ? "phone plugged in over USB" : "phone unplugged");
    iosapp_def_::ConnectInfo info;
    info.connectStatus = isPlugged ? 1 : 0;
    info.connectType = 2;  // USB
    info.iapType = 1;      // sessions are opened with app ids
    server_.notifyConnectionState(info);
  }
  void onSessionOpened(unsigned int appId, std::uint16_t session) override {
    report("session", "session " + std::to_string(session) + " opened for app " + std::to_string(appId));
    server_.notifySessionOpen(appId, session);
  }
  void onSessionClosed(std::uint16_t session) override {
    report("session", "session " + std::to_string(session) + " closed");
    server_.notifySessionClose(session);
  }
  void onData(std::uint16_t session, const std::vector<std::uint8_t>& data) override {
    server_.sendDataFromDevice(session, data.data(), static_cast<unsigned int>(data.size()));
  }
  void onTransferDone(std::uint16_t session) override {
    server_.notifySendResult(session, iosapp_def_::SENDRESULT_SUCCESS);
  }
  void onPlaying(const std::string& app) override {
    report("playing", "phone now plays with \"" + app + "\"");
    server_.notifyPlaybakAppInfo(app);
  }
  void onHandsFree(bool isConnected) override {
    report("hands-free", std::string("hands-free link ") + (isConnected ? "up" : "down"));
    iOSAppExtBluetoothConnectionStatus status;
    const std::uint8_t address[6] = {0x12, 0x34, 0x56, 0x78, 0x9a, 0xbc};
    std::copy(std::begin(address), std::end(address), status.btAddress);
    status.flags = isConnected ? 1 : 0;
    server_.notifyBluetoothConnectionStatus(&status);
  }
  void onProblem(const std::string& text) override { report("problem", text); }

 private:
  iOSAppCommonServer server_;
  VQObserver<DeviceSide> observer_;
  Phone phone_;
};

void obey(Phone& phone, const Command& command) {
  if (command.word == "plug") {
    phone.plugIn();
  } else if (command.word == "unplug") {
    phone.unplug();
  } else if (command.word == "play") {
    phone.play(command.argument);
  } else if (command.word == "hands-free") {
    phone.setHandsFree(command.argument == "up");
  } else {
    report("problem", "unknown command \"" + command.word + "\"");
  }
}

}  // namespace

int runDeviceSide(const std::vector<std::string>& /*arguments*/) {
  DeviceSide side;
  report("ready", "device side is there");
  for (Command command = nextCommand(); command.word != "quit"; command = nextCommand()) {
    obey(side.phone(), command);
  }
  return 0;
}

}  // namespace demo
