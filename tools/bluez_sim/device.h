// org.bluez.Device1 of one phone.
#pragma once

#include <string>

#include "bluez_sim/connector.h"
#include "bluez_sim/object_tree.h"
#include "bluez_sim/world.h"

namespace bluez_sim {

constexpr const char* kDeviceInterface = "org.bluez.Device1";

Interface deviceInterface(World& world, Connector& connector, const std::string& address);

}  // namespace bluez_sim
