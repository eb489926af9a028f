// The commands by which people, tests and programs drive the simulation.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "bluez_sim/daemons.h"
#include "bluez_sim/loop.h"
#include "bluez_sim/words.h"
#include "bluez_sim/world.h"

namespace bluez_sim {

class Commands {
 public:
  Commands(Loop& loop, World& world, Daemons& daemons);
  Commands(const Commands&) = delete;
  Commands& operator=(const Commands&) = delete;

  // Runs one line: its answer, one line but for help. Throws CommandError, and BusError from daemons.
  std::string run(const std::string& line);

  static std::string help();

 private:
  using Handler = std::string (Commands::*)(const Words& words);
  struct Entry {
    const char* name;
    std::size_t least;  // words, the name included
    std::size_t most;
    Handler handler;
    const char* usage;
    const char* purpose;
  };
  static const std::vector<Entry>& entries();

  std::string help(const Words& words);
  std::string quit(const Words& words);
  std::string adapter(const Words& words);
  std::string phone(const Words& words);
  std::string phones(const Words& words);
  std::string forget(const Words& words);
  std::string refuse(const Words& words);
  std::string release(const Words& words);
  std::string connect(const Words& words);
  std::string drop(const Words& words);
  std::string acl(const Words& words);
  std::string send(const Words& words);
  std::string say(const Words& words);
  std::string traffic(const Words& words);
  std::string handsFree(const Words& words);
  std::string bluetoothd(const Words& words);
  std::string ofonod(const Words& words);
  std::string fail(const Words& words);
  std::string pretend(const Words& words);
  std::string mute(const Words& words);
  std::string lose(const Words& words);
  std::string profiles(const Words& words);
  std::string state(const Words& words);

  Phone& phoneAt(const std::string& word);
  Link& linkTo(const std::string& address, const std::string& uuid);
  BluezDaemon& runningBluez();

  Loop& loop_;
  World& world_;
  Daemons& daemons_;
  Watch ending_;
};

}  // namespace bluez_sim
