// What the channel's ends tell their observers, as lines, the same for product and transcription.
#pragma once

#include <cstdint>
#include <string>

#include "LinkAppCommon/iOSAppRecords.h"

namespace channel_lines {

inline std::string number(std::uint64_t value) {
  return std::to_string(value) + " ";
}

// `size` is the argument that goes with the record.
inline std::string deviceInfo(std::uint8_t deviceId, const std::string& btAddress, std::uint32_t btSppStatus,
                              const std::string& btSppName, std::uint32_t usbStatus, const std::string& usbName,
                              std::uint32_t iapVersion, std::uint32_t hfpConnected, unsigned int size) {
  return "device " + number(deviceId) + btAddress + " " + number(btSppStatus) + btSppName + " " + number(usbStatus) +
         usbName + " " + number(iapVersion) + number(hfpConnected) + number(size);
}

inline std::string sendResult(std::uint32_t deviceId, std::uint32_t appId, const std::string& appName,
                              std::uint32_t result, unsigned int size) {
  return "result " + number(deviceId) + number(appId) + appName + " " + number(result) + number(size);
}

inline std::string playback(std::uint32_t deviceId, const std::string& appName, unsigned int size) {
  return "playback " + number(deviceId) + appName + " " + number(size);
}

// `bytes` are the 4096 of the array.
inline std::string commData(std::uint32_t deviceId, const std::string& appName, std::uint32_t dataSize,
                            std::uint32_t sessionId, const std::string& bytes, unsigned int size) {
  return "data " + number(deviceId) + appName + " " + number(dataSize) + number(sessionId) + number(size) + bytes;
}

inline std::string launchRequest(std::uint32_t deviceId, std::uint32_t appId, const std::string& launchString,
                                 std::uint32_t method, unsigned int size) {
  return "launch " + number(deviceId) + number(appId) + launchString + " " + number(method) + number(size);
}

}  // namespace channel_lines
