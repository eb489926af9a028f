#include "facade_ports.h"

#include <utility>

#include "operator_fixture.h"

namespace {

constexpr std::uint8_t kPhone = 40;   // numbers of the Bluetooth manager
constexpr std::uint8_t kiPhone = 41;  // the one that is saved as the link-application device

void deliverStatus(const iosapp_def_::ConnectStatusNotify& message) {
  vqfake::post(4, &message, sizeof(message));
  vqfake::deliverAll();
}

iosapp_def_::ConnectStatusNotify deviceMessage(bool isConnected) {
  return connectMessage(1, isConnected ? 1 : 0, 1, 1);
}

// The number that the app got which registered last.
std::uint32_t newestAppId() {
  SegmentView view(kAppInfoSegment);
  return view.record<iOSAppInfoList>().count;
}

class WrapperPort : public Port {
 public:
  void set() override { sut_->setListener(&listener); }
  void remove() override { sut_->removeListener(&listener); }
  void destroy() override { sut_.destroy(); }
  void tell() override { deliverStatus(deviceMessage(true)); }
  void request() override {
    const unsigned char byte = 1;
    sut_->requestLaunch(1, LinkAppiOSWrapper::APPLAUNCHMETHOD_WITHOUT_ALERT);
    sut_->requestSendData(&byte, 1);
  }

 private:
  Held<LinkAppiOSWrapper> sut_{new LinkAppiOSWrapper("Radio", "", "radio://")};
};

class PlaybackPort : public Port {
 public:
  void set() override { sut_->setListener(&listener); }
  void remove() override { sut_->removeListener(&listener); }
  void destroy() override { sut_.destroy(); }
  void tell() override { deliverStatus(statusMessage(iosapp_def_::NOTIFYID_PLAYBACKAPPINFO, 1)); }

 private:
  Held<LinkAppiOSPlaybackInfo> sut_{new LinkAppiOSPlaybackInfo};
};

// Says that a device has come and gone in turn; each of both is news.
class Toggle {
 public:
  bool flip() { return isThere_ = !isThere_; }

 private:
  std::atomic<bool> isThere_{false};
};

// The SPP services differ, so that a message of one side reaches one port.
class OperatorPort : public Port {
 public:
  explicit OperatorPort(const std::string& uuid) : sut_(new VQSLinkAppOperator(uuid, kApp, "", "radio://")) {}
  void destroy() override { sut_.destroy(); }
  void request() override {
    const unsigned char byte = 1;
    sut_->requestSppConnect(7);
    sut_->requestMsgSend(&byte, 1);
    sut_->requestiOSLaunch(1, VQSLinkAppOperator::IOSAPPLAUNCHMETHOD_WITHOUT_ALERT);
    sut_->requestMsgSend(&byte, 1);
    sut_->requestSppDisconnect(7);
    sut_->registerStandby();
  }

 protected:
  Held<VQSLinkAppOperator> sut_;
};

class OperatorMessagePort : public OperatorPort {
 public:
  explicit OperatorMessagePort(const std::string& uuid) : OperatorPort(uuid) { sut_->setStatusListener(nullptr); }
  void set() override { sut_->setListener(&listener); }
  void remove() override { sut_->removeListener(&listener); }
};

class SppMessagePort : public OperatorMessagePort {
 public:
  SppMessagePort() : OperatorMessagePort(kUuid) {}
  void tell() override { vqfake::notifyBtApps(sppResult(kUuid, true)); }
};

class IosMessagePort : public OperatorMessagePort {
 public:
  IosMessagePort() : OperatorMessagePort("another service"), appId_(newestAppId()) {
    deliverStatus(deviceMessage(true));
    sut_->requestiOSLaunch(1, VQSLinkAppOperator::IOSAPPLAUNCHMETHOD_WITH_USER_ALERT);
    deliverStatus(sessionMessage(1, appId_, 1));
  }
  void tell() override {
    iosapp_def_::ConnectStatusNotify message = statusMessage(iosapp_def_::NOTIFYID_SENDRESULT, 1);
    message.appId = appId_;
    deliverStatus(message);
  }

 private:
  const std::uint32_t appId_;
};

constexpr std::int32_t kSppDevice = 0;
constexpr std::int32_t kIosDevice = 1;

class OperatorStatusPort : public OperatorPort {
 public:
  explicit OperatorStatusPort(std::int32_t deviceType) : OperatorPort(kUuid) { listener.deviceType = deviceType; }
  void set() override { sut_->setStatusListener(&listener); }
  void remove() override { sut_->removeStatusListener(&listener); }

 protected:
  Toggle device_;
};

void tellSppList(bool isThere) {
  vqfake::notifyBtApps(isThere ? sppList(3, "Phone") : VQSBtAppsNtf::SppInformation());
}

class SppStatusPort : public OperatorStatusPort {
 public:
  SppStatusPort() : OperatorStatusPort(kSppDevice) {}
  void tell() override { tellSppList(device_.flip()); }
};

class IosStatusPort : public OperatorStatusPort {
 public:
  IosStatusPort() : OperatorStatusPort(kIosDevice) {}
  void tell() override { deliverStatus(deviceMessage(device_.flip())); }
};

// A device status on a wrapper that belongs to the application, and goes after it.
class DeviceStatusPort : public Port {
 public:
  explicit DeviceStatusPort(std::int32_t deviceType) { listener.deviceType = deviceType; }
  void set() override { sut_->setListener(&listener); }
  void remove() override { sut_->removeListener(&listener); }
  void destroy() override {
    sut_->removeListener(&listener);
    sut_.destroy();
    wrapper_.destroy();
  }
  void request() override { sut_->getBtDeviceInfo(); }

 protected:
  Toggle device_;

 private:
  Held<LinkAppiOSWrapper> wrapper_{new LinkAppiOSWrapper("Radio", "", "radio://")};
  Held<VQSLinkAppDeviceStatus> sut_{new VQSLinkAppDeviceStatus(wrapper_.get(), kUuid, "Radio")};
};

class SppDeviceStatusPort : public DeviceStatusPort {
 public:
  SppDeviceStatusPort() : DeviceStatusPort(kSppDevice) {}
  void tell() override { tellSppList(device_.flip()); }
};

class IosDeviceStatusPort : public DeviceStatusPort {
 public:
  IosDeviceStatusPort() : DeviceStatusPort(kIosDevice) {}
  void tell() override { deliverStatus(deviceMessage(device_.flip())); }
};

VQSBtMgrDef::HfpConnection hfpEvent(std::uint8_t deviceId, bool isConnected) {
  VQSBtMgrDef::HfpConnection event;
  event.deviceId = deviceId;
  event.profile = 1;
  event.state = isConnected ? 3 : 0;
  return event;
}

// The notices that come before the test go to this wrapper alone.
class HfpPort : public Port {
 public:
  void set() override { sut_->setListener(&listener); }
  void remove() override { sut_->removeListener(&listener); }
  void destroy() override { sut_.destroy(); }

 protected:
  void pair(std::uint8_t deviceId, std::uint16_t vendorId) {
    VQSBtMgrDef::PairedDeviceList list;
    list.devices.push_back({"", "", vendorId, deviceId});
    sut_->onBtMgrUpdate(VQSBtMgrDef::NOTIFYID_PAIREDDEVICELIST, &list, 1);
    vqfake::setSettingsText("BtSetting.ini", "LinkAppDevice=" + std::to_string(kiPhone) + "\n");
  }
  void connect(std::uint8_t deviceId) {
    VQSBtMgrDef::HfpConnection event = hfpEvent(deviceId, true);
    sut_->onBtMgrUpdate(VQSBtMgrDef::NOTIFYID_HFPCONNECTION, &event, 1);
  }
  void linkOverSpp() {
    iOSAppCommonClient::DeviceInfo info;
    info.deviceId = 1;
    info.btSppStatus = 1;
    sut_->oniOSClientUpdate(0, &info, 1);
  }

  Held<LinkAppHfpWrapper> sut_{new LinkAppHfpWrapper};
  Toggle device_;
};

class HfpOtherPort : public HfpPort {
 public:
  HfpOtherPort() { pair(kPhone, 0x00E0); }
  void tell() override { vqfake::notifyBtManager(hfpEvent(kPhone, device_.flip())); }
};

// The wrapper calls with its own lock held here and below.
class HfpAppleByManagerPort : public HfpPort {
 public:
  HfpAppleByManagerPort() {
    pair(kiPhone, 0x05AC);
    linkOverSpp();
  }
  void tell() override { vqfake::notifyBtManager(hfpEvent(kiPhone, device_.flip())); }
};

class HfpAppleByChannelPort : public HfpPort {
 public:
  HfpAppleByChannelPort() {
    pair(kiPhone, 0x05AC);
    connect(kiPhone);
  }
  void tell() override { deliverStatus(deviceMessage(device_.flip())); }
};

template <class T>
std::unique_ptr<Port> make() {
  return std::make_unique<T>();
}

}  // namespace

void PrintTo(const PortKind& kind, std::ostream* out) {
  *out << kind.name;
}

// The hands-free wrapper must not be called in a callback. A device status is destroyed without listener or without its
// wrapper.
const PortKind kPortKinds[] = {
    {"Wrapper", Source::delivery, true, true, true, &make<WrapperPort>},
    {"Playback", Source::delivery, true, false, true, &make<PlaybackPort>},
    {"OperatorMessageOverSpp", Source::spp, true, true, true, &make<SppMessagePort>},
    {"OperatorMessageOverIos", Source::delivery, true, true, true, &make<IosMessagePort>},
    {"OperatorStatusOfSpp", Source::spp, true, true, true, &make<SppStatusPort>},
    {"OperatorStatusOfIos", Source::delivery, true, true, true, &make<IosStatusPort>},
    {"DeviceStatusOfSpp", Source::spp, true, true, false, &make<SppDeviceStatusPort>},
    {"DeviceStatusOfIos", Source::delivery, true, true, false, &make<IosDeviceStatusPort>},
    {"HfpOfAnotherDevice", Source::manager, false, false, false, &make<HfpOtherPort>},
    {"HfpOfAnIphoneByTheManager", Source::manager, false, false, false, &make<HfpAppleByManagerPort>},
    {"HfpOfAnIphoneByTheChannel", Source::delivery, false, false, false, &make<HfpAppleByChannelPort>},
};

std::vector<PortKind> portKindsThat(bool PortKind::*may) {
  std::vector<PortKind> kinds;
  for (const PortKind& kind : kPortKinds) {
    if (kind.*may) {
      kinds.push_back(kind);
    }
  }
  return kinds;
}
