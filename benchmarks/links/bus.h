// A private D-Bus on the stage, and a connection to it.
#pragma once

#include <systemd/sd-bus.h>

#include <string>

namespace bench {

// In the stage's process.
void startBus(int processor);

// Lives until the process ends. `name`: a well-known one to own, or empty.
sd_bus* connectToBus(const std::string& name);

// Throws the error that a negative result stands for.
int checkBus(int result);

}  // namespace bench
