// A private D-Bus on the stage, and a connection to it.
#pragma once

#include <systemd/sd-bus.h>

#include <cstddef>
#include <string>

namespace bench {

// In the stage's process.
void startBus(int processor);

// Lives until the process ends. `name`: a well-known one to own, or empty.
sd_bus* connectToBus(const std::string& name);

// The size of the array in the next message with this name; the bus's own messages are passed over.
std::size_t receiveFromBus(sd_bus* bus, const char* interface, const char* member, void* buffer);

// Throws the error that a negative result stands for.
int checkBus(int result);

}  // namespace bench
