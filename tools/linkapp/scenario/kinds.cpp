#include "app/commands.h"
#include "phone/commands.h"
#include "scenario/scenario.h"

namespace scenario {
namespace {

const std::vector<talk::EventKind>& lineEvents() {
  static const auto* const kinds =
      new std::vector<talk::EventKind>{{"line", {"text"}, "one line of the program's output"}};
  return *kinds;
}

const std::vector<talk::EventKind>& bluetoothEvents() {
  static const auto* const kinds = new std::vector<talk::EventKind>{
      {"ready", {"bus"}, "the process takes commands"},
      {"phone", {"address", "up", "text"}, "a phone is connected, or no longer"},
      {"link", {"address", "uuid", "up", "text"}, "an SPP link came up or went down"},
      {"hands-free", {"address", "up", "text"}, "a hands-free link came up or went down"},
      {"connect", {"address", "uuid", "text"}, "the head unit asks for a link, or that failed"},
      {"profile", {"uuid", "up", "text"}, "the head unit offers a service, or no longer"},
      {"bluetoothd", {"up", "text"}, "the daemon has started or ended"},
      {"ofonod", {"up", "text"}, "the daemon has started or ended"},
      {"said", {"text"}, "something else"},
  };
  return *kinds;
}

const std::vector<std::string>& bluetoothState() {
  static const auto* const fields = new std::vector<std::string>{
      "phones", "connected", "links", "hands-free", "received", "sent", "bluetoothd", "profiles", "ofonod"};
  return *fields;
}

const std::vector<Kind>& kinds() {
  static const auto* const all = new std::vector<Kind>{
      {"phone", {"phone", "--json"}, &phone::commands(), &phone::eventKinds(), &phone::stateFields(), true},
      {"app", {"app", "--json", "--commands"}, &app::commands(), &app::eventKinds(), &app::stateFields(), true},
      {"run", {}, nullptr, &lineEvents(), nullptr, false},
      {kBluetoothKind, {"--json"}, nullptr, &bluetoothEvents(), &bluetoothState(), true, "linkapp-bluez-sim"},
  };
  return *all;
}

}  // namespace

const Kind* kindOf(const std::string& name) {
  for (const Kind& kind : kinds()) {
    if (kind.name == name) {
      return &kind;
    }
  }
  return nullptr;
}

std::vector<std::string> kindNames() {
  std::vector<std::string> names;
  for (const Kind& kind : kinds()) {
    names.push_back(kind.name);
  }
  return names;
}

}  // namespace scenario
