// Role "server [phone]": the device-side process.
//
// With "phone" a simulated phone opens session 100 + app id at a launch request, takes every message with a success as
// its result and sends it back. Without, the process says what it hears:
//   ready
//   launch DEVICE APPID LAUNCHSTRING METHOD      LAUNCHSTRING "-" = empty
//   data DEVICE SESSION SIZE:HASH
// It hears, and answers with "ok" or the value that was asked for,
//   connect TYPE IAP | disconnect TYPE IAP | open ID SESSION | close SESSION | data SESSION SIZE SEED |
//   result SESSION RESULT | playback NAME | handsfree FLAGS ADDRESS(hex) |
//   session-of APPID | app-of SESSION | launch-string-of APPID
#include <memory>

#include "LinkAppCommon/iOSAppCommonServer.h"
#include "tests/process/listener.h"
#include "tests/process/message_pattern.h"
#include "tests/support/roles.h"

using test_support::answer;
using test_support::hear;
using test_support::say;

namespace {

constexpr unsigned int kFirstSession = 100;

class ServerProcess {
 public:
  explicit ServerProcess(bool hasPhone)
      : hasPhone_(hasPhone),
        listener_([this](unsigned int id, void* data, unsigned int) { onNotification(id, data); }),
        server_(1) {
    server_.AddObserver(listener_.observer());
  }

  ~ServerProcess() { server_.RemoveObserver(listener_.observer()); }

  std::string obey(const std::vector<std::string>& words) {
    const auto word = [&words](std::size_t index) { return index < words.size() ? numberOf(words[index]) : 0; };
    const auto session = [&word](std::size_t index) { return static_cast<unsigned short>(word(index)); };
    const std::string command = words.empty() ? "" : words[0];
    if (command == "connect" || command == "disconnect") {
      iosapp_def_::ConnectInfo info = {0, command == "connect" ? 1U : 0U, word(1), word(2)};
      server_.notifyConnectionState(info);
    } else if (command == "open") {
      server_.notifySessionOpen(word(1), session(2));
    } else if (command == "close") {
      server_.notifySessionClose(session(1));
    } else if (command == "data") {
      const std::vector<std::uint8_t> bytes = patternBytes(word(2), word(3));
      server_.sendDataFromDevice(session(1), bytes.data(), static_cast<unsigned int>(bytes.size()));
    } else if (command == "result") {
      server_.notifySendResult(session(1), static_cast<iosapp_def_::SendResult>(word(2)));
    } else if (command == "playback") {
      server_.notifyPlaybakAppInfo(words.at(1));
    } else if (command == "handsfree") {
      announceHandsFree(word(1), fromHex(words.at(2)));
    } else if (command == "session-of") {
      return std::to_string(server_.getSessionIdFromAppList(word(1)));
    } else if (command == "app-of") {
      return std::to_string(server_.getAppIdFromAppList(session(1)));
    } else if (command == "launch-string-of") {
      const std::string launchString = server_.getLaunchStringFromAppList(word(1));
      return launchString.empty() ? "-" : launchString;
    } else {
      return "unknown command";
    }
    return "ok";
  }

 private:
  void announceHandsFree(std::uint32_t flags, const std::vector<std::uint8_t>& address) {
    iOSAppExtBluetoothConnectionStatus status;
    status.flags = flags;
    for (std::size_t i = 0; i < sizeof status.btAddress && i < address.size(); ++i) {
      status.btAddress[i] = address[i];
    }
    server_.notifyBluetoothConnectionStatus(&status);
  }

  void onNotification(unsigned int id, void* data) {
    if (id == 0) {
      onLaunch(*static_cast<const iOSAppLaunchRequest*>(data));
    } else if (id == 1) {
      onData(*static_cast<const iosapp_def_::CommData*>(data));
    } else {
      say("unknown notification " + std::to_string(id));
    }
  }

  void onLaunch(const iOSAppLaunchRequest& request) {
    if (hasPhone_) {
      server_.notifySessionOpen(request.appId, static_cast<unsigned short>(kFirstSession + request.appId));
    } else {
      say("launch " + std::to_string(request.deviceId) + " " + std::to_string(request.appId) + " " +
          (request.launchString.empty() ? "-" : request.launchString) + " " + std::to_string(request.launchMethod));
    }
  }

  void onData(const iosapp_def_::CommData& data) {
    const std::unique_ptr<std::uint8_t[]> owned(data.data);
    if (hasPhone_) {
      server_.notifySendResult(data.sessionId, iosapp_def_::SENDRESULT_SUCCESS);
      server_.sendDataFromDevice(data.sessionId, data.data, data.size);
    } else {
      say("data " + std::to_string(data.deviceId) + " " + std::to_string(data.sessionId) + " " +
          describe(data.data, data.size));
    }
  }

  const bool hasPhone_;
  Listener listener_;
  iOSAppCommonServer server_;
};

TEST_ROLE(server) {
  ServerProcess process(!args.empty() && args[0] == "phone");
  say("ready");
  while (const auto line = hear()) {
    answer(process.obey(wordsOf(*line)));
  }
  return 0;
}

}  // namespace
