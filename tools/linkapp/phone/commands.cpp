#include "phone/commands.h"

#include "command/arguments.h"

namespace phone {
namespace {

using command::after;
using command::argument;
using command::choice;
using command::Command;
using command::from;
using command::number;
using command::optional;
using command::Type;

command::Argument launchString() {
  return from("app", argument(Type::kWord, "app"));
}

command::Argument openApp() {
  return from("session", argument(Type::kWord, "app"));
}

constexpr const char* kAppDetails =
    "APP is a launch string, or * for every one without an entry of its own. Sessions that are open keep their app.";

std::vector<Command> linkCommands() {
  return {
      {"plug",
       "The phone and its link",
       "connects the phone",
       {choice("link", {"usb", "bluetooth"}), optional(choice("iap", {"iap1", "iap2"}))},
       "plug usb",
       "Without a generation of the accessory protocol it is iap2."},
      {"unplug", "The phone and its link", "disconnects the phone; its sessions are closed before", {}, "unplug", ""},
      {"switch",
       "The phone and its link",
       "the same phone over the other link",
       {choice("link", {"usb", "bluetooth"})},
       "switch usb",
       "Sessions are closed, the old link goes, the new one comes; the hands-free link stays as it is."},
      {"reboot",
       "The phone and its link",
       "the phone is gone at once and comes back over the same link",
       {optional(argument(Type::kDuration, "downtime"))},
       "reboot 2s",
       "Messages under way have no outcome. Without a time it is back after one second."},
      {"hands-free",
       "The phone and its link",
       "the hands-free link comes up or goes down",
       {choice("state", {"up", "down"}), optional(argument(Type::kAddress, "address"))},
       "hands-free up 12:34:56:78:9a:bc",
       ""},
      {"play",
       "The phone and its link",
       "an app begins to play media",
       {argument(Type::kRest, "name")},
       "play Example Player",
       ""},
      {"stop-playing", "The phone and its link", "no app plays any more", {}, "stop-playing", ""},
  };
}

std::vector<Command> sessionCommands() {
  return {
      {"open", "Sessions", "the phone's user opens an app", {launchString()}, "open com.example.navi", ""},
      {"close", "Sessions", "the phone's user ends an app", {openApp()}, "close com.example.navi", ""},
      {"send",
       "Sessions",
       "an app sends a text",
       {openApp(), argument(Type::kRest, "text")},
       "send com.example.navi \"turn left\"",
       ""},
      {"send-hex",
       "Sessions",
       "an app sends bytes",
       {openApp(), argument(Type::kBytes, "bytes")},
       "send-hex com.example.navi 0001feff",
       ""},
      {"burst",
       "Sessions",
       "an app sends many numbered messages",
       {openApp(), number("count", 1, 10000000), after("size", number("size", 1, 4096)),
        after("rate", number("rate", 1, 1000000))},
       "burst com.example.navi 1000 size 512 rate 200",
       "`rate` is messages per second; without it they go as fast as can be, and a slow reader loses some.\n"
       "Each message begins with its number, from 0, as four bytes, big-endian."},
  };
}

std::vector<Command> answerCommands() {
  return {
      {"launches",
       "How the phone answers",
       "how launch requests are answered",
       {choice("answer", {"accept", "refuse", "slow"}), after("after", argument(Type::kDuration, "delay")),
        after("for", launchString())},
       "launches slow after 2s for com.example.navi",
       "`after` belongs to slow; without it that is one second."},
      {"results",
       "How the phone answers",
       "how messages to the phone end",
       {choice("outcome", {"success", "failure", "late", "none"}), after("after", argument(Type::kDuration, "delay")),
        after("for", launchString())},
       "results late after 500ms",
       "failure: the app does not get the message. late: it does, and the result comes later (`after`, else one\n"
       "second). none: it does, and no result comes."},
  };
}

std::vector<Command> appCommands() {
  return {
      {"app-echo",
       "The phone's apps",
       "an app that sends every message back",
       {launchString()},
       "app-echo *",
       kAppDetails},
      {"app-sink", "The phone's apps", "an app that takes every message", {launchString()}, "app-sink *", kAppDetails},
      {"app-source",
       "The phone's apps",
       "an app that sends from the moment its session opens",
       {launchString(), after("rate", number("rate", 1, 1000000)), after("size", number("size", 1, 4096)),
        after("count", number("count", 1, 10000000))},
       "app-source com.example.meter rate 50 size 256",
       std::string("Without a rate 10 messages a second, without a size 64 bytes, without a count no end.\n") +
           kAppDetails},
      {"app-script",
       "The phone's apps",
       "an app that answers as a file says",
       {launchString(), argument(Type::kFile, "file")},
       "app-script com.example.navi answers.txt",
       kAppDetails},
      {"app-program",
       "The phone's apps",
       "an app that is a program, with frames on its input and output",
       {launchString(), argument(Type::kRest, "command")},
       "app-program com.example.navi python3 counterpart.py",
       std::string("A shell runs the command once per session; put it into quotes where it holds some.\n") +
           kAppDetails},
      {"app-remove",
       "The phone's apps",
       "launches of it are refused from now on",
       {launchString()},
       "app-remove com.example.navi",
       kAppDetails},
  };
}

std::vector<Command> viewCommands() {
  return {
      {"state", "What is there", "the phone in one line", {}, "state", ""},
      {"sessions", "What is there", "the open sessions", {}, "sessions", ""},
      {"apps", "What is there", "the head unit's applications as they have registered", {}, "apps", ""},
      {"installed", "What is there", "the apps on the phone", {}, "installed", ""},
      {"announce", "What is there", "tells all applications the state once more", {}, "announce", ""},
      {"events", "What is there", "shows what happens, or stops", {choice("show", {"on", "off"})}, "events off", ""},
      {"help",
       "What is there",
       "this list, or one command",
       {optional(from("command", argument(Type::kWord, "command")))},
       "help launches",
       ""},
      {"quit", "What is there", "ends the phone", {}, "quit", ""},
  };
}

std::vector<Command> allCommands() {
  std::vector<Command> all = linkCommands();
  for (const std::vector<Command>& more : {sessionCommands(), answerCommands(), appCommands(), viewCommands()}) {
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
      {"ready", {"pid", "control"}, "the process takes commands"},
      {"app-registered", {"app", "name", "launch"}, "an application of the head unit is in the table"},
      {"connected", {"link", "iap"}, "the phone is connected"},
      {"disconnected", {"link", "by"}, "the phone is gone: by unplug, switch or reboot"},
      {"reboot", {"sessions"}, "the phone reboots; so many sessions were open"},
      {"launch-asked", {"app", "launch", "method"}, "an application asks to launch its app on the phone"},
      {"launch-refused", {"app", "launch", "reason"}, "that was refused"},
      {"session-opened",
       {"launch", "session", "app", "id", "behaviour"},
       "an app has started; id is what iAP named it by"},
      {"session-open-already", {"launch", "session", "app", "id"}, "it runs already; its session is announced again"},
      {"session-closed", {"launch", "session", "by", "unanswered"}, "an app has ended; so many sends have no outcome"},
      {"received", {"launch", "session", "size", "text", "head", "count"}, "a message from the head unit"},
      {"result", {"launch", "session", "outcome"}, "how a message from the head unit ended"},
      {"sent", {"launch", "session", "size", "text", "head"}, "a message from an app on the phone"},
      {"send-refused", {"launch", "session", "size", "reason"}, "an app wanted to send what the channel does not take"},
      {"burst-ended", {"launch", "session", "sent"}, "a burst or a source has sent its last message"},
      {"data-dropped", {"session", "size", "reason"}, "a message came for a session that is not open"},
      {"hands-free", {"up", "address"}, "the hands-free link came up or went down"},
      {"playing", {"name"}, "another app plays; an empty name = none"},
      {"installed", {"launch", "behaviour"}, "an app was installed or removed"},
      {"program-started", {"launch", "session", "pid"}, "the program behind an app runs"},
      {"program-ended", {"launch", "session", "how", "cut-off"}, "it has ended; so many bytes were no whole message"},
      {"program-hangs", {"launch", "session", "pending"}, "it takes no input any more, and was killed"},
      {"program-floods", {"launch", "session", "limit"}, "it sends more than the limit, and was killed"},
      {"program-broke-framing", {"launch", "session", "length"}, "a length of 0 or above 4096; it was killed"},
      {"problem", {"text"}, "something else went wrong"},
  };
  return *kinds;
}

const std::vector<std::string>& stateFields() {
  static const auto* const fields =
      new std::vector<std::string>{"connected", "link", "iap",        "rebooting", "sessions", "apps",
                                   "received",  "sent", "hands-free", "address",   "playing"};
  return *fields;
}

}  // namespace phone
