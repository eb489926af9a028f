// Records of the notices of VQSBtApps. They live during the notice only.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "VQBluetooth/VQSBtAppsDef.h"
#include "VQFramework/Text/VQBinary.h"

// What VQSBtApps tells its observers.
namespace VQSBtAppsNtf {

// Notice identifiers of VQSBtApps.
enum NotifyId : unsigned int {
  NOTIFYID_SPPCONNECTIONSTATE = 3,  // SppConnectionState
  NOTIFYID_SPPRECEIVEDDATA = 4,     // SppReceivedData
  NOTIFYID_SPPDATASENDRESULT = 5,   // SppDataSendResult
  NOTIFYID_SPPINFORMATION = 6,      // SppInformation
};

// A link came up or went down.
struct SppConnectionState {
  virtual ~SppConnectionState() = default;

  std::uint8_t deviceId = 0xFF;  // device number, 0..254; 0xFF = none
  std::string uuid;              // the service, written as registerUuid or connectSpp got it
  std::int32_t state = 0;        // 1 = connected, anything else = not connected
};

// Bytes as they came: SPP keeps no borders between messages.
struct SppReceivedData {
  virtual ~SppReceivedData() = default;

  std::uint8_t deviceId = 0xFF;  // device number, 0..254; 0xFF = none
  std::string uuid;              // the service, written as the application wrote it
  VQBinary data;                 // what was read at once
};

// How one sendData ended. Results of one link come in the order of its sends.
struct SppDataSendResult {
  virtual ~SppDataSendResult() = default;

  std::uint8_t deviceId = 0xFF;  // device number, 0..254; 0xFF = none
  std::string uuid;              // the service, written as the application wrote it
  bool result = false;           // true = sent
};

// The whole device list. Receivers compare it with the former one position by position: a device keeps its place as
// long as it is listed, devices of the vendors 0x05AC and 0x004C come last.
struct SppInformation {
  virtual ~SppInformation() = default;

  std::uint8_t header = 0;                                // copied, never interpreted
  std::vector<VQSBtAppsDef::SppInformationImpl> devices;  // 255 at most: receivers count them with 8 bits
  std::uint8_t errorCode = 0;                             // not 0 = the list is no list; receivers ignore it
};

}  // namespace VQSBtAppsNtf
