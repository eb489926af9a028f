// Which Bluetooth devices are Apple's. They are served over the iOS app channel, not over SPP.
#pragma once

#include <cstdint>

constexpr std::uint16_t kAppleUsbVendorId = 0x05AC;
constexpr std::uint16_t kAppleBluetoothCompanyId = 0x004C;

constexpr bool isAppleVendor(std::uint16_t vendorId) {
  return vendorId == kAppleUsbVendorId || vendorId == kAppleBluetoothCompanyId;
}
