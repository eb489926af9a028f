// The services that this process offers: one Profile1 object and one registration at BlueZ for each.
//
// A registration belongs to the D-Bus connection. It ends with BlueZ, and is made again when BlueZ is back; what the
// application asked for stays in this table meanwhile. UUIDs here are canonical.
// Threads: one at a time.
#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "platform/bluez/bluez_objects.h"
#include "platform/bluez/bus.h"
#include "platform/descriptor.h"

namespace vqbluez {

// Called inside Bus::process().
class ProfileListener {
 public:
  virtual ~ProfileListener() = default;

  // A link is up. False refuses it.
  virtual bool onNewConnection(const std::string& uuid, const std::string& device, platform::Descriptor socket) = 0;
  // BlueZ is going to end the link.
  virtual void onDisconnection(const std::string& uuid, const std::string& device) = 0;
};

class Profiles {
 public:
  Profiles(const BluezObjects& bluez, ProfileListener& listener) : bluez_(bluez), listener_(listener) {}

  void start(Bus& bus) { bus_ = &bus; }
  void stop();

  // Offers the service. Waits for BlueZ's answer, some milliseconds, and 3 s at most where it hangs; false where it
  // refuses or does not answer, with a log line.
  bool add(const std::string& uuid);
  // Takes it back, and waits likewise. BlueZ keeps links that are up. False where it was not offered.
  bool remove(const std::string& uuid);
  bool has(const std::string& uuid) const { return profiles_.count(uuid) != 0; }
  void removeAll();  // waits for nothing

  // BlueZ is there again: everything in the table is registered anew. What BlueZ refuses then leaves the table; what it
  // does not answer for is withdrawn and tried again.
  void registerAgain();

 private:
  struct Profile {
    std::string path;
    BusSlot object;
  };

  Profile makeObject(const std::string& uuid);
  Message withdrawal(const Profile& profile);
  Message registration(const std::string& uuid, const std::string& path);
  void registerAgain(const std::string& uuid, std::chrono::seconds limit);
  void onRegisteredAgain(const std::string& uuid, const std::string& path, std::chrono::seconds limit,
                         const Reply& reply);
  bool onCall(const std::string& uuid, sd_bus_message* message);
  void onNewConnection(const std::string& uuid, sd_bus_message* message);
  void onRequestDisconnection(const std::string& uuid, sd_bus_message* message);

  const BluezObjects& bluez_;
  ProfileListener& listener_;
  Bus* bus_ = nullptr;
  std::map<std::string, Profile> profiles_;  // by UUID
  unsigned int made_ = 0;                    // no path is used twice
};

}  // namespace vqbluez
