// The values that the words of the channel's records take.
#pragma once

#include <cstdint>

constexpr std::uint32_t kServedDeviceId = 1;  // the one device that the channel serves
constexpr std::uint32_t kNoApp = 0;           // app id; where sessions are removed: every app

constexpr std::uint32_t kDeviceConnected = 1;  // connectStatus
constexpr std::uint32_t kConnectTypeBluetooth = 1;
constexpr std::uint32_t kSessionOpened = 1;  // status
constexpr std::uint32_t kSessionClosed = 0;
constexpr std::uint32_t kHandsFreeConnected = 1;  // btConnected

// With this iapType session openings carry app ids, with every other one iAP1 ids.
constexpr std::uint32_t kIapTypeWithAppIds = 1;
