// linkapp-bluez-sim: a simulated bluetoothd and oFono with phones, for tests, the demo and desks without Bluetooth.
#include <signal.h>

#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "bluez_sim/commands.h"
#include "bluez_sim/console.h"
#include "bluez_sim/control.h"
#include "bluez_sim/daemons.h"
#include "bluez_sim/json_lines.h"
#include "bluez_sim/loop.h"
#include "bluez_sim/options.h"
#include "bluez_sim/own_bus.h"
#include "bluez_sim/world.h"

namespace {

using namespace bluez_sim;

void run(const Options& options) {
  signal(SIGPIPE, SIG_IGN);
  Loop loop;
  const Watch onTerminate = loop.onSignal(SIGTERM, [&loop] { loop.stop(); });
  const Watch onInterrupt = loop.onSignal(SIGINT, [&loop] { loop.stop(); });
  std::optional<OwnBus> ownBus;
  if (options.hasOwnBus) {
    ownBus.emplace();
  }
  const std::string bus = ownBus ? ownBus->address() : options.bus;

  Control* control = nullptr;
  const auto say = [&](const std::string& line) {
    if (!options.isQuiet) {
      Console::say(options.isJson ? eventLine(line) : line);
    }
    if (control != nullptr) {
      control->say(line);
    }
  };
  World world(loop, say, options.sendBuffer);
  world.addAdapter(Adapter());
  Daemons daemons(loop, world, bus, options.sharesConnection);
  Commands commands(loop, world, daemons);
  Control theControl(loop, bus, commands);
  daemons.startBluez();
  daemons.startOfono();
  control = &theControl;
  const Console console(loop, commands, options.isJson, [&] {
    if (!options.stays) {
      loop.stop();
    }
  });
  Console::say(options.isJson ? readyLine(bus) : "ready on " + bus);
  loop.run();
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  const std::string mistake = parseOptions({argv + 1, argv + argc}, options);
  if (!mistake.empty()) {
    fprintf(stderr, "linkapp-bluez-sim: %s; see --help\n", mistake.c_str());
    return 2;
  }
  if (options.isHelp) {
    printHelp();
    return 0;
  }
  if (options.isVersion) {
    printf("linkapp-bluez-sim " LINKAPP_VERSION "\n");
    return 0;
  }
  try {
    run(options);
    return 0;
  } catch (const std::exception& error) {
    fprintf(stderr, "linkapp-bluez-sim: %s\n", error.what());
    return 1;
  }
}
