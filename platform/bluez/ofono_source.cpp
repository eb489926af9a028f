#include "platform/bluez/ofono_source.h"

#include <string.h>

#include <utility>

#include "platform/bluez/bus_read.h"
#include "platform/bluez/log.h"

namespace vqbluez {
namespace {

constexpr const char* kService = "org.ofono";
constexpr const char* kManager = "org.ofono.Manager";
constexpr const char* kModem = "org.ofono.Modem";
constexpr std::chrono::seconds kAnswerLimit{20};

// oFono names the modem of a phone after BlueZ's object.
constexpr const char* kPathPrefix = "/hfp";

std::string deviceOf(const std::string& modem) {
  return modem.compare(0, strlen(kPathPrefix), kPathPrefix) == 0 ? modem.substr(strlen(kPathPrefix)) : "";
}

std::string rule(const std::string& interface, const std::string& member) {
  return "type='signal',sender='org.ofono',interface='" + interface + "',member='" + member + "'";
}

}  // namespace

void OfonoSource::start(Bus& bus, Report report) {
  bus_ = &bus;
  report_ = std::move(report);
  bus.follow(
      "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',member='NameOwnerChanged',"
      "arg0='org.ofono'",
      [this](sd_bus_message* message) {
        const char* name = nullptr;
        const char* before = nullptr;
        const char* owner = nullptr;
        if (sd_bus_message_read(message, "sss", &name, &before, &owner) >= 0) {
          forgetAll();
          due_.reset();
          pause_.reset();
          if (*owner != '\0') {
            askForModems();
          }
        }
      });
  bus.follow(rule(kManager, "ModemAdded"), [this](sd_bus_message* message) { onModem(message); });
  bus.follow(rule(kManager, "ModemRemoved"), [this](sd_bus_message* message) {
    const char* path = nullptr;
    if (sd_bus_message_read_basic(message, SD_BUS_TYPE_OBJECT_PATH, &path) >= 0) {
      remove(path);
    }
  });
  bus.follow(rule(kModem, "PropertyChanged"), [this](sd_bus_message* message) { onProperty(message); });
  askForModems();
}

void OfonoSource::stop() {
  bus_ = nullptr;
  due_.reset();
  pause_.reset();
  forgetAll();
}

void OfonoSource::tick(Time now) {
  if (due_ && *due_ <= now) {
    due_.reset();
    askForModems();
  }
}

void OfonoSource::askForModems() {
  bus_->send(bus_->newCall(kService, "/", kManager, "GetModems"), kAnswerLimit,
             [this](const Reply& reply) { onModems(reply); });
}

void OfonoSource::onModems(const Reply& reply) {
  if (!reply.isOk()) {
    // Nobody on the other side is no fault: hands-free links are simply not known then.
    if (reply.errorName != SD_BUS_ERROR_NAME_HAS_NO_OWNER && reply.errorName != SD_BUS_ERROR_SERVICE_UNKNOWN) {
      if (reply.text() != reason_) {
        reason_ = reply.text();
        logLine("oFono does not tell its modems: %s", reason_.c_str());
      }
      due_ = Clock::now() + pause_.next();
    }
    return;
  }
  reason_.clear();
  sd_bus_message* const message = reply.message.get();
  if (sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "(oa{sv})") < 0) {
    return;
  }
  while (sd_bus_message_enter_container(message, SD_BUS_TYPE_STRUCT, "oa{sv}") > 0) {
    onModem(message);
    if (sd_bus_message_exit_container(message) < 0) {
      return;
    }
  }
}

// Stands before a path and the modem's properties.
void OfonoSource::onModem(sd_bus_message* message) {
  const char* path = nullptr;
  if (sd_bus_message_read_basic(message, SD_BUS_TYPE_OBJECT_PATH, &path) < 0) {
    return;
  }
  const std::string object = path;
  Modem modem;
  readProperties(message, [&](const char* key) {
    readValue(message, key, modem);
    return true;
  });
  set(object, modem);
}

void OfonoSource::onProperty(sd_bus_message* message) {
  const char* const path = sd_bus_message_get_path(message);
  const auto known = path == nullptr ? modems_.end() : modems_.find(path);
  const char* key = nullptr;
  if (known != modems_.end() && sd_bus_message_read_basic(message, SD_BUS_TYPE_STRING, &key) >= 0) {
    Modem modem = known->second;
    readValue(message, key, modem);
    set(std::string(known->first), modem);
  }
}

void OfonoSource::readValue(sd_bus_message* message, const char* key, Modem& modem) {
  if (strcmp(key, "Online") == 0) {
    readFlag(message, modem.isOnline);
  } else if (strcmp(key, "Type") == 0) {
    std::string type;
    readText(message, type);
    modem.isHandsFree = type == "hfp";
  } else {
    skipValue(message);
  }
}

void OfonoSource::set(const std::string& path, const Modem& modem) {
  Modem& known = modems_[path];
  const bool wasConnected = known.isHandsFree && known.isOnline;
  known = modem;
  const bool isConnected = modem.isHandsFree && modem.isOnline;
  if (isConnected != wasConnected) {
    report_(deviceOf(path), isConnected);
  }
}

void OfonoSource::remove(const std::string& path) {
  set(path, Modem{});
  modems_.erase(path);
}

void OfonoSource::forgetAll() {
  while (!modems_.empty()) {
    remove(std::string(modems_.begin()->first));
  }
}

}  // namespace vqbluez
