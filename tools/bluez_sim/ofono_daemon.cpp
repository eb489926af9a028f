#include "bluez_sim/ofono_daemon.h"

#include <utility>

namespace bluez_sim {
namespace {

constexpr const char* kBusName = "org.ofono";
constexpr const char* kManagerInterface = "org.ofono.Manager";
constexpr const char* kModemInterface = "org.ofono.Modem";
constexpr const char* kWriting = "writing a message";

std::string modemPath(const Phone& phone) {
  return "/hfp" + phone.path();
}

DbusError ofonoError(const char* name, const char* text) {
  return {std::string("org.ofono.Error.") + name, text};
}

Properties propertiesOf(const Phone& phone) {
  std::vector<std::string> interfaces;
  if (phone.isHandsFreeUp) {
    interfaces = {"org.ofono.CallVolume", "org.ofono.VoiceCallManager", "org.ofono.NetworkRegistration",
                  "org.ofono.Handsfree"};
  }
  Properties properties = {{"Online", phone.isHandsFreeUp},
                           {"Powered", phone.isHandsFreeUp},
                           {"Lockdown", false},
                           {"Emergency", false},
                           {"Name", phone.alias.value_or(phone.name.value_or(""))},
                           {"Interfaces", interfaces},
                           {"Features", std::vector<std::string>()},
                           {"Type", std::string("hfp")}};
  if (phone.isHandsFreeUp) {
    properties.emplace_back("Serial", phone.address);
  }
  return properties;
}

}  // namespace

OfonoDaemon::OfonoDaemon(std::shared_ptr<sd_bus> bus, World& world, Faults& faults, bool hasBluez)
    : bus_(std::move(bus)), world_(world), objects_(*bus_, kBusName, faults, false), hasBluez_(false) {
  objects_.add("/", {manager()});
  setHasBluez(hasBluez);
  requestName(*bus_, kBusName);
  world_.addListener(this);
}

OfonoDaemon::~OfonoDaemon() {
  world_.removeListener(this);
  sd_bus_release_name(bus_.get(), kBusName);  // the connection may have another user
}

void OfonoDaemon::setHasBluez(bool hasBluez) {
  if (hasBluez_ == hasBluez) {
    return;
  }
  hasBluez_ = hasBluez;
  for (const auto& [address, phone] : world_.phones()) {
    if (hasBluez) {
      addModem(phone);
    } else {
      removeModem(phone);
    }
  }
}

void OfonoDaemon::onPhoneAdded(const Phone& phone) {
  addModem(phone);
}

void OfonoDaemon::onPhoneRemoved(const Phone& phone) {
  removeModem(phone);
}

void OfonoDaemon::onPhoneChanged(const Phone& phone, const std::vector<std::string>& /*properties*/) {
  if (phone.isPaired) {
    addModem(phone);
  } else {
    removeModem(phone);
  }
}

// In oFono's order: the service level connection is finished before anything is told.
void OfonoDaemon::onHandsFreeChanged(const Phone& phone) {
  if (!objects_.has(modemPath(phone))) {
    return;
  }
  for (const char* const property : {"Powered", "Interfaces", "Online"}) {
    tellChanged(phone, property);
  }
  if (phone.isHandsFreeUp) {
    tellChanged(phone, "Serial");
  }
}

void OfonoDaemon::addModem(const Phone& phone) {
  const std::string path = modemPath(phone);
  if (!hasBluez_ || !phone.hasHandsFree || !phone.isPaired || objects_.has(path)) {
    return;
  }
  objects_.add(path, {modem(phone.address)});
  sd_bus_message* raw = nullptr;
  check(sd_bus_message_new_signal(bus_.get(), &raw, "/", kManagerInterface, "ModemAdded"), kWriting);
  const MessagePtr message = adopt(raw);
  check(sd_bus_message_append_basic(raw, 'o', path.c_str()), kWriting);
  append(*raw, propertiesOf(phone));
  send(message);
}

void OfonoDaemon::removeModem(const Phone& phone) {
  const std::string path = modemPath(phone);
  if (!objects_.has(path)) {
    return;
  }
  objects_.remove(path);
  sd_bus_message* raw = nullptr;
  check(sd_bus_message_new_signal(bus_.get(), &raw, "/", kManagerInterface, "ModemRemoved"), kWriting);
  const MessagePtr message = adopt(raw);
  check(sd_bus_message_append_basic(raw, 'o', path.c_str()), kWriting);
  send(message);
}

Interface OfonoDaemon::manager() {
  return {kManagerInterface,
          {{"GetModems", "", "a(oa{sv})", [this](const Call& call) { getModems(call); }}},
          nullptr,
          nullptr};
}

// Old style: the properties are not those of org.freedesktop.DBus.Properties.
Interface OfonoDaemon::modem(const std::string& address) {
  const auto getProperties = [this, address](const Call& call) {
    const MessagePtr reply = call.newReply();
    append(*reply, propertiesOf(*world_.findPhone(address)));
    call.send(reply);
  };
  return {
      kModemInterface,
      {{"GetProperties", "", "a{sv}", getProperties},
       {"SetProperty", "sv", "", [this, address](const Call& call) { setProperty(call, *world_.findPhone(address)); }}},
      nullptr,
      nullptr};
}

// Powering a modem on is what has oFono connect to the phone.
void OfonoDaemon::setProperty(const Call& call, Phone& phone) {
  const std::string name = readText(call.message());
  const Value value = readVariant(call.message());
  const bool* const isUp = std::get_if<bool>(&value);
  if ((name != "Powered" && name != "Online") || isUp == nullptr) {
    throw ofonoError("InvalidArguments", "Invalid arguments in method call");
  }
  const Adapter* const adapter = world_.findAdapter(phone.adapter);
  if (*isUp && (adapter == nullptr || !adapter->isPowered || !phone.isInRange)) {
    throw ofonoError("Failed", "Operation failed");
  }
  world_.setHandsFree(phone, *isUp);
  call.succeed();
}

void OfonoDaemon::getModems(const Call& call) {
  const MessagePtr reply = call.newReply();
  check(sd_bus_message_open_container(reply.get(), 'a', "(oa{sv})"), kWriting);
  for (const auto& [address, phone] : world_.phones()) {
    if (objects_.has(modemPath(phone))) {
      check(sd_bus_message_open_container(reply.get(), 'r', "oa{sv}"), kWriting);
      check(sd_bus_message_append_basic(reply.get(), 'o', modemPath(phone).c_str()), kWriting);
      append(*reply, propertiesOf(phone));
      check(sd_bus_message_close_container(reply.get()), kWriting);
    }
  }
  check(sd_bus_message_close_container(reply.get()), kWriting);
  call.send(reply);
}

void OfonoDaemon::tellChanged(const Phone& phone, const char* property) {
  for (const auto& [name, value] : propertiesOf(phone)) {
    if (name == property) {
      sd_bus_message* raw = nullptr;
      check(sd_bus_message_new_signal(bus_.get(), &raw, modemPath(phone).c_str(), kModemInterface, "PropertyChanged"),
            kWriting);
      const MessagePtr message = adopt(raw);
      check(sd_bus_message_append_basic(raw, 's', name.c_str()), kWriting);
      append(*raw, value);
      send(message);
    }
  }
}

void OfonoDaemon::send(const MessagePtr& message) {
  sd_bus_send(bus_.get(), message.get(), nullptr);
}

}  // namespace bluez_sim
