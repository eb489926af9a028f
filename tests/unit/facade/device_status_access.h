// What VQSLinkAppDeviceStatus keeps from one notice to the next. Nobody is told, but every later report depends on it.
#pragma once

#include <vector>

#include "LinkAppCommon/VQSLinkAppDeviceStatus.h"

namespace device_status_access {

const std::vector<VQSLinkAppDeviceStatus::DeviceInfo>& devices(const VQSLinkAppDeviceStatus& object);
const VQSBtAppsNtf::SppInformation& lastSppInfo(const VQSLinkAppDeviceStatus& object);
const VQSBtAppsNtf::SppConnectionState& lastConnectionState(const VQSLinkAppDeviceStatus& object);

}  // namespace device_status_access
