#include "bluez_sim/phone_settings.h"

#include <functional>
#include <map>
#include <utility>

namespace bluez_sim {
namespace {

using Setter = std::function<void(Phone&, const std::string&)>;

Setter flag(bool Phone::*member) {
  return [member](Phone& phone, const std::string& value) { phone.*member = parseFlag(value); };
}

// "none" takes it away.
Setter text(std::optional<std::string> Phone::*member) {
  return [member](Phone& phone, const std::string& value) {
    phone.*member = value == "none" ? std::nullopt : std::optional<std::string>(value);
  };
}

std::set<std::string> servicesOf(const std::string& value) {
  std::set<std::string> services;
  for (const std::string& uuid : splitList(value)) {
    services.insert(lowerCase(uuid));
  }
  return services;
}

Mode modeOf(const std::string& value) {
  const std::optional<Mode> mode = parseMode(value);
  if (!mode) {
    throw CommandError("'" + value + "' is no mode; there are echo, sink and stall");
  }
  return *mode;
}

const std::map<std::string, Setter>& setters() {
  static const std::map<std::string, Setter> table = {
      {"name", text(&Phone::name)},
      {"alias", text(&Phone::alias)},
      {"modalias", text(&Phone::modalias)},
      {"adapter", [](Phone& phone, const std::string& value) { phone.adapter = value; }},
      {"uuids", [](Phone& phone, const std::string& value) { phone.uuids = splitList(value); }},
      {"services", [](Phone& phone, const std::string& value) { phone.services = servicesOf(value); }},
      {"paired", flag(&Phone::isPaired)},
      {"trusted", flag(&Phone::isTrusted)},
      {"blocked", flag(&Phone::isBlocked)},
      {"resolved", flag(&Phone::isResolved)},
      {"range", flag(&Phone::isInRange)},
      {"hands-free", flag(&Phone::hasHandsFree)},
      {"hold", flag(&Phone::isHolding)},
      {"mode", [](Phone& phone, const std::string& value) { phone.mode = modeOf(value); }},
      {"source", [](Phone& phone, const std::string& value) { phone.sourceBytes = parseNumber(value); }},
      {"delay",
       [](Phone& phone, const std::string& value) { phone.delay = static_cast<unsigned int>(parseNumber(value)); }},
  };
  return table;
}

}  // namespace

Phone withSettings(Phone phone, const Words& words, std::size_t begin, bool isNew) {
  bool hasUuids = !isNew;
  for (std::size_t i = begin; i < words.size(); ++i) {
    const auto [key, value] = splitSetting(words[i]);
    const auto setter = setters().find(key);
    if (setter == setters().end()) {
      throw CommandError("there is no setting '" + key + "'; see help");
    }
    setter->second(phone, value);
    hasUuids = hasUuids || key == "uuids";
  }
  if (!hasUuids) {
    phone.uuids.assign(phone.services.begin(), phone.services.end());
  }
  return phone;
}

void applySettings(World& world, Phone& phone, const Phone& changed) {
  std::vector<std::string> properties;
  const auto note = [&](bool isChanged, std::vector<std::string> names) {
    if (isChanged) {
      properties.insert(properties.end(), names.begin(), names.end());
    }
  };
  note(phone.name != changed.name, {"Name", "Alias"});
  note(phone.alias != changed.alias, {"Alias"});
  note(phone.modalias != changed.modalias, {"Modalias"});
  note(phone.uuids != changed.uuids, {"UUIDs"});
  note(phone.isPaired != changed.isPaired, {"Paired", "Bonded"});
  note(phone.isTrusted != changed.isTrusted, {"Trusted"});
  note(phone.isBlocked != changed.isBlocked, {"Blocked"});
  note(phone.isResolved != changed.isResolved, {"ServicesResolved"});
  phone = changed;
  world.setMode(phone, phone.mode);
  if (phone.isConnected && (!phone.isInRange || phone.isBlocked || !phone.isPaired)) {
    world.setConnected(phone, false);
  }
  if (!properties.empty()) {
    world.tellChanged(phone, properties);
  }
}

const char* phoneSettingsHelp() {
  return "settings of a phone (default):\n"
         "  name=TEXT alias=TEXT modalias=TEXT    what bluetoothd knows; none = it does not know it\n"
         "                                        (Phone, none, bluetooth:v000Fp1200d1436;\n"
         "                                        bluetooth:v004Cp7203d0102 is an iPhone's)\n"
         "  services=UUID,UUID...                 what apps on the phone offer now\n"
         "  uuids=UUID,UUID...                    what bluetoothd believes it offers (the services)\n"
         "  paired= trusted= resolved=YES|NO      (yes)    blocked=YES|NO (no)    adapter=NAME (hci0)\n"
         "  range=IN|OUT                          (in) out: connects fail with page-timeout\n"
         "  hands-free=YES|NO                     (no) yes: oFono has a modem for it\n"
         "  mode=echo|sink|stall                  (echo) what it does with bytes; stall: does not read\n"
         "  source=BYTES                          (0) sends that many bytes of the pattern on every new link\n"
         "  delay=MILLISECONDS                    (0) before it answers a connect\n"
         "  hold=YES|NO                           (no) yes: answers a connect only at `release`\n";
}

}  // namespace bluez_sim
