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

// What VQSBtManager tells its observers.
namespace VQSBtMgrDef {

// Notice identifiers of VQSBtManager.
enum NotifyId : unsigned int {
  NOTIFYID_PAIREDDEVICELIST = 12,  // PairedDeviceList
  NOTIFYID_HFPCONNECTION = 15,     // HfpConnection
  NOTIFYID_PAIREDLISTFREEZE = 24,  // PairedListFreeze
};

// One device that is paired with the head unit, whether it is there or not.
struct PairedDevice {
  std::string btAddress;         // "aa:bb:cc:dd:ee:ff"
  std::string deviceName;        // for users to read
  std::uint16_t vendorId = 0;    // from the device's Device ID record; 0 where it has none
  std::uint8_t deviceId = 0xFF;  // 0..254, stays with the device over restarts
};

// Everything that is paired, after every change of it.
struct PairedDeviceList {
  std::uint32_t header = 0;           // never read
  std::vector<PairedDevice> devices;  // in no particular order
};

// A device's hands-free link came up or went down.
struct HfpConnection {
  std::uint32_t header = 0;      // never read
  std::uint8_t deviceId = 0xFF;  // number of a PairedDevice
  std::uint32_t profile = 0;     // 1 = hands-free; receivers ignore a record with any other
  std::uint32_t state = 0;       // 3 = connected, anything else = not
};

// While the list is frozen, notice 12 does not tell what is paired.
struct PairedListFreeze {
  std::uint32_t header = 0;  // never read
  std::uint8_t frozen = 0;   // 0 = no: lists count from now on
};

static_assert(offsetof(HfpConnection, deviceId) == 4, "layout");
static_assert(offsetof(HfpConnection, profile) == 8, "layout");
static_assert(offsetof(HfpConnection, state) == 12, "layout");
static_assert(offsetof(PairedListFreeze, frozen) == 4, "layout");

}  // namespace VQSBtMgrDef
