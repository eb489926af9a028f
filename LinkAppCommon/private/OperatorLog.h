// What the operator's sources share: the name under which they log, and the number that means no device.
#pragma once

#include <cstdint>

#include "VQFramework/Debug/VQDbgOutput.h"

constexpr const char* kOperatorLogFile = "LinkAppCommon/private/VQSLinkAppOperator";

constexpr std::uint8_t kNoDevice = 255;
