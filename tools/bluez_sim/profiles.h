// ProfileManager1: which service UUIDs are registered, and by whom.
#pragma once

#include <functional>
#include <list>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "bluez_sim/bus.h"
#include "bluez_sim/object_tree.h"

namespace bluez_sim {

struct Profile {
  std::string owner;  // unique bus name
  std::string path;
  std::string uuid;          // as it was registered
  bool isClient = true;      // ConnectProfile may use it
  bool isListening = false;  // phones may connect
  unsigned int channel = 0;  // of the listener
  bool needsAuthorization = true;
};

class Profiles {
 public:
  struct Listener {
    virtual ~Listener() = default;
    virtual void onProfilesChanged() = 0;  // Adapter1.UUIDs
    virtual void onOwnerGone(const std::string& owner) = 0;
    virtual void onProfileSaid(const std::string& line) = 0;
  };

  Profiles(sd_bus& bus, Listener& listener);
  Profiles(const Profiles&) = delete;
  Profiles& operator=(const Profiles&) = delete;

  Interface interface();  // org.bluez.ProfileManager1

  const std::list<Profile>& all() const { return profiles_; }
  // Null where there is none. As bluetoothd compares them: with regard to case.
  const Profile* find(const std::string& uuid) const;
  std::vector<std::string> uuids() const;
  // bluetoothd ends in good order: every owner is told.
  void releaseAll();

 private:
  void registerProfile(Call& call);
  void unregisterProfile(Call& call);
  void takeOptions(const Properties& options, Profile& profile);
  void listen(Profile& profile);
  static int onNameGone(sd_bus_message* message, void* profiles, sd_bus_error* error);
  void forgetOwner(const std::string& owner);

  sd_bus& bus_;
  Listener& listener_;
  std::list<Profile> profiles_;
  SlotPtr ownerMatch_;
};

// The 128-bit form of what bluetoothd takes as a UUID; empty where it is none.
std::string expandUuid(const std::string& text);

}  // namespace bluez_sim
