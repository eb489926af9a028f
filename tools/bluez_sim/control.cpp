#include "bluez_sim/control.h"

namespace bluez_sim {
namespace {

constexpr const char* kBusName = "org.linkapp.BluezSim";
constexpr const char* kPath = "/org/linkapp/BluezSim";
constexpr const char* kInterface = "org.linkapp.BluezSim1";

}  // namespace

Control::Control(Loop& loop, const std::string& busAddress, Commands& commands)
    : commands_(commands), bus_(openBus(busAddress, loop.event())), objects_(*bus_, kBusName, noFaults_, false) {
  objects_.add(kPath,
               {{kInterface, {{"Do", "s", "s", [this](const Call& call) { doCommand(call); }}}, nullptr, nullptr}});
  requestName(*bus_, kBusName);
}

void Control::say(const std::string& line) {
  sd_bus_emit_signal(bus_.get(), kPath, kInterface, "Said", "s", line.c_str());  // without a bus nobody hears it
}

void Control::doCommand(const Call& call) {
  std::string answer;
  try {
    answer = commands_.run(readText(call.message()));
  } catch (const std::exception& error) {
    throw DbusError{"org.linkapp.BluezSim1.Error", error.what()};
  }
  const MessagePtr reply = call.newReply();
  check(sd_bus_message_append(reply.get(), "s", answer.c_str()), "an answer");
  call.send(reply);
}

}  // namespace bluez_sim
