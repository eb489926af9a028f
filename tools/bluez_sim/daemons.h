// Starts and ends the two daemons, and their connections to the bus.
#pragma once

#include <memory>
#include <string>

#include "bluez_sim/bluez_daemon.h"
#include "bluez_sim/faults.h"
#include "bluez_sim/loop.h"
#include "bluez_sim/ofono_daemon.h"
#include "bluez_sim/world.h"

namespace bluez_sim {

class Daemons {
 public:
  // `sharesConnection`: both daemons speak from one connection, as where one program owns both names.
  Daemons(Loop& loop, World& world, const std::string& busAddress, bool sharesConnection);
  Daemons(const Daemons&) = delete;
  Daemons& operator=(const Daemons&) = delete;

  // Null while it does not run.
  BluezDaemon* bluez() { return bluez_.get(); }
  OfonoDaemon* ofono() { return ofono_.get(); }
  Faults& faults() { return faults_; }

  // What runs already, or does not run, stays as it is. Starting throws BusError.
  void startBluez();
  void stopBluez();  // as SIGTERM does
  void killBluez();  // as SIGKILL does: links stay up
  void startOfono();
  void killOfono();  // SIGTERM does the same: the phones' hands-free links go down

 private:
  std::shared_ptr<sd_bus> connect();
  void watchBus(const std::shared_ptr<sd_bus>& bus);
  static int onDisconnected(sd_bus_message* message, void* daemons, sd_bus_error* error);
  void onBusGone();

  Loop& loop_;
  World& world_;
  const std::string busAddress_;
  const bool sharesConnection_;
  Faults faults_;
  std::weak_ptr<sd_bus> shared_;
  std::unique_ptr<BluezDaemon> bluez_;
  std::unique_ptr<OfonoDaemon> ofono_;
  Watch busGone_;
};

}  // namespace bluez_sim
