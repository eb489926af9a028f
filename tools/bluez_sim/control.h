// The simulation's own D-Bus interface, for programs on the same bus:
//   busctl --address=ADDRESS call org.linkapp.BluezSim /org/linkapp/BluezSim org.linkapp.BluezSim1 Do s "phones"
// Do(s) -> (s) runs a command; the signal Said(s) tells what happens.
#pragma once

#include <string>

#include "bluez_sim/bus.h"
#include "bluez_sim/commands.h"
#include "bluez_sim/faults.h"
#include "bluez_sim/loop.h"
#include "bluez_sim/object_tree.h"

namespace bluez_sim {

class Control {
 public:
  // On a connection of its own, which restarts of the daemons leave alone; it ends with the bus. Throws BusError.
  Control(Loop& loop, const std::string& busAddress, Commands& commands);
  Control(const Control&) = delete;
  Control& operator=(const Control&) = delete;

  void say(const std::string& line);

 private:
  void doCommand(const Call& call);

  Commands& commands_;
  Faults noFaults_;
  const BusPtr bus_;
  ObjectTree objects_;
};

}  // namespace bluez_sim
