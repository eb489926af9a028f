// ofonod, with one modem for each paired phone that has hands-free. Lives as long as the daemon runs.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "bluez_sim/faults.h"
#include "bluez_sim/object_tree.h"
#include "bluez_sim/world.h"

namespace bluez_sim {

class OfonoDaemon final : private WorldListener {
 public:
  // Throws BusError. oFono has modems only while there is a bluetoothd.
  OfonoDaemon(std::shared_ptr<sd_bus> bus, World& world, Faults& faults, bool hasBluez);
  ~OfonoDaemon() override;
  OfonoDaemon(const OfonoDaemon&) = delete;
  OfonoDaemon& operator=(const OfonoDaemon&) = delete;

  void setHasBluez(bool hasBluez);

 private:
  void onPhoneAdded(const Phone& phone) override;
  void onPhoneRemoved(const Phone& phone) override;
  void onPhoneChanged(const Phone& phone, const std::vector<std::string>& properties) override;
  void onHandsFreeChanged(const Phone& phone) override;

  void addModem(const Phone& phone);
  void removeModem(const Phone& phone);
  Interface manager();
  Interface modem(const std::string& address);
  void setProperty(const Call& call, Phone& phone);
  void getModems(const Call& call);
  void tellChanged(const Phone& phone, const char* property);
  void send(const MessagePtr& message);

  const std::shared_ptr<sd_bus> bus_;
  World& world_;
  ObjectTree objects_;
  bool hasBluez_;
};

}  // namespace bluez_sim
