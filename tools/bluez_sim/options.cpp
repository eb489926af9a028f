#include "bluez_sim/options.h"

#include <stdlib.h>

#include <charconv>
#include <cstdio>
#include <system_error>

#include "bluez_sim/commands.h"

namespace bluez_sim {
namespace {

constexpr const char* kBusVariable = "DBUS_SYSTEM_BUS_ADDRESS";

// The value of "--name=VALUE" or "--name VALUE"; false where the argument is another one or its value is missing.
bool takeValue(const std::vector<std::string>& arguments, std::size_t& index, const std::string& name,
               std::string& value) {
  const std::string& argument = arguments[index];
  if (argument == name && index + 1 < arguments.size()) {
    value = arguments[++index];
    return true;
  }
  if (argument.rfind(name + "=", 0) == 0) {
    value = argument.substr(name.size() + 1);
    return true;
  }
  return false;
}

// 0 where it is none.
int sizeOf(const std::string& text) {
  int size = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), size);
  return error == std::errc() && end == text.data() + text.size() && size > 0 ? size : 0;
}

}  // namespace

std::string parseOptions(const std::vector<std::string>& arguments, Options& options) {
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    std::string value;
    if (arguments[i] == "--help" || arguments[i] == "-h") {
      options.isHelp = true;
    } else if (arguments[i] == "--version") {
      options.isVersion = true;
    } else if (arguments[i] == "--own-bus") {
      options.hasOwnBus = true;
    } else if (arguments[i] == "--one-connection") {
      options.sharesConnection = true;
    } else if (arguments[i] == "--stay") {
      options.stays = true;
    } else if (arguments[i] == "--quiet") {
      options.isQuiet = true;
    } else if (arguments[i] == "--json") {
      options.isJson = true;
    } else if (takeValue(arguments, i, "--bus", value)) {
      options.bus = value;
    } else if (takeValue(arguments, i, "--send-buffer", value)) {
      options.sendBuffer = sizeOf(value);
      if (options.sendBuffer == 0) {
        return "'" + value + "' is no size of a send buffer";
      }
    } else {
      return "unknown or incomplete option '" + arguments[i] + "'";
    }
  }
  const char* const variable = getenv(kBusVariable);
  if (options.bus.empty() && !options.hasOwnBus && variable != nullptr) {
    options.bus = variable;
  }
  if (options.bus.empty() && !options.hasOwnBus && !options.isHelp && !options.isVersion) {
    return std::string("no bus: give --own-bus, --bus=ADDRESS or ") + kBusVariable;
  }
  if (!options.bus.empty() && options.hasOwnBus) {
    return "--own-bus and --bus exclude each other";
  }
  return "";
}

void printHelp() {
  printf(
      "usage: linkapp-bluez-sim --own-bus | --bus=ADDRESS [OPTIONS] <COMMANDS\n\n"
      "Simulates bluetoothd, oFono and phones on a D-Bus bus, so that programs with Bluetooth SPP and hands-free run\n"
      "without Bluetooth. Starts with one adapter, hci0, and no phones.\n\n"
      "  --own-bus           starts a dbus-daemon of its own, ends it again, and says its address\n"
      "  --bus=ADDRESS       uses this bus (without both: %s from the environment)\n"
      "  --one-connection    org.bluez and org.ofono come from one connection to the bus\n"
      "  --send-buffer=N     SO_SNDBUF of the links, %d; about twice as much fits in\n"
      "  --stay              does not end with its standard input\n"
      "  --json              answers and what happens as lines of JSON, as scenario files take them\n"
      "  --quiet             tells nothing but answers\n"
      "  --help, --version   this text, and the version\n\n"
      "At a desk:\n"
      "  linkapp-bluez-sim --own-bus\n"
      "  phone 00:AA:02:00:00:01 name=\"My Phone\" services=35de0f64-c263-4a4b-adb6-6b60500d1dbe\n"
      "and in another terminal, with the address that was said:\n"
      "  %s=unix:abstract=... build/dev/examples/spp\n\n"
      "Commands come on standard input, and by D-Bus:\n"
      "  busctl --address=ADDRESS call org.linkapp.BluezSim /org/linkapp/BluezSim org.linkapp.BluezSim1 Do s COMMAND\n"
      "Blanks separate words; \"quotes\" keep them together and know \\\" \\\\ \\n \\t \\r \\xHH. A # begins a "
      "comment.\n"
      "Answers begin with \"= \"; what happens stands in lines of its own, and comes as the signal Said.\n\n%s\n"
      "exit codes: 0 = ended as asked; 1 = failed; 2 = wrong usage\n",
      kBusVariable, Options().sendBuffer, kBusVariable, Commands::help().c_str());
}

}  // namespace bluez_sim
