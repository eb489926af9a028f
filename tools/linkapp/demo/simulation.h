// Where the program is that simulates Bluetooth.
#pragma once

#include <string>

namespace demo {

struct Simulation {
  std::string program;  // its path; empty where there is none, or where it cannot start a bus
  std::string whyNot;
};

// Before this process goes into a mount namespace of its own: after that the kernel may name this program by a path
// that leads nowhere (in a chroot it does).
Simulation findSimulation();

}  // namespace demo
