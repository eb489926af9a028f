// bluetoothd: lives as long as the daemon runs. Destroying it is kill -9.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "bluez_sim/connector.h"
#include "bluez_sim/faults.h"
#include "bluez_sim/object_tree.h"
#include "bluez_sim/profiles.h"
#include "bluez_sim/world.h"

namespace bluez_sim {

class BluezDaemon final : private WorldListener, private Profiles::Listener {
 public:
  // Exports everything and takes the name. Throws BusError.
  BluezDaemon(Loop& loop, std::shared_ptr<sd_bus> bus, World& world, Faults& faults);
  ~BluezDaemon() override;
  BluezDaemon(const BluezDaemon&) = delete;
  BluezDaemon& operator=(const BluezDaemon&) = delete;

  // What SIGTERM has it do before it ends: profiles are released, links and ACL links go down.
  void shutDown();

  Connector& connector() { return connector_; }
  const Profiles& profiles() const { return profiles_; }

 private:
  void onAdapterAdded(const Adapter& adapter) override;
  void onAdapterRemoved(const Adapter& adapter) override;
  void onAdapterChanged(const Adapter& adapter, const std::vector<std::string>& properties) override;
  void onPhoneAdded(const Phone& phone) override;
  void onPhoneRemoved(const Phone& phone) override;
  void onPhoneChanged(const Phone& phone, const std::vector<std::string>& properties) override;
  void onProfilesChanged() override;
  void onOwnerGone(const std::string& owner) override;
  void onProfileSaid(const std::string& line) override;

  Interface agentManager() const;
  Interface adapterInterface(const std::string& name);
  void setAdapterProperty(const std::string& name, const std::string& property, const Value& value);
  void removeDevice(const Call& call);

  const std::shared_ptr<sd_bus> bus_;
  World& world_;
  ObjectTree objects_;
  Profiles profiles_;
  Connector connector_;
};

}  // namespace bluez_sim
