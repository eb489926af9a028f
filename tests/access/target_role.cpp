// Roles of processes that work while others do harm. They touch every byte that they are handed, so that a sanitizer
// sees what is not theirs, and say nothing but "ready". They hear "work N", N rounds of all operations, answered by
// "done".
//
// "target_server", "target_client NAME"
#include <atomic>
#include <memory>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "LinkAppCommon/iOSAppCommonServer.h"
#include "LinkAppCommon/iOSAppCommonUtil.h"
#include "tests/process/listener.h"
#include "tests/process/message_pattern.h"
#include "tests/support/roles.h"

namespace {

std::atomic<std::uint32_t> sum{0};

void touch(const void* data, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) {
    sum += static_cast<const std::uint8_t*>(data)[i];
  }
}

void touch(const std::string& text) {
  touch(text.data(), text.size());
}

std::uint32_t sizeOf(std::uint32_t round) {
  return round * 397 % 4096 + 1;
}

class TargetServer {
 public:
  TargetServer() : listener_([](unsigned int id, void* data, unsigned int) { onNotification(id, data); }), server_(1) {
    server_.AddObserver(listener_.observer());
  }

  void work(std::uint32_t round) {
    iosapp_def_::ConnectInfo info = {0, round % 8 == 7 ? 0U : 1U, round % 2, 1};
    server_.notifyConnectionState(info);
    server_.notifySessionOpen(1, static_cast<unsigned short>(round));
    const std::vector<std::uint8_t> bytes = patternBytes(sizeOf(round), round);
    for (const std::uint32_t session : {round, 0U, 7U}) {
      server_.sendDataFromDevice(static_cast<unsigned short>(session), bytes.data(),
                                 static_cast<unsigned int>(bytes.size()));
      server_.notifySendResult(static_cast<unsigned short>(session), iosapp_def_::SENDRESULT_SUCCESS);
    }
    for (unsigned int app = 0; app < 22; ++app) {
      touch(server_.getLaunchStringFromAppList(app));
      sum += server_.getSessionIdFromAppList(app);
    }
    iOSAppCommonUtil* const registry = VQSingleton<iOSAppCommonUtil>::getInstance();
    sum += registry->isSupportediOSLinkAppSpotify() ? 1U : 0U;
    sum += registry->getiAP1AppCount();
    server_.notifyPlaybakAppInfo(std::string(round % 300, 'x'));
    server_.notifySessionClose(static_cast<unsigned short>(round));
  }

 private:
  static void onNotification(unsigned int id, void* data) {
    if (id == 0) {
      touch(static_cast<const iOSAppLaunchRequest*>(data)->launchString);
    } else if (id == 1) {
      const auto& received = *static_cast<const iosapp_def_::CommData*>(data);
      const std::unique_ptr<std::uint8_t[]> owned(received.data);
      touch(received.data, received.size);
    }
  }

  // Goes after the server: received data that meets no observer belongs to nobody.
  Listener listener_;
  iOSAppCommonServer server_;
};

class TargetClient {
 public:
  explicit TargetClient(const std::string& name)
      : listener_([](unsigned int id, void* data, unsigned int) { onNotification(id, data); }),
        client_("", name, "launch-" + name) {
    client_.AddObserver(listener_.observer());
  }
  ~TargetClient() { client_.RemoveObserver(listener_.observer()); }

  void work(std::uint32_t round) {
    client_.launch(1, iosapp_def_::APPLAUNCH_WITH_USER_ALERT);
    const std::vector<std::uint8_t> bytes = patternBytes(sizeOf(round), round);
    client_.sendDataFromHU(bytes.data(), static_cast<unsigned int>(bytes.size()));
    sum += client_.isSessionOpened(1, round % 21) + client_.isDeviceConnected(1);
    if (round % 64 == 63) {
      const iOSAppCommonClient another("iap1", std::string(round % 200, 'n'), std::string(round % 400, 'l'));
    }
  }

 private:
  static void onNotification(unsigned int id, const void* data) {
    switch (id) {
      case 0: {
        const auto& info = *static_cast<const iOSAppCommonClient::DeviceInfo*>(data);
        touch(info.btAddress);
        touch(info.usbName);
        touch(info.btSppName);
        break;
      }
      case 1:
        touch(static_cast<const iosapp_def_::SendResultInfo*>(data)->appName);
        break;
      case 2: {
        const auto& received = *static_cast<const iosapp_def_::CommData*>(data);
        touch(received.data, received.size);
        break;
      }
      default:
        touch(static_cast<const iosapp_def_::PlaybackAppInfo*>(data)->appName);
    }
  }

  Listener listener_;
  iOSAppCommonClient client_;
};

template <class Target>
int run(Target& target) {
  test_support::say("ready");
  while (const auto line = test_support::hear()) {
    for (std::uint32_t round = 0; round < numberOf(wordsOf(*line).at(1)); ++round) {
      target.work(round);
    }
    test_support::answer("done");
  }
  return 0;
}

TEST_ROLE(target_server) {
  TargetServer target;
  return run(target);
}

TEST_ROLE(target_client) {
  TargetClient target(args.at(0));
  return run(target);
}

}  // namespace
