#include "bluez_sim/async_call.h"

#include <cstdio>
#include <utility>

namespace bluez_sim {
namespace {

using OnReply = std::function<void(sd_bus_message&)>;

// Exceptions end here: the frames below are C.
int onMessage(sd_bus_message* reply, void* onReply, sd_bus_error* /*error*/) {
  try {
    (*static_cast<OnReply*>(onReply))(*reply);
  } catch (const std::exception& error) {
    fprintf(stderr, "linkapp-bluez-sim: %s\n", error.what());
  }
  return 0;
}

}  // namespace

void callAsync(sd_bus& bus, sd_bus_message& message, std::uint64_t timeoutUs, OnReply onReply) {
  auto function = std::make_unique<OnReply>(std::move(onReply));
  sd_bus_slot* slot = nullptr;
  check(sd_bus_call_async(&bus, &slot, &message, &onMessage, function.get(), timeoutUs), "calling a method");
  // The slot lives until the answer has come or the connection ends, and the function with it.
  sd_bus_slot_set_destroy_callback(slot, [](void* ended) { delete static_cast<OnReply*>(ended); });
  function.release();  // NOLINT(bugprone-unused-return-value): the slot owns it now
  sd_bus_slot_set_floating(slot, 1);
  sd_bus_slot_unref(slot);
}

}  // namespace bluez_sim
