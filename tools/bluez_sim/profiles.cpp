#include "bluez_sim/profiles.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "bluez_sim/bluez_errors.h"

namespace bluez_sim {
namespace {

constexpr const char* kSppUuid = "00001101-0000-1000-8000-00805f9b34fb";
constexpr unsigned int kSppChannel = 3;  // bluetoothd's own choice for the serial port where none is given
constexpr unsigned int kMostChannels = 31;

// Lengths and dashes only, as bluetoothd does.
bool looksLikeUuid(const std::string& text) {
  return text.size() == 36 && text[8] == '-' && text[13] == '-' && text[18] == '-' && text[23] == '-';
}

bool isHex(const std::string& text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isxdigit(c) != 0; });
}

// The option where it has its type; throws where it has another one.
template <class T>
const T* optionOf(const Properties& options, const char* name) {
  const bool isThere =
      std::any_of(options.begin(), options.end(), [&](const auto& option) { return option.first == name; });
  const T* const value = find<T>(options, name);
  if (isThere && value == nullptr) {
    throw invalidArguments();
  }
  return value;
}

}  // namespace

std::string expandUuid(const std::string& text) {
  if (looksLikeUuid(text)) {
    return text;
  }
  if (text == "spp") {
    return kSppUuid;
  }
  const std::string digits = text.rfind("0x", 0) == 0 ? text.substr(2) : text;
  if (isHex(digits) && (digits.size() == 4 || digits.size() == 8)) {
    return (digits.size() == 4 ? "0000" : "") + digits + "-0000-1000-8000-00805f9b34fb";
  }
  return "";
}

Profiles::Profiles(sd_bus& bus, Listener& listener) : bus_(bus), listener_(listener) {
  sd_bus_slot* slot = nullptr;
  check(sd_bus_add_match(&bus_, &slot,
                         "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
                         "member='NameOwnerChanged',arg2=''",
                         &Profiles::onNameGone, this),
        "watching the owners of profiles");
  ownerMatch_.reset(slot);
}

Interface Profiles::interface() {
  return {"org.bluez.ProfileManager1",
          {{"RegisterProfile", "osa{sv}", "", [this](Call& call) { registerProfile(call); }},
           {"UnregisterProfile", "o", "", [this](Call& call) { unregisterProfile(call); }}},
          nullptr,
          nullptr};
}

const Profile* Profiles::find(const std::string& uuid) const {
  const auto found =
      std::find_if(profiles_.begin(), profiles_.end(), [&](const Profile& profile) { return profile.uuid == uuid; });
  return found == profiles_.end() ? nullptr : &*found;
}

std::vector<std::string> Profiles::uuids() const {
  std::vector<std::string> result;
  for (const Profile& profile : profiles_) {
    result.push_back(profile.uuid);
  }
  return result;
}

void Profiles::registerProfile(Call& call) {
  Profile profile;
  profile.owner = call.sender();
  profile.path = readText(call.message());
  profile.uuid = expandUuid(readText(call.message()));
  for (const Profile& other : profiles_) {
    if (other.owner == profile.owner && other.path == profile.path) {
      throw alreadyExists();
    }
  }
  if (profile.uuid.empty()) {
    throw invalidArguments();
  }
  takeOptions(readProperties(call.message()), profile);
  if (find(profile.uuid) != nullptr) {
    throw notPermitted("UUID already registered");
  }
  profiles_.push_back(profile);
  call.succeed();
  listener_.onProfileSaid("profile " + profile.uuid + " registered by " + profile.owner + " " + profile.path +
                          (profile.isListening ? " on channel " + std::to_string(profile.channel) : ""));
  listener_.onProfilesChanged();
}

void Profiles::takeOptions(const Properties& options, Profile& profile) {
  const auto* const role = optionOf<std::string>(options, "Role");
  const auto* const channel = optionOf<std::uint16_t>(options, "Channel");
  const auto* const authorization = optionOf<bool>(options, "RequireAuthorization");
  for (const char* const text : {"Name", "ServiceRecord", "Service"}) {
    optionOf<std::string>(options, text);
  }
  for (const char* const flag : {"RequireAuthentication", "AutoConnect"}) {
    optionOf<bool>(options, flag);
  }
  for (const char* const number : {"PSM", "Version", "Features"}) {
    optionOf<std::uint16_t>(options, number);
  }
  profile.isClient = role == nullptr || *role != "server";
  profile.needsAuthorization = authorization == nullptr || *authorization;
  const bool isServer = role == nullptr || *role != "client";
  if (isServer && (channel != nullptr || profile.uuid == kSppUuid)) {
    profile.channel = channel == nullptr ? kSppChannel : *channel;
    listen(profile);
  }
}

// 0 takes the next free channel. One that is taken already is no error: bluetoothd only logs it.
void Profiles::listen(Profile& profile) {
  std::set<unsigned int> taken;
  for (const Profile& other : profiles_) {
    if (other.isListening) {
      taken.insert(other.channel);
    }
  }
  if (profile.channel == 0) {
    profile.channel = 1;
    while (taken.count(profile.channel) != 0) {
      ++profile.channel;
    }
  }
  profile.isListening = profile.channel <= kMostChannels && taken.count(profile.channel) == 0;
  if (!profile.isListening) {
    listener_.onProfileSaid("profile " + profile.uuid + " does not listen: channel " + std::to_string(profile.channel) +
                            " cannot be had");
  }
}

void Profiles::unregisterProfile(Call& call) {
  const std::string path = readText(call.message());
  const auto found = std::find_if(profiles_.begin(), profiles_.end(), [&](const Profile& profile) {
    return profile.owner == call.sender() && profile.path == path;
  });
  if (found == profiles_.end()) {
    throw doesNotExist();
  }
  const std::string uuid = found->uuid;
  profiles_.erase(found);
  call.succeed();
  listener_.onProfileSaid("profile " + uuid + " unregistered");
  listener_.onProfilesChanged();
}

void Profiles::releaseAll() {
  for (const Profile& profile : profiles_) {
    sd_bus_message* raw = nullptr;
    check(sd_bus_message_new_method_call(&bus_, &raw, profile.owner.c_str(), profile.path.c_str(), "org.bluez.Profile1",
                                         "Release"),
          "a call of Release");
    const MessagePtr message = adopt(raw);
    sd_bus_message_set_expect_reply(raw, 0);
    sd_bus_send(&bus_, raw, nullptr);
  }
  profiles_.clear();
}

int Profiles::onNameGone(sd_bus_message* message, void* profiles, sd_bus_error* /*error*/) {
  const char* name = nullptr;
  if (sd_bus_message_read_basic(message, 's', &name) > 0) {
    static_cast<Profiles*>(profiles)->forgetOwner(name);
  }
  return 0;
}

void Profiles::forgetOwner(const std::string& owner) {
  const std::list<Profile> before = profiles_;
  profiles_.remove_if([&](const Profile& profile) { return profile.owner == owner; });
  if (profiles_.size() == before.size()) {
    return;
  }
  for (const Profile& profile : before) {
    if (profile.owner == owner) {
      listener_.onProfileSaid("profile " + profile.uuid + " forgotten, its owner has left");
    }
  }
  listener_.onOwnerGone(owner);
  listener_.onProfilesChanged();
}

}  // namespace bluez_sim
