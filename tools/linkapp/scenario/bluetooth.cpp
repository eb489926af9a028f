#include "scenario/bluetooth.h"

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "bluez_sim/own_bus.h"

namespace scenario {
namespace {

constexpr const char* kBusVariable = "DBUS_SYSTEM_BUS_ADDRESS";
constexpr const char* kNoBus = "unix:path=/nonexistent";

}  // namespace

Bluetooth::Bluetooth(const Scenario& scenario, bool isApart) {
  const bool isWanted = std::any_of(scenario.processes.begin(), scenario.processes.end(),
                                    [](const ProcessLine& line) { return line.kind->name == kBluetoothKind; });
  if (isWanted) {
    bus_ = std::make_unique<bluez_sim::OwnBus>();
    setenv(kBusVariable, bus_->address().c_str(), 1);
  } else if (isApart) {
    setenv(kBusVariable, kNoBus, 1);
  }
}

Bluetooth::~Bluetooth() = default;

std::string findProgram(const std::string& name) {
  const std::filesystem::path folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  for (const auto& candidate : {folder / name, folder.parent_path() / "bluez_sim" / name}) {
    if (access(candidate.c_str(), X_OK) == 0) {
      return candidate;
    }
  }
  throw std::runtime_error(name + " was not built");
}

}  // namespace scenario
