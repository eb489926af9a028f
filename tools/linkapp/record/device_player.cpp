#include "record/device_player.h"

#include <algorithm>
#include <utility>

#include "LinkAppCommon/iOSAppCommonUtil.h"

namespace record {
namespace {

using Kind = StoryStep::Kind;

constexpr unsigned int kDeviceId = 1;
constexpr unsigned int kLaunchNotice = 0;
constexpr unsigned int kDataNotice = 1;
constexpr std::uint32_t kAppIds = 1;  // of iapType: sessions are opened by app id
constexpr std::uint32_t kFirstSession = 1000;

std::uint16_t sessionOf(std::uint32_t app) {
  return static_cast<std::uint16_t>(kFirstSession + app);
}

}  // namespace

DevicePlayer::DevicePlayer(loop::Errands& errands, Sink sink)
    : errands_(errands),
      sink_(std::move(sink)),
      server_(kDeviceId),
      registry_(VQSingleton<iOSAppCommonUtil>::getInstance()),
      serverObserver_(this, &DevicePlayer::onServerUpdate),
      registryObserver_(this, &DevicePlayer::onRegistryUpdate) {
  connection_.iapType = kAppIds;
  server_.AddObserver(&serverObserver_);
  registry_->AddObserver(&registryObserver_);  // behind the server, which has copied the new app by then
  numberSessions();
  errands_.post([this, isAlive = isAlive_] {
    if (*isAlive) {
      tellNewApps();
    }
  });
}

DevicePlayer::~DevicePlayer() {
  registry_->RemoveObserver(&registryObserver_);
  server_.RemoveObserver(&serverObserver_);
  *isAlive_ = false;
}

void DevicePlayer::numberSessions() {
  for (const iOSLinkAppInfo& entry : registry_->getSupportiOSLinkAppInfo().list) {
    if (entry.appId != 0 && server_.getSessionIdFromAppList(entry.appId) == 0) {
      server_.setSessionIdToAppList(entry.appId, sessionOf(entry.appId));
    }
  }
}

unsigned int DevicePlayer::onRegistryUpdate(unsigned int id, void* /*data*/, unsigned int /*size*/) {
  if (id == 0) {
    numberSessions();
    errands_.post([this, isAlive = isAlive_] {
      if (*isAlive) {
        tellNewApps();
      }
    });
  }
  return 0;
}

// The table's first entry is blank; the table only grows.
void DevicePlayer::tellNewApps() {
  const SupportiOSLinkAppInfo table = registry_->getSupportiOSLinkAppInfo();
  for (; told_ + 1 < table.list.size(); ++told_) {
    const iOSLinkAppInfo& entry = table.list[told_ + 1];
    HeadUnitEvent event;
    event.app = {entry.appId, entry.appName, entry.launchString, entry.iAP1Name};
    sink_(std::move(event));
  }
}

unsigned int DevicePlayer::onServerUpdate(unsigned int id, void* data, unsigned int size) {
  if (data == nullptr || size == 0) {
    return 0;
  }
  HeadUnitEvent event;
  if (id == kLaunchNotice) {
    const auto& request = *static_cast<const iOSAppLaunchRequest*>(data);
    event.kind = Kind::kLaunch;
    event.app.appId = request.appId;
    event.launchMethod = request.launchMethod;
    post(std::move(event));
  } else if (id == kDataNotice) {
    const auto& received = *static_cast<const iosapp_def_::CommData*>(data);
    const std::unique_ptr<std::uint8_t[]> owned(received.data);  // the array is this observer's
    event.kind = Kind::kSend;
    event.app.appId = received.sessionId < kFirstSession ? 0 : received.sessionId - kFirstSession;
    event.bytes.assign(owned.get(), owned.get() + received.size);
    post(std::move(event));
  }
  return 0;
}

// Behind the application's registration, which was posted before.
void DevicePlayer::post(HeadUnitEvent event) {
  errands_.post([this, isAlive = isAlive_, event = std::move(event)] {
    if (*isAlive) {
      sink_(event);
    }
  });
}

void DevicePlayer::play(const StoryStep& step, std::uint32_t app) {
  switch (step.kind) {
    case Kind::kConnection:
      playConnection(step.status);
      break;
    case Kind::kSession:
      playSession(step.status.status == 1, app);
      break;
    case Kind::kResult:
      server_.notifySendResult(sessionOf(app), static_cast<iosapp_def_::SendResult>(step.status.sendResult));
      break;
    case Kind::kHandsFree: {
      iOSAppExtBluetoothConnectionStatus status;
      std::copy(std::begin(step.status.btAddress), std::end(step.status.btAddress), status.btAddress);
      status.flags = step.status.btConnected;
      server_.notifyBluetoothConnectionStatus(&status);
      break;
    }
    case Kind::kPlaying:
      server_.notifyPlaybakAppInfo(
          std::string(step.status.playbackAppName,
                      std::find(step.status.playbackAppName, std::end(step.status.playbackAppName), '\0')));
      break;
    case Kind::kData:
      server_.sendDataFromDevice(sessionOf(app), step.bytes.data(), static_cast<unsigned int>(step.bytes.size()));
      break;
    default:
      break;  // what applications do
  }
}

void DevicePlayer::playConnection(const iosapp_def_::ConnectStatusNotify& status) {
  connection_.connectStatus = status.connectStatus;
  connection_.connectType = status.connectType;
  connection_.iapType = status.iapType;
  iosapp_def_::ConnectInfo info = connection_;
  server_.notifyConnectionState(info);
}

void DevicePlayer::playSession(bool isOpen, std::uint32_t app) {
  if (!isOpen) {
    server_.notifySessionClose(sessionOf(app));
    server_.setSessionIdToAppList(app, sessionOf(app));
    return;
  }
  unsigned int id = app;
  if (connection_.iapType != kAppIds) {
    for (const iOSLinkAppInfo& entry : registry_->getSupportiOSLinkAppInfo().list) {
      id = entry.appId == app ? entry.iAP1Id : id;
    }
  }
  server_.notifySessionOpen(id, sessionOf(app));
}

void DevicePlayer::disconnect() {
  if (connection_.connectStatus != 0) {
    iosapp_def_::ConnectInfo info = connection_;
    info.connectStatus = 0;
    connection_.connectStatus = 0;
    server_.notifyConnectionState(info);
  }
}

}  // namespace record
