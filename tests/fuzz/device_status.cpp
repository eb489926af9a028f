// VQSLinkAppDeviceStatus and the model of its rules (tests/unit/facade): the same lists, connections and records,
// compared call by call, together with all that is kept from one notice to the next.
#include "tests/unit/facade/device_status_model.h"

#include "LinkAppCommon/VQSLinkAppDeviceStatus.h"
#include "VQFramework/Singleton/VQSingleton.h"
#include "platform/fake/FakeBluetooth.h"
#include "platform/fake/FakeFramework.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/require.h"
#include "tests/unit/facade/device_status_access.h"

namespace {

using fuzz::Input;
using fuzz::Lines;
using DeviceInfo = LinkAppCommon::ConnectionInfo::DeviceInfo;
using LinkAppCommon::ConnectionInfo;
using IosRecord = LinkAppiOSWrapperListener::DeviceInfo;
using SppEntry = VQSBtAppsDef::SppInformationImpl;
using VQSBtAppsNtf::SppConnectionState;
using VQSBtAppsNtf::SppInformation;

constexpr unsigned int kMostSteps = 24;

std::string describe(const ConnectionInfo::DeviceStatusInfo& link) {
  return std::to_string(link.status) + " [" + link.uuid + "] [" + link.appName + "] ";
}

std::string describe(const DeviceInfo& info) {
  return std::to_string(info.deviceType) + " " + std::to_string(info.deviceId) + " [" + info.deviceName + "] " +
         describe(info.btSpp) + describe(info.usb) + std::to_string(info.iapVersion);
}

std::string describe(const SppEntry& entry) {
  return std::to_string(entry.deviceId) + " " + entry.btAddress + " [" + entry.deviceName + "] " +
         std::to_string(entry.vendorId) + " " + std::to_string(entry.available);
}

std::string describe(const SppConnectionState& notice) {
  return std::to_string(notice.deviceId) + " [" + notice.uuid + "] " + std::to_string(notice.state);
}

Lines kept(const std::vector<DeviceInfo>& devices, const SppInformation& list, const SppConnectionState& notice) {
  Lines lines = {describe(notice), std::to_string(list.header) + " " + std::to_string(list.errorCode)};
  for (const DeviceInfo& device : devices) {
    lines.push_back(describe(device));
  }
  for (const SppEntry& entry : list.devices) {
    lines.push_back(describe(entry));
  }
  return lines;
}

std::string name(Input& input) {
  const std::uint8_t choice = input.byte();
  return choice < 250 ? std::string(1, static_cast<char>('A' + choice % 3)) : input.text(8);
}

class StatusPair : public VQSLinkAppDeviceStatusListener {
 public:
  StatusPair() {
    sut_.setListener(this);
    model_.hasListener = true;
    model_.listener = [this](const DeviceInfo& info) { modelLines_.push_back(describe(info)); };
  }
  ~StatusPair() override { sut_.removeListener(this); }
  StatusPair(const StatusPair&) = delete;
  StatusPair& operator=(const StatusPair&) = delete;

  void onDeviceStatus(DeviceInfo info) override { lines_.push_back(describe(info)); }

  void step(Input& input) {
    const std::uint32_t kind = input.below(8);
    if (kind == 0) {
      changeListener(input);
    } else if (kind <= 2) {
      tellList(input);
    } else if (kind == 3) {
      tellConnection(input);
    } else if (kind == 4) {
      ask(input);
    } else {
      tellIosDevice(input);
    }
    fuzz::requireSame(lines_, modelLines_, kSteps[kind]);
    lines_.clear();
    modelLines_.clear();
    fuzz::requireSame(kept(device_status_access::devices(sut_), device_status_access::lastSppInfo(sut_),
                           device_status_access::lastConnectionState(sut_)),
                      kept(model_.devices, model_.lastSppInfo, model_.lastConnectionState), kSteps[kind]);
  }

 private:
  static constexpr const char* kSteps[] = {"a change of listener", "a list",        "a list",        "a connection",
                                           "a question",           "an iOS device", "an iOS device", "an iOS device"};

  void changeListener(Input& input) {
    const bool isSet = input.flag();
    isSet ? sut_.setListener(this) : sut_.removeListener(this);
    model_.hasListener = isSet;
  }

  static SppEntry entry(Input& input) {
    static constexpr std::uint16_t kVendors[] = {0x00E0, 0x00E0, 0x00E0, 0x0075, 0, 0, 0x05AC, 0x004C};
    SppEntry result;
    const std::uint8_t shape = input.byte();
    result.deviceId = static_cast<std::uint8_t>(shape % 4);
    result.available = static_cast<std::uint8_t>(shape / 4 % 4);
    result.vendorId = kVendors[shape / 16 % 8];
    result.deviceName = name(input);
    return result;
  }

  void tellList(Input& input) {
    SppInformation list;
    list.header = input.byte();
    list.errorCode = static_cast<std::uint8_t>(input.byte() / 240);
    if (input.flag()) {
      list.devices = model_.lastSppInfo.devices;
    }
    // Some so long that counts of 8 bits overflow.
    const std::uint8_t length = input.byte();
    list.devices.resize(length < 230 ? length % 6 : std::size_t{250} + length % 16, entry(input));
    for (std::uint32_t i = input.below(4); i > 0 && !list.devices.empty(); --i) {
      const std::size_t place = input.byte() % list.devices.size();
      list.devices[place] = entry(input);
    }
    SppInformation copy = list;
    fuzz::require(!sut_.onBtAppsUpdate(6, &copy, 1), "handlers answer false");
    model_.analyzeBtAppsSppInfo(list);
  }

  void tellConnection(Input& input) {
    SppConnectionState notice;
    notice.deviceId = static_cast<std::uint8_t>(input.number());
    notice.state = static_cast<std::int32_t>(input.number());
    notice.uuid = name(input);
    SppConnectionState copy = notice;
    fuzz::require(!sut_.onBtAppsUpdate(3, &copy, 1), "handlers answer false");
    model_.analyzeBtAppsConnectionState(notice);
  }

  void tellIosDevice(Input& input) {
    IosRecord record;
    record.deviceId = static_cast<std::uint8_t>(input.number());
    record.btSppStatus = input.number();
    record.usbStatus = input.number();
    record.iapVersion = input.number();
    record.btSppName = name(input);
    record.usbName = name(input);
    IosRecord copy = record;
    sut_.oniOSClientDeviceInfo(&copy);
    model_.oniOSClientDeviceInfo(record);
  }

  void ask(Input& input) {
    DeviceInfo info;
    info.deviceId = static_cast<std::uint8_t>(input.number());
    info.btSpp.status = static_cast<std::int32_t>(input.number());
    info.usb.status = static_cast<std::int32_t>(input.number());
    info.iapVersion = static_cast<std::int32_t>(input.number());
    DeviceInfo copy = info;
    const bool isAboutUsb = input.flag();
    const bool answer =
        isAboutUsb ? sut_.analyzeiOSUsbConnectionInfo(copy, "App") : sut_.analyzeiOSBtSppConnectionInfo(copy, "App");
    lines_.push_back((answer ? "true " : "false ") + describe(copy));
    const bool modelAnswer = isAboutUsb ? model_.analyzeiOSUsbConnectionInfo(info, "App")
                                        : model_.analyzeiOSBtSppConnectionInfo(info, "App");
    modelLines_.push_back((modelAnswer ? "true " : "false ") + describe(info));
  }

  VQSLinkAppDeviceStatus sut_{"Radio"};
  DeviceStatusModel model_;
  Lines lines_;
  Lines modelLines_;
};

}  // namespace

extern "C" __attribute__((visibility("default"))) int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                                                             std::size_t size) {
  Input input(data, size);
  vqfake::clearBtCalls();
  StatusPair pair;
  for (unsigned int i = 0; i < kMostSteps && !input.isEmpty(); ++i) {
    pair.step(input);
  }
  return 0;
}
