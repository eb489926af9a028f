// Values that VQSBtApps hands out.
#pragma once

#include <cstdint>
#include <string>

// What VQSBtApps hands out.
namespace VQSBtAppsDef {

// One remote device that speaks SPP.
struct SppInformationImpl {
  std::uint8_t deviceId = 0xFF;  // device number, 0..254
  std::string btAddress;         // "aa:bb:cc:dd:ee:ff"
  std::string deviceName;        // for users to read; another name counts as a change of the device
  std::uint16_t vendorId = 0;    // from the device's Device ID record; 0 where it has none
  std::uint8_t available = 0;    // 0 = the entry holds its place in the list but counts as no device
};

}  // namespace VQSBtAppsDef
