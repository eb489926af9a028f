// What a scenario with simulated Bluetooth needs around it: a D-Bus of its own, and the program that simulates.
#pragma once

#include <memory>
#include <string>

#include "scenario/scenario.h"

namespace bluez_sim {
class OwnBus;
}

namespace scenario {

// The bus is there before the first process is started and after the last has ended, as on a head unit; what comes and
// goes is the simulation's daemons. Without such a process in the file there is no bus, and where the scenario runs
// apart from the machine, none of its processes meets the machine's Bluetooth.
class Bluetooth {
 public:
  Bluetooth(const Scenario& scenario, bool isApart);  // throws std::exception
  ~Bluetooth();
  Bluetooth(const Bluetooth&) = delete;
  Bluetooth& operator=(const Bluetooth&) = delete;

 private:
  std::unique_ptr<bluez_sim::OwnBus> bus_;
};

// A program beside this one, or where the build leaves it. Throws std::runtime_error where it is not there.
std::string findProgram(const std::string& name);

}  // namespace scenario
