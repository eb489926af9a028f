#include "app/application.h"

#include <algorithm>

#include "app/registration.h"
#include "text/message.h"

namespace app {
namespace {

constexpr std::int32_t kTypeIos = 1;
constexpr unsigned char kFirstIosDevice = 1;
constexpr std::int32_t kPresent = 1;
constexpr std::int32_t kOpen = 2;

text::Fields statusFields(const DeviceInfo& device) {
  const bool isIos = device.deviceType == kTypeIos;
  text::Fields fields = {{"type", isIos ? "ios" : "spp"}, {"device", device.deviceId}};
  if (!isIos) {
    fields.insert(fields.end(),
                  {{"name", device.deviceName}, {"spp.status", device.btSpp.status}, {"spp.uuid", device.btSpp.uuid}});
    return fields;
  }
  fields.insert(fields.end(), {{"iap", device.iapVersion},
                               {"usb.status", device.usb.status},
                               {"usb.app", device.usb.appName},
                               {"bluetooth.status", device.btSpp.status},
                               {"bluetooth.app", device.btSpp.appName}});
  return fields;
}

// A phone with Bluetooth SPP has no status at USB.
std::int32_t linkStatus(const DeviceInfo& device) {
  return std::max(device.usb.status, device.btSpp.status);
}

std::unique_ptr<VQSLinkAppOperator> makeOperator(const Setup& setup) {
  if (setup.sppUuid.empty()) {
    return std::make_unique<VQSLinkAppOperator>(setup.name, setup.iap1Name, setup.launchString);
  }
  return setup.name.empty()
             ? std::make_unique<VQSLinkAppOperator>(setup.sppUuid)
             : std::make_unique<VQSLinkAppOperator>(setup.sppUuid, setup.name, setup.iap1Name, setup.launchString);
}

// The operator registers the application, and the device side announces at once what is there: the others have to be
// listening by then.
std::vector<Part> operatorLast(std::vector<Part> parts) {
  std::stable_partition(parts.begin(), parts.end(), [](Part part) { return part != Part::kApp; });
  return parts;
}

}  // namespace

Application::Application(loop::Errands& errands, const Setup& setup, talk::EventSink sink)
    : errands_(errands), setup_(setup), sink_(std::move(sink)), callbacks_(errands, callbackSink()) {
  for (const std::string& name : partNames()) {
    listening_[partOf(name)] = false;
  }
  for (const Part part : operatorLast(setup_.parts)) {
    listen(part);
  }
  if (operator_ != nullptr && setup_.isLinkingSpp) {
    operator_->registerStandby();
  }
  if (operator_ != nullptr && setup_.isLaunching) {
    for (const std::chrono::milliseconds delay : {std::chrono::milliseconds(1500), std::chrono::milliseconds(6000)}) {
      lateLaunches_.push_back(errands_.after(delay, [this] { launchWithoutStatus(); }));
    }
  }
}

Application::~Application() {
  for (const loop::TimerId timer : lateLaunches_) {
    errands_.cancel(timer);
  }
  for (const auto& [part, isOn] : std::map<Part, bool>(listening_)) {
    if (isOn) {
      unlisten(part);
    }
  }
}

CallbackSink Application::callbackSink() {
  CallbackSink sink;
  sink.onOperatorStatus = [this](const DeviceInfo& device) { takeStatus(device, "app"); };
  sink.onStandAloneStatus = [this](const DeviceInfo& device) { takeStatus(device, "device-status"); };
  sink.onSendResult = [this](bool isFailed) {
    tally_.noteResult(isFailed);
    if (sender_ != nullptr) {
      sender_->noteResult();
    }
    tell({"onSendResult", {{"failed", isFailed}}});
  };
  sink.onMessage = [this](const Bytes& message) { takeMessage(message); };
  sink.onHandsFree = [this](const HfpStatus& status) {
    ++handsFreeCalls_;
    handsFree_[{status.deviceKind, status.deviceId}] = status.connected;
    tell({"onHfpStatus",
          {{"kind", status.deviceKind == 1 ? "ios" : "other"},
           {"device", status.deviceId},
           {"connected", status.connected}}});
  };
  sink.onPlayback = [this](unsigned int device, const std::string& name) {
    ++playbackCalls_;
    playing_ = name;
    tell({"onPlaybackAppInfo", {{"device", device}, {"name", name}}});
  };
  return sink;
}

void Application::make(Part part) {
  switch (part) {
    case Part::kApp:
      if (operator_ == nullptr) {
        const std::uint32_t taken = takenPlaces();
        operator_ = makeOperator(setup_);
        appId_ = setup_.name.empty() ? 0 : findAppId(setup_, taken);
      }
      break;
    case Part::kDeviceStatus:
      if (deviceStatus_ == nullptr) {
        wrapper_ = std::make_unique<LinkAppiOSWrapper>("", "", "");
        deviceStatus_ = std::make_unique<VQSLinkAppDeviceStatus>(wrapper_.get(), setup_.name);
      }
      break;
    case Part::kHandsFree:
      if (handsFreeWrapper_ == nullptr) {
        handsFreeWrapper_ = std::make_unique<LinkAppHfpWrapper>();
      }
      break;
    case Part::kPlayback:
      if (playback_ == nullptr) {
        playback_ = std::make_unique<LinkAppiOSPlaybackInfo>();
      }
      break;
  }
}

// Each setting of a listener subscribes once more: never twice.
std::string Application::listen(Part part) {
  if (isListening(part)) {
    return std::string(nameOf(part)) + " has its listener already";
  }
  make(part);
  listening_[part] = true;
  switch (part) {
    case Part::kApp:
      operator_->setListener(&callbacks_);
      operator_->setStatusListener(callbacks_.ofOperator());
      break;
    case Part::kDeviceStatus:
      deviceStatus_->setListener(callbacks_.standAlone());
      break;
    case Part::kHandsFree:
      handsFreeWrapper_->setListener(&callbacks_);
      break;
    case Part::kPlayback:
      playback_->setListener(&callbacks_);
      break;
  }
  return "";
}

std::string Application::unlisten(Part part) {
  if (!isListening(part)) {
    return std::string(nameOf(part)) + " has no listener";
  }
  listening_[part] = false;
  switch (part) {
    case Part::kApp:
      operator_->removeStatusListener(callbacks_.ofOperator());
      operator_->removeListener(&callbacks_);
      break;
    case Part::kDeviceStatus:
      deviceStatus_->removeListener(callbacks_.standAlone());
      break;
    case Part::kHandsFree:
      handsFreeWrapper_->removeListener(&callbacks_);
      break;
    case Part::kPlayback:
      playback_->removeListener(&callbacks_);
      break;
  }
  return "";
}

void Application::takeStatus(const DeviceInfo& device, const char* from) {
  ++statusCalls_;
  const bool isIos = device.deviceType == kTypeIos;
  devices_[{isIos, device.deviceId}] = {device, statusCalls_};
  if (isIos) {
    takeIosStatus(device);
  } else {
    takeSppStatus(device);
  }
  text::Fields fields = {{"from", from}};
  const text::Fields told = statusFields(device);
  fields.insert(fields.end(), told.begin(), told.end());
  tell({"onDeviceStatus", std::move(fields)});
}

// A connection that is announced once more is no new one: the app is launched once for each.
void Application::takeIosStatus(const DeviceInfo& device) {
  iosDevice_ = device;
  setOpen(linkStatus(iosDevice_) == kOpen || (sppDevice_.btSpp.status == kOpen && !setup_.sppUuid.empty()));
  if (linkStatus(device) == 0) {
    isLaunched_ = false;
  } else if (linkStatus(device) == kPresent && setup_.isLaunching && !isLaunched_ && operator_ != nullptr) {
    bool isAccepted = false;
    launch(device.deviceId, false, isAccepted);
    isLaunched_ = isAccepted;
  }
}

// What the device side says while the listener is being set is noted by the device status and told to nobody, and what
// it repeats is no news. The client knows better: it refuses where no phone is connected.
void Application::launchWithoutStatus() {
  if (!isLaunched_ &&
      operator_->requestiOSLaunch(kFirstIosDevice, VQSLinkAppOperator::IOSAPPLAUNCHMETHOD_WITHOUT_ALERT)) {
    isLaunched_ = true;
    ++launches_;
  }
}

// A phone that connects by itself can be answered only after a request that names it.
void Application::takeSppStatus(const DeviceInfo& device) {
  sppDevice_ = device;
  setOpen(device.btSpp.status == kOpen || linkStatus(iosDevice_) == kOpen);
  if (device.btSpp.status == kPresent && setup_.isLinkingSpp && operator_ != nullptr) {
    operator_->requestSppAutoConnectStart(device.deviceId);
  }
}

void Application::takeMessage(const Bytes& message) {
  tally_.noteMessage(message);
  text::Fields fields = text::messageFields(message);
  fields.push_back({"count", tally_.received()});
  tell({"onReceivedMsg", std::move(fields)});
  if (isEchoing_) {
    sendNow(message);
  }
}

void Application::setOpen(bool isOpen) {
  isOpen_ = isOpen;
  if (sender_ != nullptr) {
    sender_->setOpen(isOpen);
  }
}

std::string Application::launch(unsigned char device, bool isAsking, bool& isAccepted) {
  if (operator_ == nullptr) {
    return "this application has listeners only; start it with 'app' among them";
  }
  ++launches_;
  isAccepted = operator_->requestiOSLaunch(device, isAsking ? VQSLinkAppOperator::IOSAPPLAUNCHMETHOD_WITH_USER_ALERT
                                                            : VQSLinkAppOperator::IOSAPPLAUNCHMETHOD_WITHOUT_ALERT);
  return "";
}

std::string Application::send(const Bytes& message, bool& isAccepted) {
  if (operator_ == nullptr) {
    return "this application has listeners only; start it with 'app' among them";
  }
  isAccepted = sendNow(message);
  return "";
}

bool Application::sendNow(const Bytes& message) {
  const bool isAccepted = operator_->requestMsgSend(message.data(), static_cast<unsigned int>(message.size()));
  if (isAccepted) {
    tally_.noteSent();
  } else {
    tally_.noteRefused();
  }
  return isAccepted;
}

std::string Application::startSending(std::unique_ptr<Source> source, const Pace& pace) {
  if (operator_ == nullptr) {
    return "this application has listeners only; start it with 'app' among them";
  }
  sender_ = std::make_unique<Sender>(
      errands_, std::move(source), pace, [this](const Bytes& message) { return sendNow(message); },
      [this](std::uint64_t sent) {
        sender_.reset();
        tell({"sending-ended", {{"sent", sent}}});
      });
  sender_->setOpen(isOpen_);
  return "";
}

void Application::stopSending() {
  sender_.reset();
}

std::string Application::requestSpp(SppRequest request, unsigned char device, bool& isAccepted) {
  if (operator_ == nullptr || setup_.sppUuid.empty()) {
    return "this application has no side for Bluetooth SPP; start it with --spp UUID";
  }
  switch (request) {
    case SppRequest::kStandby:
      isAccepted = operator_->registerStandby();
      break;
    case SppRequest::kConnect:
      isAccepted = operator_->requestSppConnect(device);
      break;
    case SppRequest::kDisconnect:
      isAccepted = operator_->requestSppDisconnect(device);
      break;
    case SppRequest::kAutoStart:
      isAccepted = operator_->requestSppAutoConnectStart(device);
      break;
    case SppRequest::kAutoStop:
      isAccepted = operator_->requestSppAutoConnectStop(device);
      break;
  }
  return "";
}

text::Fields Application::state() const {
  const auto handsFreeUp =
      std::count_if(handsFree_.begin(), handsFree_.end(), [](const auto& entry) { return entry.second; });
  text::Fields fields = {{"name", setup_.name},
                         {"app", appId_},
                         {"registered", appId_ != 0},
                         {"usb.status", iosDevice_.usb.status},
                         {"bluetooth.status", iosDevice_.btSpp.status},
                         {"spp.status", sppDevice_.btSpp.status},
                         {"open", isOpen_},
                         {"sending", isSending()},
                         {"launches", launches_},
                         {"hands-free", handsFreeUp},
                         {"playing", playing_},
                         {"status-calls", statusCalls_},
                         {"hands-free-calls", handsFreeCalls_},
                         {"playback-calls", playbackCalls_}};
  const text::Fields counts = tally_.fields();
  fields.insert(fields.end(), counts.begin(), counts.end());
  return fields;
}

text::List Application::deviceList() const {
  text::List list;
  for (const auto& entry : devices_) {
    list.push_back(statusFields(entry.second.device));
  }
  return list;
}

std::optional<unsigned char> Application::lastDevice(bool isIos) const {
  const auto rank = [](const Told& told) { return std::make_pair(linkStatus(told.device) != 0, told.call); };
  const Told* last = nullptr;
  for (const auto& [key, told] : devices_) {
    if (key.first == isIos && (last == nullptr || rank(told) > rank(*last))) {
      last = &told;
    }
  }
  return last == nullptr ? std::nullopt : std::optional<unsigned char>(last->device.deviceId);
}

void Application::tell(talk::Event event) {
  sink_(event);
  onChange_();
}

}  // namespace app
