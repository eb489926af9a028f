// A method call whose answer is awaited by the event loop.
#pragma once

#include <cstdint>
#include <functional>

#include "bluez_sim/bus.h"

namespace bluez_sim {

// `onReply` gets the reply or the error; not called any more once the connection is closed. Throws BusError where the
// message cannot be sent.
void callAsync(sd_bus& bus, sd_bus_message& message, std::uint64_t timeoutUs,
               std::function<void(sd_bus_message& reply)> onReply);

}  // namespace bluez_sim
