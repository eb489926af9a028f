// What the system bus and BlueZ say. One question is asked; no service is started by it, and nothing is followed.
#include <errno.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <memory>
#include <system_error>

#include "doctor/system.h"
#include "platform/bluez/bus_read.h"
#include "text/fields.h"

namespace doctor {
namespace {

constexpr std::uint64_t kAnswerMicroseconds = 5'000'000;
constexpr const char* kDefaultAddress = "unix:path=/run/dbus/system_bus_socket";
constexpr const char* kPolicies[] = {"/usr/share/dbus-1/system.d/linkapp-bluez.conf",
                                     "/etc/dbus-1/system.d/linkapp-bluez.conf"};

struct BusClose {
  void operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }
};
struct MessageUnref {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, MessageUnref>;

class Error {
 public:
  Error() = default;
  ~Error() { sd_bus_error_free(&error_); }
  Error(const Error&) = delete;
  Error& operator=(const Error&) = delete;

  sd_bus_error* get() { return &error_; }
  bool is(const char* name) const { return sd_bus_error_has_name(&error_, name) == 1; }
  std::string text(int result) const {
    return error_.name == nullptr
               ? std::generic_category().message(-result)
               : std::string(error_.name) + ": " + (error_.message == nullptr ? "" : text::quoted(error_.message));
  }

 private:
  sd_bus_error error_ = {nullptr, nullptr, 0};
};

std::string addressOfBus() {
  const char* const chosen = getenv("DBUS_SYSTEM_BUS_ADDRESS");
  return chosen != nullptr && *chosen != '\0' ? chosen : kDefaultAddress;
}

bool isThere(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0;
}

std::vector<std::string> readTexts(sd_bus_message* message) {
  std::vector<std::string> texts;
  if (sd_bus_message_enter_container(message, 'v', "as") <= 0) {
    vqbluez::skipValue(message);
    return texts;
  }
  const char* text = nullptr;
  if (sd_bus_message_enter_container(message, 'a', "s") > 0) {
    while (sd_bus_message_read_basic(message, 's', &text) > 0) {
      texts.emplace_back(text);
    }
    sd_bus_message_exit_container(message);
  }
  sd_bus_message_exit_container(message);
  return texts;
}

bool readAdapter(sd_bus_message* message, const std::string& path, Bus& bus) {
  Adapter adapter;
  adapter.name = path.substr(path.rfind('/') + 1);
  const bool isRead = vqbluez::readProperties(message, [&](const char* key) {
    const std::string name = key;
    return name == "Address"   ? vqbluez::readText(message, adapter.address)
           : name == "Powered" ? vqbluez::readFlag(message, adapter.isPowered)
                               : vqbluez::skipValue(message);
  });
  bus.adapters.push_back(adapter);
  return isRead;
}

bool readDevice(sd_bus_message* message, Bus& bus) {
  BluetoothDevice device;
  const bool isRead = vqbluez::readProperties(message, [&](const char* key) {
    const std::string name = key;
    if (name == "UUIDs") {
      device.uuids = readTexts(message);
      return true;
    }
    return name == "Address"     ? vqbluez::readText(message, device.address)
           : name == "Paired"    ? vqbluez::readFlag(message, device.isPaired)
           : name == "Connected" ? vqbluez::readFlag(message, device.isConnected)
                                 : vqbluez::skipValue(message);
  });
  bus.devices.push_back(device);
  return isRead;
}

// "a{oa{sa{sv}}}": objects with their interfaces with their properties.
bool readObjects(sd_bus_message* message, Bus& bus) {
  if (sd_bus_message_enter_container(message, 'a', "{oa{sa{sv}}}") < 0) {
    return false;
  }
  while (sd_bus_message_enter_container(message, 'e', "oa{sa{sv}}") > 0) {
    const char* path = nullptr;
    const bool isRead = sd_bus_message_read_basic(message, 'o', &path) > 0 &&
                        vqbluez::readDictionary(message, "{sa{sv}}", [&](const char* key) {
                          const std::string interface = key;
                          return interface == "org.bluez.Adapter1"  ? readAdapter(message, path, bus)
                                 : interface == "org.bluez.Device1" ? readDevice(message, bus)
                                                                    : sd_bus_message_skip(message, "a{sv}") >= 0;
                        });
    if (!isRead || sd_bus_message_exit_container(message) < 0) {
      return false;
    }
  }
  return sd_bus_message_exit_container(message) >= 0;
}

void ask(sd_bus* connection, Bus& bus) {
  sd_bus_message* made = nullptr;
  int result = sd_bus_message_new_method_call(connection, &made, "org.bluez", "/", "org.freedesktop.DBus.ObjectManager",
                                              "GetManagedObjects");
  const Message call(made);
  Error error;
  sd_bus_message* answered = nullptr;
  if (result >= 0) {
    sd_bus_message_set_auto_start(call.get(), 0);
    result = sd_bus_call(connection, call.get(), kAnswerMicroseconds, error.get(), &answered);
  }
  const Message reply(answered);
  if (result >= 0) {
    bus.state = readObjects(reply.get(), bus) ? Bus::State::kReachable : Bus::State::kStrange;
    return;
  }
  const bool hasNoBlueZ = error.is(SD_BUS_ERROR_SERVICE_UNKNOWN) || error.is(SD_BUS_ERROR_NAME_HAS_NO_OWNER);
  const bool isBusLost = result == -ENOTCONN || result == -ECONNRESET || result == -EPIPE;
  bus.problem = error.text(result);
  bus.state = error.is(SD_BUS_ERROR_ACCESS_DENIED) ? Bus::State::kDenied
              : hasNoBlueZ                         ? Bus::State::kNoBlueZ
              : isBusLost                          ? Bus::State::kNoBus
                                                   : Bus::State::kStrange;
}

}  // namespace

Bus readBus(const std::string& root) {
  Bus bus;
  bus.address = addressOfBus();
  bus.hasPolicy = std::any_of(std::begin(kPolicies), std::end(kPolicies),
                              [&root](const char* policy) { return isThere(root + policy); });
  sd_bus* opened = nullptr;
  const int result = sd_bus_open_system(&opened);
  const std::unique_ptr<sd_bus, BusClose> connection(opened);
  if (result < 0) {
    bus.state = Bus::State::kNoBus;
    bus.problem = std::generic_category().message(-result);
    return bus;
  }
  ask(connection.get(), bus);
  return bus;
}

}  // namespace doctor
