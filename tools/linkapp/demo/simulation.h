// Where the program is that simulates Bluetooth.
#pragma once

#include <string>

namespace demo {

// Its path. Empty with the reason where there is none, or where it cannot start a bus.
std::string findSimulation(std::string& reason);

}  // namespace demo
