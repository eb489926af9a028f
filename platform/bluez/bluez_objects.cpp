#include "platform/bluez/bluez_objects.h"

#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include "platform/bluez/bus_read.h"
#include "platform/bluez/log.h"
#include "platform/bluez/modalias.h"

namespace vqbluez {
namespace {

constexpr const char* kService = "org.bluez";
constexpr const char* kAdapterInterface = "org.bluez.Adapter1";
constexpr const char* kDeviceInterface = "org.bluez.Device1";
constexpr const char* kAdapterVariable = "LINKAPP_BLUETOOTH_ADAPTER";
constexpr std::chrono::seconds kAnswerLimit{20};

std::string rule(const std::string& rest) {
  return "type='signal',sender='org.bluez'," + rest;
}

// Where the variable names an adapter, as "hci0" or by its address, the others are not there.
bool isForUs(const std::string& path, const Adapter& adapter) {
  const char* const wanted = getenv(kAdapterVariable);
  return wanted == nullptr || *wanted == '\0' || path.substr(path.rfind('/') + 1) == wanted ||
         strcasecmp(adapter.address.c_str(), wanted) == 0;
}

}  // namespace

const Device* BluezObjects::device(const std::string& path) const {
  const auto found = devices_.find(path);
  return found == devices_.end() ? nullptr : &found->second;
}

void BluezObjects::start(Bus& bus) {
  bus_ = &bus;
  bus.follow(
      "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',member='NameOwnerChanged',"
      "arg0='org.bluez'",
      [this](sd_bus_message* message) { onOwnerChanged(message); });
  bus.follow(rule("interface='org.freedesktop.DBus.ObjectManager',member='InterfacesAdded'"),
             [this](sd_bus_message* message) { onInterfacesAdded(message); });
  bus.follow(rule("interface='org.freedesktop.DBus.ObjectManager',member='InterfacesRemoved'"),
             [this](sd_bus_message* message) { onInterfacesRemoved(message); });
  for (const std::string interface : {kAdapterInterface, kDeviceInterface}) {
    bus.follow(rule("interface='org.freedesktop.DBus.Properties',member='PropertiesChanged',arg0='" + interface + "'"),
               [this](sd_bus_message* message) { onPropertiesChanged(message); });
  }
  const Message question =
      bus.newCall("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetNameOwner");
  if (question != nullptr) {
    sd_bus_message_append(question.get(), "s", kService);
  }
  bus.send(question, kAnswerLimit, [this](const Reply& reply) {
    const char* owner = "";
    if (reply.isOk()) {
      sd_bus_message_read(reply.message.get(), "s", &owner);
    }
    if (state_ == State::kUnknown) {  // else a signal was faster
      onOwner(owner);
    }
  });
}

void BluezObjects::stop() {
  bus_ = nullptr;
  owner_.clear();
  due_.reset();
  forgetAll();
  state_ = State::kUnknown;
}

void BluezObjects::onOwnerChanged(sd_bus_message* message) {
  const char* name = nullptr;
  const char* before = nullptr;
  const char* owner = nullptr;
  if (sd_bus_message_read(message, "sss", &name, &before, &owner) >= 0 && strcmp(name, kService) == 0) {
    onOwner(owner);
  }
}

void BluezObjects::onOwner(const std::string& owner) {
  if (owner == owner_ && state_ != State::kUnknown) {
    return;
  }
  owner_ = owner;
  due_.reset();
  pause_.reset();
  forgetAll();
  if (owner.empty()) {
    setState(State::kAbsent, "no Bluetooth: BlueZ does not run, there is no org.bluez on the bus");
  } else {
    readAll();
  }
}

void BluezObjects::readAll() {
  setState(State::kReading, "");
  const Message call = bus_->newCall(kService, "/", "org.freedesktop.DBus.ObjectManager", "GetManagedObjects");
  const std::string owner = owner_;
  bus_->send(call, kAnswerLimit, [this, owner](const Reply& reply) { onAll(reply, owner); });
}

void BluezObjects::tick(Time now) {
  if (due_ && *due_ <= now) {
    due_.reset();
    readAll();
  }
}

void BluezObjects::onAll(const Reply& reply, const std::string& owner) {
  if (owner != owner_ || state_ != State::kReading) {
    return;  // another one runs by now
  }
  if (!reply.isOk()) {
    forgetAll();  // what signals told meanwhile; they are not followed until the next try
    setState(State::kAbsent, "no Bluetooth: BlueZ does not tell its devices: " + reply.text());
    due_ = Clock::now() + pause_.next();
    return;
  }
  sd_bus_message* const message = reply.message.get();
  const bool isRead = sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "{oa{sa{sv}}}") >= 0;
  while (isRead && sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY, "oa{sa{sv}}") > 0) {
    const char* path = nullptr;
    if (sd_bus_message_read_basic(message, SD_BUS_TYPE_OBJECT_PATH, &path) < 0 || !readObject(path, message) ||
        sd_bus_message_exit_container(message) < 0) {
      break;
    }
  }
  setState(State::kReady, "");
  listener_.onBluezReady();
}

bool BluezObjects::readObject(const std::string& path, sd_bus_message* message) {
  return readDictionary(message, "{sa{sv}}", [&](const char* interface) {
    if (strcmp(interface, kAdapterInterface) == 0) {
      return readAdapter(path, message);
    }
    if (strcmp(interface, kDeviceInterface) == 0) {
      return readDevice(path, message);
    }
    return sd_bus_message_skip(message, "a{sv}") >= 0;
  });
}

void BluezObjects::onInterfacesAdded(sd_bus_message* message) {
  const char* path = nullptr;
  if (state_ != State::kAbsent && sd_bus_message_read_basic(message, SD_BUS_TYPE_OBJECT_PATH, &path) >= 0) {
    readObject(path, message);
  }
}

void BluezObjects::onInterfacesRemoved(sd_bus_message* message) {
  const char* path = nullptr;
  if (sd_bus_message_read_basic(message, SD_BUS_TYPE_OBJECT_PATH, &path) < 0 ||
      sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "s") < 0) {
    return;
  }
  const std::string object = path;
  const char* interface = nullptr;
  while (sd_bus_message_read_basic(message, SD_BUS_TYPE_STRING, &interface) > 0) {
    const auto device = devices_.find(object);
    if (strcmp(interface, kDeviceInterface) == 0 && device != devices_.end()) {
      const Device removed = device->second;
      devices_.erase(device);
      if (isReady()) {
        listener_.onDeviceRemoved(removed);
      }
    } else if (strcmp(interface, kAdapterInterface) == 0 && adapters_.erase(object) != 0 && isReady()) {
      listener_.onAdaptersChanged();
    }
  }
}

void BluezObjects::onPropertiesChanged(sd_bus_message* message) {
  const char* interface = nullptr;
  const char* const path = sd_bus_message_get_path(message);
  if (path == nullptr || sd_bus_message_read_basic(message, SD_BUS_TYPE_STRING, &interface) < 0) {
    return;
  }
  // Only of objects that are known: what came before them is in their own announcement.
  if (strcmp(interface, kAdapterInterface) == 0 && adapters_.count(path) != 0) {
    readAdapter(path, message);
  } else if (strcmp(interface, kDeviceInterface) == 0 && devices_.count(path) != 0) {
    readDevice(path, message);
  }
}

bool BluezObjects::readAdapter(const std::string& path, sd_bus_message* message) {
  Adapter adapter = adapters_[path];
  const bool isRead = readProperties(message, [&](const char* key) {
    if (strcmp(key, "Address") == 0) {
      return readText(message, adapter.address);
    }
    if (strcmp(key, "Powered") == 0) {
      return readFlag(message, adapter.isPowered);
    }
    return skipValue(message);
  });
  if (!isForUs(path, adapter)) {
    adapters_.erase(path);
    return isRead;
  }
  adapters_[path] = adapter;
  if (isReady()) {
    listener_.onAdaptersChanged();
  }
  return isRead;
}

bool BluezObjects::readDevice(const std::string& path, sd_bus_message* message) {
  const auto known = devices_.find(path);
  const bool isNew = known == devices_.end();
  const Device before = isNew ? Device{} : known->second;
  Device device = before;
  device.path = path;
  bool servicesChanged = false;
  const bool isRead = readProperties(message, [&](const char* key) {
    const bool isService = strcmp(key, "UUIDs") == 0 || strcmp(key, "ServicesResolved") == 0;
    servicesChanged = servicesChanged || isService;
    if (strcmp(key, "ServicesResolved") == 0) {
      bool isResolved = false;
      const bool isGood = readFlag(message, isResolved);
      device.isResolved = device.isResolved || isResolved;  // what was known once stays known
      return isGood;
    }
    if (strcmp(key, "Modalias") == 0) {
      std::string modalias;
      const bool isGood = readText(message, modalias);
      const auto vendor = vendorOf(modalias);
      device.vendor = vendor ? vendor : device.vendor;
      return isGood;
    }
    const std::map<std::string, std::string*> texts = {
        {"Address", &device.address}, {"Alias", &device.name}, {"Adapter", &device.adapter}};
    const auto text = texts.find(key);
    if (text != texts.end()) {
      return readText(message, *text->second);
    }
    const std::map<std::string, bool*> flags = {
        {"Paired", &device.isPaired}, {"Blocked", &device.isBlocked}, {"Connected", &device.isConnected}};
    const auto flag = flags.find(key);
    return flag != flags.end() ? readFlag(message, *flag->second) : skipValue(message);
  });
  devices_[path] = device;
  if (isReady()) {
    listener_.onDeviceChanged(devices_[path], isNew ? nullptr : &before, servicesChanged);
  }
  return isRead;
}

void BluezObjects::forgetAll() {
  adapters_.clear();
  devices_.clear();
  if (isReady()) {
    state_ = State::kUnknown;
    listener_.onBluezGone();
  }
}

void BluezObjects::setState(State state, const std::string& reason) {
  state_ = state;
  if (!reason.empty() && reason != reason_) {
    logLine("%s", reason.c_str());
  }
  if (state != State::kReading) {
    reason_ = reason;
  }
}

}  // namespace vqbluez
