#include "platform/bluez/profiles.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>

#include <algorithm>
#include <utility>

#include "platform/bluez/log.h"

namespace vqbluez {
namespace {

constexpr const char* kService = "org.bluez";
constexpr const char* kManagerPath = "/org/bluez";
constexpr const char* kManager = "org.bluez.ProfileManager1";
constexpr const char* kProfile = "org.bluez.Profile1";
constexpr const char* kName = "LinkApp SPP";

// The caller waits, and so does every other operation. BlueZ answers in a few milliseconds.
constexpr std::chrono::seconds kRegisterLimit{3};
constexpr std::chrono::seconds kLongestLimit{60};

}  // namespace

void Profiles::stop() {
  bus_ = nullptr;
  for (auto& [uuid, profile] : profiles_) {
    profile.object.reset();
  }
}

Profiles::Profile Profiles::makeObject(const std::string& uuid) {
  Profile profile;
  profile.path = "/linkapp/spp" + std::to_string(made_++);
  profile.object =
      bus_->addObject(profile.path, [this, uuid](sd_bus_message* message) { return onCall(uuid, message); });
  return profile;
}

// Channel 0 is "a free one"; without it nothing listens for devices that connect by themselves. Pairing is the consent
// that a connection needs. No Role: both sides may open the link.
Message Profiles::registration(const std::string& uuid, const std::string& path) {
  Message call = bus_->newCall(kService, kManagerPath, kManager, "RegisterProfile");
  if (call != nullptr &&
      sd_bus_message_append(call.get(), "osa{sv}", path.c_str(), uuid.c_str(), 4, "Name", "s", kName, "Channel", "q", 0,
                            "RequireAuthentication", "b", 1, "RequireAuthorization", "b", 0) < 0) {
    return nullptr;
  }
  return call;
}

bool Profiles::add(const std::string& uuid) {
  if (has(uuid)) {
    return true;
  }
  if (bus_ == nullptr || !bluez_.isReady()) {
    return false;
  }
  Profile profile = makeObject(uuid);
  const Reply reply = bus_->call(registration(uuid, profile.path), kRegisterLimit);
  if (!reply.isOk()) {
    logLine("BlueZ refuses the service %s: %s", uuid.c_str(), reply.text().c_str());
    bus_->sendOnly(withdrawal(profile));  // one that answers too late would hold it for nobody
    return false;
  }
  profiles_[uuid] = std::move(profile);
  return true;
}

Message Profiles::withdrawal(const Profile& profile) {
  if (bus_ == nullptr || !bluez_.isReady()) {
    return nullptr;  // BlueZ has forgotten it
  }
  Message call = bus_->newCall(kService, kManagerPath, kManager, "UnregisterProfile");
  if (call != nullptr) {
    sd_bus_message_append(call.get(), "o", profile.path.c_str());
  }
  return call;
}

bool Profiles::remove(const std::string& uuid) {
  const auto found = profiles_.find(uuid);
  if (found == profiles_.end()) {
    return false;
  }
  const Message call = withdrawal(found->second);
  if (call != nullptr) {
    const Reply reply = bus_->call(call, kRegisterLimit);
    if (!reply.isOk()) {
      logLine("BlueZ does not take back the service %s: %s", uuid.c_str(), reply.text().c_str());
    }
  }
  profiles_.erase(found);
  return true;
}

void Profiles::removeAll() {
  for (const auto& [uuid, profile] : profiles_) {
    const Message call = withdrawal(profile);
    if (call != nullptr) {
      bus_->sendOnly(call);
    }
  }
  profiles_.clear();
}

void Profiles::registerAgain() {
  std::vector<std::string> uuids;
  for (const auto& [uuid, profile] : profiles_) {
    uuids.push_back(uuid);
  }
  for (const std::string& uuid : uuids) {
    registerAgain(uuid, kRegisterLimit);
  }
}

void Profiles::registerAgain(const std::string& uuid, std::chrono::seconds limit) {
  Profile profile = makeObject(uuid);
  const std::string path = profile.path;
  profiles_[uuid] = std::move(profile);
  bus_->send(registration(uuid, path), limit,
             [this, uuid, path, limit](const Reply& reply) { onRegisteredAgain(uuid, path, limit, reply); });
}

void Profiles::onRegisteredAgain(const std::string& uuid, const std::string& path, std::chrono::seconds limit,
                                 const Reply& reply) {
  const auto found = profiles_.find(uuid);
  if (reply.isOk() || found == profiles_.end() || found->second.path != path || !bluez_.isReady()) {
    return;
  }
  bus_->sendOnly(withdrawal(found->second));  // as in add
  if (reply.errorName == SD_BUS_ERROR_NO_REPLY) {
    registerAgain(uuid, std::min(2 * limit, kLongestLimit));  // a busy BlueZ gets more time
    return;
  }
  logLine("BlueZ refuses the service %s after its restart: %s", uuid.c_str(), reply.text().c_str());
  profiles_.erase(found);
}

bool Profiles::onCall(const std::string& uuid, sd_bus_message* message) {
  const char* const sender = sd_bus_message_get_sender(message);
  if (sender == nullptr || bluez_.owner() != sender) {
    sd_bus_reply_method_errorf(message, SD_BUS_ERROR_ACCESS_DENIED, "for BlueZ only");
    return true;
  }
  if (sd_bus_message_is_method_call(message, kProfile, "NewConnection") > 0) {
    onNewConnection(uuid, message);
  } else if (sd_bus_message_is_method_call(message, kProfile, "RequestDisconnection") > 0) {
    onRequestDisconnection(uuid, message);
  } else if (sd_bus_message_is_method_call(message, kProfile, "Release") > 0) {
    sd_bus_reply_method_return(message, "");  // BlueZ stops; it is followed elsewhere
  } else {
    return false;
  }
  return true;
}

void Profiles::onNewConnection(const std::string& uuid, sd_bus_message* message) {
  const char* device = nullptr;
  int socket = -1;
  if (sd_bus_message_read(message, "oh", &device, &socket) < 0) {
    sd_bus_reply_method_errorf(message, "org.bluez.Error.Rejected", "not understood");
    return;
  }
  platform::Descriptor own(fcntl(socket, F_DUPFD_CLOEXEC, 3));  // the message's own is closed with it
  if (!own.isOpen()) {
    logLine("cannot take a link: %s", strerror(errno));
    sd_bus_reply_method_errorf(message, "org.bluez.Error.Rejected", "no descriptor left");
  } else if (listener_.onNewConnection(uuid, device, std::move(own))) {
    sd_bus_reply_method_return(message, "");
  } else {
    sd_bus_reply_method_errorf(message, "org.bluez.Error.Rejected", "not wanted");
  }
}

void Profiles::onRequestDisconnection(const std::string& uuid, sd_bus_message* message) {
  const char* device = nullptr;
  if (sd_bus_message_read(message, "o", &device) >= 0) {
    listener_.onDisconnection(uuid, device);
  }
  sd_bus_reply_method_return(message, "");
}

}  // namespace vqbluez
