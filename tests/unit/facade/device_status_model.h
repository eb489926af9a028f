// A model of what VQSLinkAppDeviceStatus makes of its notices: the rules one after the other, without anything else. It
// shares nothing with the product but the records.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "LinkAppCommon/ConnectionInfo.h"
#include "LinkAppCommon/LinkAppiOSWrapper.h"
#include "VQBluetooth/VQSBtAppsNtf.h"

class DeviceStatusModel {
 public:
  using DeviceInfo = LinkAppCommon::ConnectionInfo::DeviceInfo;
  using DeviceStatusInfo = LinkAppCommon::ConnectionInfo::DeviceStatusInfo;
  using SppEntry = VQSBtAppsDef::SppInformationImpl;

  DeviceStatusModel() {
    lastSppInfo.header = 0;
    lastSppInfo.errorCode = 0;
    lastConnectionState.deviceId = 0xFF;
    lastConnectionState.state = 0;
  }

  std::function<void(const DeviceInfo&)> listener;
  bool hasListener = false;

  VQSBtAppsNtf::SppInformation lastSppInfo;
  VQSBtAppsNtf::SppConnectionState lastConnectionState;
  std::vector<DeviceInfo> devices;

  void analyzeBtAppsConnectionState(const VQSBtAppsNtf::SppConnectionState& record) {
    DeviceInfo info = freshSppInfo();
    info.btSpp.uuid = record.uuid;
    const auto n = static_cast<std::uint8_t>(lastSppInfo.devices.size() % 256);
    for (std::uint8_t i = 0; i != n; ++i) {
      if (i >= lastSppInfo.devices.size()) {
        break;
      }
      const SppEntry e = lastSppInfo.devices[i];
      if (e.deviceId != record.deviceId) {
        continue;
      }
      if (e.vendorId == 0x05AC || e.vendorId == 0x004C) {
        break;
      }
      if (e.available == 0) {
        continue;
      }
      if (record.state == lastConnectionState.state && record.uuid == lastConnectionState.uuid) {
        continue;
      }
      info.deviceId = e.deviceId;
      info.deviceName = e.deviceName;
      if (record.state == 1) {
        info.btSpp.status = 2;
      }
      callListener(info);
    }
    lastConnectionState.deviceId = record.deviceId;
    lastConnectionState.uuid = record.uuid;
    lastConnectionState.state = record.state;
  }

  void analyzeBtAppsSppInfo(const VQSBtAppsNtf::SppInformation& record) {
    if (record.errorCode != 0) {
      return;
    }
    DeviceInfo info = freshSppInfo();
    const unsigned int oldN = lastSppInfo.devices.size() % 256;
    const unsigned int newN = record.devices.size() % 256;
    const unsigned int maxN = oldN > newN ? oldN : newN;
    const unsigned int minN = oldN > newN ? newN : oldN;
    for (unsigned int i = 0; i < maxN; ++i) {
      const bool newExists = i < record.devices.size();
      const bool oldExists = i < lastSppInfo.devices.size();
      const SppEntry now = newExists ? record.devices[i] : SppEntry();
      const SppEntry old = oldExists ? lastSppInfo.devices[i] : SppEntry();
      if (newExists && (now.vendorId == 0x05AC || now.vendorId == 0x004C)) {
        break;
      }
      if (newExists && i < minN) {
        if (now.available == 0) {
          reportGone(info, oldExists, old);
        } else if (oldExists && old.available != 0 && old.deviceId == now.deviceId) {
          if (!(old.deviceName == now.deviceName && old.vendorId == now.vendorId)) {
            reportPresent(info, now);
          }
        } else {
          reportPresent(info, now);
        }
      } else if (newExists) {
        if (now.available != 0) {
          reportPresent(info, now);
        }
      } else if (oldN >= newN) {
        reportGone(info, oldExists, old);
      }
    }
    lastSppInfo.header = record.header;
    lastSppInfo.devices = record.devices;
  }

  void oniOSClientDeviceInfo(const LinkAppiOSWrapperListener::DeviceInfo& record) {
    DeviceInfo info;
    info.deviceType = 1;
    info.deviceId = record.deviceId;
    info.btSpp.status = mapped(record.btSppStatus);
    info.usb.status = mapped(record.usbStatus);
    info.iapVersion = mapped(record.iapVersion);
    const bool sppChanged = analyzeiOSBtSppConnectionInfo(info, record.btSppName);
    const bool usbChanged = analyzeiOSUsbConnectionInfo(info, record.usbName);
    if (!sppChanged && !usbChanged) {
      return;
    }
    callListener(info);

    bool wrapped = false;
    DeviceInfo* const e = firstWithId(info.deviceId, wrapped);
    if (e == nullptr) {
      if (devices.empty() || !wrapped) {
        devices.push_back(info);
      }
    } else if (info.btSpp.status == 0 && info.usb.status == 0) {
      devices.erase(devices.begin() + (e - devices.data()));
    } else {
      e->deviceName = info.deviceName;
      if (sppChanged) {
        e->btSpp.status = info.btSpp.status;
      }
      if (usbChanged) {
        e->usb.status = info.usb.status;
      }
      e->iapVersion = info.iapVersion;
    }
  }

  bool analyzeiOSBtSppConnectionInfo(DeviceInfo& info, const std::string& appName) {
    if (devices.empty()) {
      return info.btSpp.status == 1 && info.iapVersion != 0;
    }
    bool wrapped = false;
    const DeviceInfo* const e = firstWithId(info.deviceId, wrapped);
    return e == nullptr ? unlisted(info.btSpp, info.iapVersion)
                        : listed(info.btSpp, info.iapVersion, e->btSpp.status, e->iapVersion, appName);
  }

  bool analyzeiOSUsbConnectionInfo(DeviceInfo& info, const std::string& appName) {
    if (devices.empty()) {
      return info.usb.status == 1 && info.iapVersion != 0;
    }
    bool wrapped = false;
    const DeviceInfo* const e = firstWithId(info.deviceId, wrapped);
    return e == nullptr ? unlisted(info.usb, info.iapVersion)
                        : listed(info.usb, info.iapVersion, e->usb.status, e->iapVersion, appName);
  }

 private:
  static DeviceInfo freshSppInfo() {
    DeviceInfo info;
    info.deviceType = 0;
    info.btSpp.status = 1;
    info.usb.status = 0;
    info.iapVersion = 0;
    return info;
  }

  void callListener(const DeviceInfo& info) const {
    if (hasListener) {
      listener(info);
    }
  }

  void reportPresent(DeviceInfo& info, const SppEntry& now) const {
    info.deviceId = now.deviceId;
    info.deviceName = now.deviceName;
    callListener(info);
  }

  void reportGone(DeviceInfo& info, bool oldExists, const SppEntry& old) const {
    if (oldExists && old.available != 0) {
      info.deviceId = old.deviceId;
      info.deviceName = old.deviceName;
      info.btSpp.status = 0;
      callListener(info);
    }
  }

  static std::int32_t mapped(std::uint32_t value) {
    switch (value) {
      case 1:
        return 1;
      case 2:
        return 2;
      default:
        return 0;
    }
  }

  // The 8-bit index comes back to 0 behind a list of 256 devices.
  DeviceInfo* firstWithId(std::uint8_t deviceId, bool& wrapped) {
    wrapped = false;
    std::uint8_t i = 0;
    while (i < devices.size()) {
      if (devices[i].deviceId == deviceId) {
        return &devices[i];
      }
      ++i;
      if (i == 0) {
        wrapped = true;
        return nullptr;
      }
    }
    return nullptr;
  }

  static bool listed(DeviceStatusInfo& link, std::int32_t iapVersion, std::int32_t t, std::int32_t entryIapVersion,
                     const std::string& appName) {
    const std::int32_t s = link.status;
    if (s == t) {
      return iapVersion != entryIapVersion;
    }
    if (t == 0) {
      if (s == 1) {
        return true;
      }
      link.status = 0;
      return false;
    }
    if (t == 2) {
      return true;
    }
    if (s != 0) {
      link.appName = appName;
    }
    return true;
  }

  static bool unlisted(DeviceStatusInfo& link, std::int32_t iapVersion) {
    if (link.status == 1) {
      return iapVersion != 0;
    }
    if (link.status == 2) {
      link.status = 0;
    }
    return false;
  }
};
