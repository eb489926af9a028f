// The records in which device status reaches an application.
#pragma once

#include <cstdint>
#include <string>

// Records that the head unit's applications share.
namespace LinkAppCommon {

struct ConnectionInfo {
  // One link of a device.
  struct DeviceStatusInfo {
    std::int32_t status = 0;  // 0 = no link, device gone; 1 = present; 2 = link open
    std::string uuid;         // SPP: the service whose state this is; else empty
    std::string appName;      // iOS: the app's name when the link went from 1 to 2; else empty
  };

  // One device with its links. Which kind it is decides what the rest means:
  //
  //   deviceType   1 present means          2 open means         deviceName   iapVersion
  //   0  SPP       listed by the service    SPP link is up       known        0
  //   1  iOS       connected                app session open     empty        1 or 2
  struct DeviceInfo {
    std::int32_t deviceType = 0;   // 0 = listed by the SPP service, 1 = iOS
    std::uint8_t deviceId = 0xFF;  // numbers of SPP devices and of iOS devices are two series; 0xFF = unknown
    std::string deviceName;        // as the SPP service knows it; empty for iOS
    DeviceStatusInfo btSpp;        // the link over Bluetooth
    DeviceStatusInfo usb;          // the link over USB; iOS only
    std::int32_t iapVersion = 0;   // iOS: 1 or 2, 0 = anything else that was reported; SPP: 0
  };
};

}  // namespace LinkAppCommon
