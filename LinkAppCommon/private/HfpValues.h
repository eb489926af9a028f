// What the sources of LinkAppHfpWrapper share.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "LinkAppCommon/LinkAppHfpWrapper.h"

// HfpStatus::deviceKind.
constexpr std::uint32_t kOtherDevice = 0;
constexpr std::uint32_t kAppleDevice = 1;

constexpr std::uint8_t kNoDevice = 255;

inline auto isDevice(std::uint8_t deviceId) {
  return [deviceId](const LinkAppHfpWrapperListener::HfpStatus& status) { return status.deviceId == deviceId; };
}

// The first entry of the device, or null.
inline LinkAppHfpWrapperListener::HfpStatus* findStatus(std::vector<LinkAppHfpWrapperListener::HfpStatus>& list,
                                                        std::uint8_t deviceId) {
  const auto found = std::find_if(list.begin(), list.end(), isDevice(deviceId));
  return found != list.end() ? &*found : nullptr;
}
