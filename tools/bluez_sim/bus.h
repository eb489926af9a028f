// Ownership for what libsystemd hands out, and connections to a bus.
#pragma once

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace bluez_sim {

struct BusDeleter {
  void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
};
using BusPtr = std::unique_ptr<sd_bus, BusDeleter>;

struct SlotDeleter {
  void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
};
using SlotPtr = std::unique_ptr<sd_bus_slot, SlotDeleter>;

// Shared: a call may be kept until its answer is known.
using MessagePtr = std::shared_ptr<sd_bus_message>;
MessagePtr adopt(sd_bus_message* message);  // takes over the caller's reference
MessagePtr share(sd_bus_message* message);  // adds one

class BusError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Throws BusError that names `what`, where `result` is an error of libsystemd. Hands on other results.
int check(int result, const std::string& what);

// A connection to the bus at `address`, its messages taken by `event`. Throws BusError.
BusPtr openBus(const std::string& address, sd_event* event);

void requestName(sd_bus& bus, const std::string& name);

}  // namespace bluez_sim
