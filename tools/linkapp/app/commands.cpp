#include "app/commands.h"

#include "app/setup.h"
#include "command/arguments.h"

namespace app {
namespace {

using command::after;
using command::argument;
using command::choice;
using command::Command;
using command::from;
using command::number;
using command::optional;
using command::Type;

constexpr const char* kMessages = "The app on the phone";
constexpr const char* kSpp = "Phones with Bluetooth SPP";
constexpr const char* kListeners = "Listeners";
constexpr const char* kView = "What is there";

constexpr const char* kPaceDetails =
    "`rate` is messages per second, `window` how many may be without a send result; 16 without it. The rings hold 40:\n"
    "a larger window loses messages where the other side is slow. Sending waits until a link is open.";

command::Argument device() {
  return from("device", number("device", 0, 255));
}

std::vector<Command> messageCommands() {
  return {
      {"launch",
       kMessages,
       "asks the iPhone to launch the app",
       {after("method", choice("method", {"alert", "no-alert"})), after("device", device())},
       "launch method no-alert",
       "Without a device it is the one that was told last, of those that are there. The reply says whether the library "
       "accepted the request."},
      {"send", kMessages, "sends a text", {argument(Type::kRest, "text")}, "send hello", ""},
      {"send-hex", kMessages, "sends bytes", {argument(Type::kBytes, "bytes")}, "send-hex 0001feff", ""},
      {"send-file",
       kMessages,
       "sends a file, cut into messages",
       {argument(Type::kFile, "file"), after("size", number("size", 1, 4096)),
        after("rate", number("rate", 1, 1000000)), after("window", number("window", 1, 1000000))},
       "send-file map.bin size 4096",
       kPaceDetails},
      {"burst",
       kMessages,
       "sends many numbered messages",
       {number("count", 1, 10000000), after("size", number("size", 1, 4096)), after("rate", number("rate", 1, 1000000)),
        after("window", number("window", 1, 1000000))},
       "burst 1000 size 512",
       kPaceDetails},
      {"stop-sending", kMessages, "ends a burst or a file", {}, "stop-sending", ""},
      {"echo", kMessages, "sends every message back, or stops", {choice("echo", {"on", "off"})}, "echo on", ""},
  };
}

std::vector<Command> sppCommands() {
  return {
      {"spp-standby", kSpp, "offers the service and waits for phones", {}, "spp-standby", ""},
      {"spp-connect", kSpp, "opens the link to a phone", {optional(device())}, "spp-connect 3", ""},
      {"spp-disconnect", kSpp, "closes it", {optional(device())}, "spp-disconnect", ""},
      {"spp-auto",
       kSpp,
       "opens the link whenever the phone is there, or stops that",
       {choice("auto", {"start", "stop"}), optional(device())},
       "spp-auto start",
       "Without a device it is the phone that was told last, of those that are there."},
  };
}

std::vector<Command> listenerCommands() {
  return {
      {"listen",
       kListeners,
       "sets a listener, late or once more",
       {choice("part", partNames())},
       "listen hands-free",
       "A part that the application was started without is made now; that sets the rings back, as every new client "
       "does."},
      {"unlisten", kListeners, "removes a listener", {choice("part", partNames())}, "unlisten app", ""},
  };
}

std::vector<Command> viewCommands() {
  return {
      {"state", kView, "the application in one line", {}, "state", ""},
      {"devices", kView, "the phones as they were told last", {}, "devices", ""},
      {"events", kView, "shows what happens, or stops", {choice("show", {"on", "off"})}, "events off", ""},
      {"help",
       kView,
       "this list, or one command",
       {optional(from("command", argument(Type::kWord, "command")))},
       "help burst",
       ""},
      {"quit", kView, "ends the application", {}, "quit", ""},
  };
}

std::vector<Command> allCommands() {
  std::vector<Command> all = messageCommands();
  for (const std::vector<Command>& more : {sppCommands(), listenerCommands(), viewCommands()}) {
    all.insert(all.end(), more.begin(), more.end());
  }
  return all;
}

}  // namespace

const command::Table& commands() {
  static const auto* const table = new command::Table(allCommands());
  return *table;
}

const std::vector<talk::EventKind>& eventKinds() {
  static const auto* const kinds = new std::vector<talk::EventKind>{
      {"ready", {"pid", "name", "launch", "app", "registered"}, "the process takes commands; app is its app id"},
      {"registration-full",
       {"places", "advice"},
       "there was no place in the registration table: it can neither launch nor send"},
      {"onDeviceStatus",
       {"from", "type", "device", "iap", "usb.status", "usb.app", "bluetooth.status", "bluetooth.app", "name",
        "spp.status", "spp.uuid"},
       "a callback: from the application itself (app) or from a device status alone; an iPhone (ios) has iap, usb and "
       "bluetooth, a phone with Bluetooth SPP (spp) has name and spp"},
      {"onSendResult", {"failed"}, "a callback: how a message to the phone ended"},
      {"onReceivedMsg", {"size", "text", "head", "count"}, "a callback: a message from the phone"},
      {"onHfpStatus", {"kind", "device", "connected"}, "a callback: the hands-free link of a phone (ios, other)"},
      {"onPlaybackAppInfo", {"device", "name"}, "a callback: another app plays; an empty name = none"},
      {"sending-ended", {"sent"}, "a burst, a file or the input has sent its last message"},
      {"done",
       {"sent", "refused", "results", "failed", "received", "received-bytes", "numbered", "missing", "repeated"},
       "without commands: everything is sent, and what was expected has come"},
      {"problem", {"text"}, "something else went wrong"},
  };
  return *kinds;
}

const std::vector<std::string>& stateFields() {
  static const auto* const fields = new std::vector<std::string>{
      "name",    "app",      "registered", "usb.status", "bluetooth.status", "spp.status",       "open",
      "sending", "launches", "hands-free", "playing",    "status-calls",     "hands-free-calls", "playback-calls",
      "sent",    "refused",  "results",    "failed",     "received",         "received-bytes",   "numbered",
      "missing", "repeated"};
  return *fields;
}

}  // namespace app
