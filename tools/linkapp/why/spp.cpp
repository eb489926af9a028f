#include <algorithm>

#include "doctor/words.h"
#include "why/walk.h"

namespace why {
namespace {

using doctor::Bus;

constexpr const char* kNoLink =
    "no SPP link: requestSppConnect returns false or nothing follows it, and "
    "requestMsgSend returns false";

bool isSame(const std::string& a, const std::string& b) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [&](char x, char y) { return lower(x) == lower(y); });
}

Condition condition(const std::string& what, bool holds, const std::string& evidence, const std::string& remedy) {
  return {what, holds ? Verdict::kHolds : Verdict::kFails, evidence, kNoLink, remedy};
}

Condition hasAdapter(const Bus& bus) {
  std::vector<std::string> words;
  for (const doctor::Adapter& adapter : bus.adapters) {
    words.push_back(adapter.name + " is " + (adapter.isPowered ? "powered" : "not powered"));
  }
  const bool isOn =
      std::any_of(bus.adapters.begin(), bus.adapters.end(), [](const auto& adapter) { return adapter.isPowered; });
  return condition("an adapter is there and powered", isOn,
                   words.empty() ? "BlueZ lists no adapter" : doctor::joined(words),
                   bus.adapters.empty() ? "plug it in; rfkill list" : "bluetoothctl power on");
}

std::string addressesOf(const std::vector<doctor::BluetoothDevice>& devices) {
  std::vector<std::string> words;
  words.reserve(devices.size());
  for (const doctor::BluetoothDevice& device : devices) {
    words.push_back(text::quoted(device.address));
  }
  return doctor::joined(words);
}

}  // namespace

Walk walkSpp(const doctor::Examination& all, const Question& question) {
  const Bus& bus = all.system.bus;
  Walk walk("spp", question.uuid.empty() ? "any service" : question.uuid);
  if (bus.state == Bus::State::kUnchecked) {
    walk.add({"Bluetooth can be looked at", Verdict::kUnseen, "this build has no D-Bus (libsystemd)", "", ""});
    walk.end("nothing could be looked at");
    return walk;
  }
  const bool hasBus = bus.state != Bus::State::kNoBus;
  const std::string problem = bus.problem.empty() ? "" : ": " + bus.problem;
  if (!walk.add(condition("the D-Bus system bus is reachable", hasBus,
                          text::quoted(bus.address) + (hasBus ? "" : problem),
                          "start dbus, or set DBUS_SYSTEM_BUS_ADDRESS")) ||
      !walk.add(condition("bluetoothd runs", bus.state != Bus::State::kNoBlueZ,
                          bus.state == Bus::State::kNoBlueZ ? bus.problem : "org.bluez is on the bus",
                          "systemctl start bluetooth")) ||
      !walk.add(
          condition("the bus policy allows it", bus.state != Bus::State::kDenied,
                    bus.state == Bus::State::kDenied ? bus.problem : "for user " + doctor::userText(all.system.user),
                    "install platform/bluez/policy (docs/bluetooth.md)")) ||
      !walk.add(condition("BlueZ answers", bus.state == Bus::State::kReachable, "its list of objects" + problem,
                          "systemctl restart bluetooth")) ||
      !walk.add(hasAdapter(bus))) {
    return walk;
  }
  std::vector<doctor::BluetoothDevice> devices = bus.devices;
  const auto keep = [&devices](const auto& isKept) {
    devices.erase(std::remove_if(devices.begin(), devices.end(), [&](const auto& device) { return !isKept(device); }),
                  devices.end());
  };
  keep([](const auto& device) { return device.isPaired; });
  if (!walk.add(condition("a phone is paired", !devices.empty(),
                          devices.empty() ? "BlueZ knows " + doctor::number(bus.devices.size(), "device", "devices") +
                                                ", none of them paired"
                                          : addressesOf(devices),
                          "pair it (docs/bluetooth.md)"))) {
    return walk;
  }
  if (!question.uuid.empty()) {
    keep([&question](const auto& device) {
      return std::any_of(device.uuids.begin(), device.uuids.end(),
                         [&question](const std::string& uuid) { return isSame(uuid, question.uuid); });
    });
    if (!walk.add(
            condition("a paired phone offers the service", !devices.empty(),
                      devices.empty() ? "BlueZ has " + question.uuid + " in no phone's list" : addressesOf(devices),
                      "start the app on the phone; where the phone is to connect itself, that is no trouble"))) {
      return walk;
    }
  }
  keep([](const auto& device) { return device.isConnected; });
  if (!walk.add(condition("that phone is connected", !devices.empty(),
                          devices.empty() ? "BlueZ says of none that it is connected" : addressesOf(devices),
                          "bring it near, switch its Bluetooth on; the application calls requestSppConnect or "
                          "requestSppAutoConnectStart"))) {
    return walk;
  }
  walk.add({"the application has an open link under its UUID", Verdict::kUnseen,
            "the link is a socket between phone and application; its log tells", "", ""});
  walk.end("nothing that can be seen stands in the way");
  return walk;
}

}  // namespace why
