// Values and notice records of VQSBtManager. The records live during the notice only.
//
//   byte 0        4            8          12
//   15   header   deviceId     profile    state
//   24   header   frozen
//   12   header   devices (4 where pointers have 32 bits, else the next byte that is aligned for them)
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace VQSBtMgrDef {

// Notice identifiers of VQSBtManager.
enum NotifyId : unsigned int {
  NOTIFYID_PAIREDDEVICELIST = 12,  // PairedDeviceList
  NOTIFYID_HFPCONNECTION = 15,     // HfpConnection
  NOTIFYID_PAIREDLISTFREEZE = 24,  // PairedListFreeze
};

struct PairedDevice {
  std::string btAddress;
  std::string deviceName;
  std::uint16_t vendorId = 0;  // from the device's Device ID record; 0 where it has none
  std::uint8_t deviceId = 0xFF;
};

struct PairedDeviceList {
  std::uint32_t header = 0;
  std::vector<PairedDevice> devices;
};

struct HfpConnection {
  std::uint32_t header = 0;
  std::uint8_t deviceId = 0xFF;
  std::uint32_t profile = 0;  // 1 = hands-free
  std::uint32_t state = 0;    // 3 = connected
};

// While the list is frozen, notice 12 does not tell what is paired.
struct PairedListFreeze {
  std::uint32_t header = 0;
  std::uint8_t frozen = 0;  // 0 = no
};

static_assert(offsetof(HfpConnection, deviceId) == 4, "layout");
static_assert(offsetof(HfpConnection, profile) == 8, "layout");
static_assert(offsetof(HfpConnection, state) == 12, "layout");
static_assert(offsetof(PairedListFreeze, frozen) == 4, "layout");

}  // namespace VQSBtMgrDef
