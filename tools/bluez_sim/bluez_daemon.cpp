#include "bluez_sim/bluez_daemon.h"

#include <utility>

#include "bluez_sim/bluez_errors.h"
#include "bluez_sim/device.h"

namespace bluez_sim {
namespace {

constexpr const char* kBusName = "org.bluez";
constexpr const char* kRoot = "/org/bluez";
constexpr const char* kAdapterInterface = "org.bluez.Adapter1";
constexpr std::uint32_t kHeadUnitClass = 0x260408;  // audio/video, hands-free

void succeed(const Call& call) {
  call.succeed();
}

}  // namespace

BluezDaemon::BluezDaemon(Loop& loop, std::shared_ptr<sd_bus> bus, World& world, Faults& faults)
    : bus_(std::move(bus)),
      world_(world),
      objects_(*bus_, kBusName, faults, true),
      profiles_(*bus_, *this),
      connector_(loop, *bus_, world, profiles_) {
  objects_.add(kRoot, {profiles_.interface(), agentManager()});
  for (const auto& [name, adapter] : world_.adapters()) {
    onAdapterAdded(adapter);
  }
  for (const auto& [address, phone] : world_.phones()) {
    onPhoneAdded(phone);
  }
  objects_.announceChanges();
  requestName(*bus_, kBusName);
  world_.addListener(this);
}

BluezDaemon::~BluezDaemon() {
  world_.removeListener(this);
  sd_bus_release_name(bus_.get(), kBusName);  // the connection may have another user
}

void BluezDaemon::shutDown() {
  profiles_.releaseAll();
  for (const auto& [address, phone] : world_.phones()) {
    world_.setConnected(*world_.findPhone(address), false);
  }
}

void BluezDaemon::onAdapterAdded(const Adapter& adapter) {
  objects_.add(adapter.path(), {adapterInterface(adapter.name)});
}

void BluezDaemon::onAdapterRemoved(const Adapter& adapter) {
  objects_.remove(adapter.path());
}

void BluezDaemon::onAdapterChanged(const Adapter& adapter, const std::vector<std::string>& properties) {
  for (const auto& [address, phone] : world_.phones()) {
    if (phone.adapter == adapter.name && !adapter.isPowered) {
      connector_.cancel(phone, connectFailed("canceled"));
    }
  }
  objects_.tellChanged(adapter.path(), kAdapterInterface, properties);
}

void BluezDaemon::onPhoneAdded(const Phone& phone) {
  objects_.add(phone.path(), {deviceInterface(world_, connector_, phone.address)});
}

void BluezDaemon::onPhoneRemoved(const Phone& phone) {
  connector_.cancel(phone, connectFailed("canceled"));
  objects_.remove(phone.path());
}

void BluezDaemon::onPhoneChanged(const Phone& phone, const std::vector<std::string>& properties) {
  objects_.tellChanged(phone.path(), kDeviceInterface, properties);
}

void BluezDaemon::onProfilesChanged() {
  for (const auto& [name, adapter] : world_.adapters()) {
    objects_.tellChanged(adapter.path(), kAdapterInterface, {"UUIDs"});
  }
}

void BluezDaemon::onOwnerGone(const std::string& owner) {
  connector_.dropOwner(owner);
}

void BluezDaemon::onProfileSaid(const std::string& line) {
  world_.say(line);
}

// Pairing needs no agent here; clients that bring one are welcome.
Interface BluezDaemon::agentManager() const {
  return {"org.bluez.AgentManager1",
          {{"RegisterAgent", "os", "", &succeed},
           {"UnregisterAgent", "o", "", &succeed},
           {"RequestDefaultAgent", "o", "", &succeed}},
          nullptr,
          nullptr};
}

Interface BluezDaemon::adapterInterface(const std::string& name) {
  const auto properties = [this, name] {
    const Adapter& adapter = world_.adapters().at(name);
    return Properties{{"Address", adapter.address}, {"AddressType", std::string("public")},
                      {"Name", adapter.name},       {"Alias", adapter.name},
                      {"Class", kHeadUnitClass},    {"Powered", adapter.isPowered},
                      {"Discoverable", false},      {"Pairable", true},
                      {"UUIDs", profiles_.uuids()}, {"Discovering", false}};
  };
  const auto set = [this, name](const std::string& property, const Value& value) {
    setAdapterProperty(name, property, value);
  };
  return {kAdapterInterface,
          {{"StartDiscovery", "", "", &succeed},
           {"StopDiscovery", "", "", &succeed},
           {"SetDiscoveryFilter", "a{sv}", "", &succeed},
           {"RemoveDevice", "o", "", [this](Call& call) { removeDevice(call); }}},
          properties,
          set};
}

void BluezDaemon::setAdapterProperty(const std::string& name, const std::string& property, const Value& value) {
  const bool* const flag = std::get_if<bool>(&value);
  if (property != "Powered") {
    throw DbusError{"org.freedesktop.DBus.Error.PropertyReadOnly", "Property '" + property + "' is not writable"};
  }
  if (flag == nullptr) {
    throw invalidArguments();
  }
  world_.setPowered(*world_.findAdapter(name), *flag);
}

void BluezDaemon::removeDevice(const Call& call) {
  Phone* const phone = world_.findPhoneByPath(readText(call.message()));
  if (phone == nullptr) {
    throw doesNotExist();
  }
  call.succeed();
  world_.removePhone(*phone);
}

}  // namespace bluez_sim
