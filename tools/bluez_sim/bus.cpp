#include "bluez_sim/bus.h"

#include <cstring>

namespace bluez_sim {

MessagePtr adopt(sd_bus_message* message) {
  return MessagePtr(message, [](sd_bus_message* last) { sd_bus_message_unref(last); });
}

MessagePtr share(sd_bus_message* message) {
  return adopt(sd_bus_message_ref(message));
}

int check(int result, const std::string& what) {
  if (result < 0) {
    throw BusError(what + ": " + strerror(-result));
  }
  return result;
}

BusPtr openBus(const std::string& address, sd_event* event) {
  sd_bus* raw = nullptr;
  check(sd_bus_new(&raw), "a new bus connection");
  BusPtr bus(raw);
  check(sd_bus_set_address(raw, address.c_str()), "the bus address '" + address + "'");
  check(sd_bus_set_bus_client(raw, 1), "a bus client");
  check(sd_bus_start(raw), "cannot reach a bus at '" + address + "'");
  check(sd_bus_attach_event(raw, event, SD_EVENT_PRIORITY_NORMAL), "the event loop");
  return bus;
}

void requestName(sd_bus& bus, const std::string& name) {
  const int result = sd_bus_request_name(&bus, name.c_str(), 0);
  if (result == -EEXIST) {
    throw BusError("the name " + name + " is taken on this bus: is the real daemon, or another simulation, running?");
  }
  check(result, "the name " + name);
}

}  // namespace bluez_sim
