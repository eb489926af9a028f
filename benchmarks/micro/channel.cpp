#include "benchmarks/micro/channel.h"

#include <stdexcept>
#include <string>

#include "LinkAppCommon/iOSAppCommonUtil.h"

namespace bench {
namespace {

constexpr std::uint32_t kConnected = 1;
constexpr std::uint32_t kUsb = 2;
constexpr std::uint32_t kIap2 = 1;
constexpr std::uint32_t kOpen = 1;

// A server copies the registry's table when it is made, and hears nothing later: delivery is held.
std::unique_ptr<iOSAppCommonServer> serverOf(unsigned int apps) {
  auto server = std::make_unique<iOSAppCommonServer>(Channel::kDevice);
  for (unsigned int app = 1; app <= apps; ++app) {
    server->setSessionIdToAppList(app, static_cast<unsigned short>(app));
  }
  if (server->getSessionIdFromAppList(apps) != apps || server->getSessionIdFromAppList(apps + 1) != 0) {
    throw std::runtime_error("the device side does not know " + std::to_string(apps) + " apps");
  }
  return server;
}

void addToRegistry(unsigned int app) {
  iOSLinkAppInfo info;
  info.appId = static_cast<std::uint16_t>(app);
  info.appName = "app" + std::to_string(app);
  info.launchString = "launch.app" + std::to_string(app);
  VQSingleton<iOSAppCommonUtil>::getInstance()->pushAppInfo(info);
}

}  // namespace

Channel* Channel::current_ = nullptr;

Channel::Channel() : client_("", "app1", "launch.app1"), serverOf1_(serverOf(1)) {
  for (unsigned int app = 2; app <= kApps; ++app) {
    addToRegistry(app);
  }
  serverOf20_ = serverOf(kApps);

  client_.addConnectInfoToList({kDevice, kConnected, kUsb, kIap2});
  client_.addSessionInfoToList({kDevice, kApp, kOpen});
  if (client_.launch(kDevice, iosapp_def_::APPLAUNCH_WITHOUT_ALERT) != 1) {
    throw std::runtime_error("the client has no session");
  }
  current_ = this;
}

Channel::~Channel() {
  current_ = nullptr;
}

}  // namespace bench
