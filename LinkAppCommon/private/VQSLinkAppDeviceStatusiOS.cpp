// The iOS side: what the wrapper reports, compared with the list of iOS devices.
#include <algorithm>
#include <cstdint>

#include "LinkAppCommon/VQSLinkAppDeviceStatus.h"

using LinkAppCommon::ConnectionInfo;

namespace {

constexpr std::int32_t kDeviceTypeiOS = 1;
constexpr std::int32_t kNotConnected = 0;
constexpr std::int32_t kConnected = 1;
constexpr std::int32_t kSessionOpen = 2;

// 1 and 2 pass, everything else counts as 0.
std::int32_t oneOrTwo(std::uint32_t value) {
  return value == 1 || value == 2 ? static_cast<std::int32_t>(value) : 0;
}

// A device that is not in the list enters it connected and with a known protocol. One that jumps to an open session
// shows this link as not connected.
bool isNewLink(std::int32_t& status, std::int32_t iapVersion) {
  if (status == kSessionOpen) {
    status = kNotConnected;
    return false;
  }
  return status == kConnected && iapVersion != 0;
}

// Whether the step of one link from `before` to `now.status` is to be reported.
bool isLinkStep(std::int32_t before, ConnectionInfo::DeviceStatusInfo& now, const std::string& appName) {
  if (before == kNotConnected) {
    if (now.status == kConnected) {
      return true;
    }
    now.status = kNotConnected;  // a jump to an open session counts as no change
    return false;
  }
  if (before == kConnected && now.status != kNotConnected) {
    now.appName = appName;
  }
  return true;
}

}  // namespace

void VQSLinkAppDeviceStatus::oniOSClientDeviceInfo(void* record) {
  if (record == nullptr) {
    return;
  }
  const auto& device = *static_cast<const LinkAppiOSWrapperListener::DeviceInfo*>(record);
  DeviceInfo info;
  info.deviceType = kDeviceTypeiOS;
  info.deviceId = device.deviceId;
  info.btSpp.status = oneOrTwo(device.btSppStatus);
  info.usb.status = oneOrTwo(device.usbStatus);
  info.iapVersion = oneOrTwo(device.iapVersion);

  const bool isSppChanged = analyzeiOSBtSppConnectionInfo(info, device.btSppName);
  const bool isUsbChanged = analyzeiOSUsbConnectionInfo(info, device.usbName);
  if (!isSppChanged && !isUsbChanged) {
    return;
  }
  report(info);
  storeDevice(info, isSppChanged, isUsbChanged);
}

bool VQSLinkAppDeviceStatus::analyzeiOSBtSppConnectionInfo(DeviceInfo& info, std::string appName) {
  return isLinkReportable(info, &DeviceInfo::btSpp, appName);
}

bool VQSLinkAppDeviceStatus::analyzeiOSUsbConnectionInfo(DeviceInfo& info, std::string appName) {
  return isLinkReportable(info, &DeviceInfo::usb, appName);
}

bool VQSLinkAppDeviceStatus::isLinkReportable(DeviceInfo& info, ConnectionInfo::DeviceStatusInfo DeviceInfo::*link,
                                              const std::string& appName) {
  ConnectionInfo::DeviceStatusInfo& now = info.*link;
  if (devices.empty()) {
    // Unlike below, a jump to an open session stays as it is; the other link decides what becomes of it.
    return now.status == kConnected && info.iapVersion != 0;
  }
  const auto entry = findDevice(info.deviceId);
  if (entry == devices.end()) {
    return isNewLink(now.status, info.iapVersion);
  }
  const std::int32_t before = ((*entry).*link).status;
  if (now.status == before) {
    return info.iapVersion != entry->iapVersion;
  }
  return isLinkStep(before, now, appName);
}

// The first entry of the device. Device numbers have 8 bits and stand in the list once, so an 8-bit index suffices.
std::vector<VQSLinkAppDeviceStatus::DeviceInfo>::iterator VQSLinkAppDeviceStatus::findDevice(std::uint8_t deviceId) {
  return std::find_if(devices.begin(), devices.end(),
                      [deviceId](const DeviceInfo& entry) { return entry.deviceId == deviceId; });
}

// The strings of an entry are those of its first report.
void VQSLinkAppDeviceStatus::storeDevice(const DeviceInfo& info, bool isSppChanged, bool isUsbChanged) {
  const auto entry = findDevice(info.deviceId);
  if (entry == devices.end()) {
    devices.push_back(info);
    return;
  }
  if (info.btSpp.status == kNotConnected && info.usb.status == kNotConnected) {
    devices.erase(entry);
    return;
  }
  entry->deviceName = info.deviceName;
  if (isSppChanged) {
    entry->btSpp.status = info.btSpp.status;
  }
  if (isUsbChanged) {
    entry->usb.status = info.usb.status;
  }
  entry->iapVersion = info.iapVersion;
}
