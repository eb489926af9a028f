#include "phone/device_side.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "LinkAppCommon/iOSAppCommonUtil.h"

namespace phone {
namespace {

constexpr unsigned int kDeviceId = 1;  // the channel serves one device
constexpr unsigned int kLaunchNotice = 0;
constexpr unsigned int kDataNotice = 1;

constexpr std::chrono::milliseconds kRepeats[] = {std::chrono::milliseconds(200), std::chrono::milliseconds(1000),
                                                  std::chrono::milliseconds(5000)};

iosapp_def_::ConnectInfo connectInfo(bool isConnected, Link link, Generation generation) {
  iosapp_def_::ConnectInfo info;
  info.connectStatus = isConnected ? 1 : 0;
  info.connectType = link == Link::kBluetooth ? 1 : 2;
  info.iapType = generation == Generation::kIap2 ? 1 : 0;  // exactly 1: sessions are opened by app id
  return info;
}

}  // namespace

DeviceSide::DeviceSide(loop::Errands& errands, AccessoryStack& stack, EventSink sink)
    : errands_(errands),
      stack_(stack),
      sink_(std::move(sink)),
      server_(kDeviceId),
      registry_(VQSingleton<iOSAppCommonUtil>::getInstance()),
      serverObserver_(this, &DeviceSide::onServerUpdate),
      registryObserver_(this, &DeviceSide::onRegistryUpdate) {
  server_.AddObserver(&serverObserver_);
  registry_->AddObserver(&registryObserver_);  // behind the server, which has copied the new app by then
  start();
}

DeviceSide::~DeviceSide() {
  registry_->RemoveObserver(&registryObserver_);
  server_.RemoveObserver(&serverObserver_);
  *isAlive_ = false;
  for (const loop::TimerId timer : repeats_) {
    errands_.cancel(timer);
  }
}

// A predecessor may have been connected over either link; clients keep the two apart.
void DeviceSide::start() {
  for (const Link link : {Link::kBluetooth, Link::kUsb}) {
    iosapp_def_::ConnectInfo info = connectInfo(false, link, generation_);
    server_.notifyConnectionState(info);
  }
  announceHandsFree();
  server_.notifyPlaybakAppInfo(playing_);
  readApps();
  stack_.start(*this);
}

unsigned int DeviceSide::onServerUpdate(unsigned int id, void* data, unsigned int size) {
  if (data == nullptr || size == 0) {
    return 0;
  }
  if (id == kLaunchNotice) {
    postLaunch(*static_cast<const iOSAppLaunchRequest*>(data));
  } else if (id == kDataNotice) {
    postData(*static_cast<const iosapp_def_::CommData*>(data));
  }
  return 0;
}

void DeviceSide::postLaunch(const iOSAppLaunchRequest& request) {
  const LaunchRequest launch = {request.appId, request.launchString, request.launchMethod};
  post([this, launch] { takeLaunch(launch); });
}

void DeviceSide::postData(const iosapp_def_::CommData& received) {
  const std::unique_ptr<std::uint8_t[]> owned(received.data);  // the array is this observer's
  std::vector<std::uint8_t> bytes(owned.get(), owned.get() + received.size);
  post([this, session = received.sessionId, bytes = std::move(bytes)] { takeData(session, bytes); });
}

unsigned int DeviceSide::onRegistryUpdate(unsigned int id, void* /*data*/, unsigned int /*size*/) {
  if (id == 0) {
    post([this] {
      readApps();
      announce();
      repeatHandsFree();
    });
  }
  return 0;
}

void DeviceSide::post(loop::Task task) {
  errands_.post([isAlive = isAlive_, task = std::move(task)] {
    if (*isAlive) {
      task();
    }
  });
}

// The table's first entry is blank; the table only grows.
void DeviceSide::readApps() {
  const SupportiOSLinkAppInfo table = registry_->getSupportiOSLinkAppInfo();
  for (std::size_t i = apps_.size() + 1; i < table.list.size(); ++i) {
    const iOSLinkAppInfo& entry = table.list[i];
    apps_.push_back({entry.appId, entry.iAP1Id, entry.iAP1Name, entry.appName, entry.launchString});
    sink_({"app-registered", {{"app", entry.appId}, {"name", entry.appName}, {"launch", entry.launchString}}});
  }
  stack_.setApps(apps_);
}

void DeviceSide::takeLaunch(const LaunchRequest& request) {
  sink_({"launch-asked",
         {{"app", request.appId},
          {"launch", request.launchString},
          {"method", request.method == iosapp_def_::APPLAUNCH_WITHOUT_ALERT ? "without-alert" : "with-alert"}}});
  stack_.launch(request);
}

// Session 0 is no session; a result for it would reach whichever app has none.
void DeviceSide::takeData(std::uint16_t session, std::vector<std::uint8_t> data) {
  if (!isOpen(session)) {
    sink_({"data-dropped", {{"session", session}, {"size", data.size()}, {"reason", "the session is not open"}}});
    return;
  }
  stack_.send(session, std::move(data));
}

void DeviceSide::onConnected(Link link, Generation generation) {
  isConnected_ = true;
  link_ = link;
  generation_ = generation;
  announceConnection();
}

void DeviceSide::onDisconnected() {
  isConnected_ = false;
  announceConnection();
}

void DeviceSide::onSessionOpened(unsigned int id, std::uint16_t session) {
  if (!isOpen(session)) {
    sessions_.push_back(session);
  }
  server_.notifySessionOpen(id, session);
}

void DeviceSide::onSessionClosed(std::uint16_t session) {
  if (isOpen(session)) {
    server_.notifySessionClose(session);
    sessions_.erase(std::find(sessions_.begin(), sessions_.end(), session));
  }
}

void DeviceSide::onData(std::uint16_t session, const std::vector<std::uint8_t>& data) {
  if (isOpen(session)) {
    server_.sendDataFromDevice(session, data.data(), static_cast<unsigned int>(data.size()));
  }
}

void DeviceSide::onSendOutcome(std::uint16_t session, SendOutcome outcome) {
  if (isOpen(session)) {
    server_.notifySendResult(
        session, outcome == SendOutcome::kSuccess ? iosapp_def_::SENDRESULT_SUCCESS : iosapp_def_::SENDRESULT_FAILURE);
  }
}

void DeviceSide::onHandsFree(bool isUp, const Address& address) {
  isHandsFreeUp_ = isUp;
  handsFreeAddress_ = address;
  announceHandsFree();
}

void DeviceSide::onPlaying(const std::string& app) {
  playing_ = app;
  server_.notifyPlaybakAppInfo(playing_);
}

void DeviceSide::announce() {
  announceConnection();
  server_.notifyPlaybakAppInfo(playing_);
}

void DeviceSide::announceConnection() {
  iosapp_def_::ConnectInfo info = connectInfo(isConnected_, link_, generation_);
  server_.notifyConnectionState(info);
  announceHandsFree();
}

void DeviceSide::announceHandsFree() {
  iOSAppExtBluetoothConnectionStatus status;
  std::copy(handsFreeAddress_.begin(), handsFreeAddress_.end(), status.btAddress);
  status.flags = isHandsFreeUp_ ? 1 : 0;
  server_.notifyBluetoothConnectionStatus(&status);
}

// Counted from the last registration, which covers the earlier ones.
void DeviceSide::repeatHandsFree() {
  for (const loop::TimerId timer : repeats_) {
    errands_.cancel(timer);
  }
  repeats_.clear();
  for (const std::chrono::milliseconds delay : kRepeats) {
    repeats_.push_back(errands_.after(delay, [this] { announceHandsFree(); }));
  }
}

bool DeviceSide::isOpen(std::uint16_t session) const {
  return std::find(sessions_.begin(), sessions_.end(), session) != sessions_.end();
}

}  // namespace phone
