#include "bluez_sim/device.h"

#include "bluez_sim/bluez_errors.h"

namespace bluez_sim {
namespace {

constexpr std::uint32_t kPhoneClass = 0x5a020c;

Properties propertiesOf(const Phone& phone) {
  std::string dashed = phone.address;
  for (char& c : dashed) {
    c = c == ':' ? '-' : c;
  }
  Properties properties = {{"Address", phone.address},
                           {"AddressType", std::string("public")},
                           {"Alias", phone.alias.value_or(phone.name.value_or(dashed))},
                           {"Class", kPhoneClass},
                           {"Icon", std::string("phone")},
                           {"Paired", phone.isPaired},
                           {"Bonded", phone.isPaired},
                           {"Trusted", phone.isTrusted},
                           {"Blocked", phone.isBlocked},
                           {"LegacyPairing", false},
                           {"Connected", phone.isConnected},
                           {"UUIDs", phone.uuids},
                           {"Adapter", ObjectPath{"/org/bluez/" + phone.adapter}},
                           {"ServicesResolved", phone.isResolved && phone.isConnected}};
  if (phone.name) {
    properties.emplace_back("Name", *phone.name);
  }
  if (phone.modalias) {
    properties.emplace_back("Modalias", *phone.modalias);
  }
  return properties;
}

void setProperty(World& world, Phone& phone, const std::string& name, const Value& value) {
  const bool* const flag = std::get_if<bool>(&value);
  const std::string* const text = std::get_if<std::string>(&value);
  if (name == "Alias" && text != nullptr) {
    phone.alias = *text;
  } else if (name == "Trusted" && flag != nullptr) {
    phone.isTrusted = *flag;
  } else if (name == "Blocked" && flag != nullptr) {
    phone.isBlocked = *flag;
    if (phone.isBlocked) {
      world.setConnected(phone, false);
    }
  } else if (name == "Alias" || name == "Trusted" || name == "Blocked") {
    throw invalidArguments();
  } else {
    throw DbusError{"org.freedesktop.DBus.Error.PropertyReadOnly", "Property '" + name + "' is not writable"};
  }
  world.tellChanged(phone, {name});
}

void connectPhone(World& world, Phone& phone) {
  const Adapter* const adapter = world.findAdapter(phone.adapter);
  if (adapter == nullptr || !adapter->isPowered) {
    throw notReady();
  }
  if (!phone.isInRange) {
    throw connectFailed("page-timeout");
  }
  world.setConnected(phone, true);
}

void pair(World& world, Phone& phone) {
  if (phone.isPaired) {
    throw alreadyExists();
  }
  connectPhone(world, phone);
  phone.isPaired = true;
  world.tellChanged(phone, {"Paired", "Bonded"});
}

}  // namespace

Interface deviceInterface(World& world, Connector& connector, const std::string& address) {
  const auto phone = [&world, address]() -> Phone& { return *world.findPhone(address); };
  return {
      kDeviceInterface,
      {{"Connect", "", "",
        [&world, phone](const Call& call) {
          connectPhone(world, phone());
          call.succeed();
        }},
       {"Disconnect", "", "", [&connector, phone](const Call& call) { connector.disconnect(call, phone()); }},
       {"ConnectProfile", "s", "",
        [&connector, phone](const Call& call) { connector.connectProfile(call, phone(), readText(call.message())); }},
       {"DisconnectProfile", "s", "",
        [&connector, phone](const Call& call) {
          connector.disconnectProfile(call, phone(), readText(call.message()));
        }},
       {"Pair", "", "",
        [&world, phone](const Call& call) {
          pair(world, phone());
          call.succeed();
        }},
       {"CancelPairing", "", "", [](const Call&) { throw doesNotExist(); }}},
      [phone] { return propertiesOf(phone()); },
      [&world, phone](const std::string& name, const Value& value) { setProperty(world, phone(), name, value); }};
}

}  // namespace bluez_sim
