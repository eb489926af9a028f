#include "bluez_sim/commands.h"

#include <algorithm>
#include <cstdio>

#include "bluez_sim/phone_settings.h"

namespace bluez_sim {
namespace {

constexpr std::size_t kAny = 1000;
constexpr const char* kDone = "ok";

std::string lineOf(const Traffic& traffic) {
  return std::string(traffic.isUp ? "up" : "down") + " links=" + std::to_string(traffic.links) +
         " received=" + std::to_string(traffic.received) + " sent=" + std::to_string(traffic.sent) +
         " wrong-at=" + (traffic.wrongAt ? std::to_string(*traffic.wrongAt) : "none");
}

unsigned int countIn(const Words& words, std::size_t index) {
  const std::uint64_t count = words.size() > index ? parseNumber(words[index]) : 1;
  if (count == 0 || count > 1000000) {
    throw CommandError("a count lies between 1 and 1000000");
  }
  return static_cast<unsigned int>(count);
}

}  // namespace

const std::vector<Commands::Entry>& Commands::entries() {
  static const std::vector<Entry> table = {
      {"phone", 2, kAny, &Commands::phone, "phone ADDRESS [KEY=VALUE...]", "adds a phone, or changes it"},
      {"phones", 1, kAny, &Commands::phones, "phones [COUNT [KEY=VALUE...]]",
       "adds that many from 00:AA:02:00:00:01 on; lists all"},
      {"forget", 2, 2, &Commands::forget, "forget ADDRESS", "bluetoothd forgets the phone"},
      {"connect", 3, 3, &Commands::connect, "connect ADDRESS UUID", "the phone opens a link to the head unit"},
      {"drop", 2, 4, &Commands::drop, "drop ADDRESS [UUID] [reset]",
       "the phone ends links; reset: the head unit reads ECONNRESET instead of an end"},
      {"acl", 3, 3, &Commands::acl, "acl ADDRESS up|down", "the phone comes, or is lost with all its links"},
      {"refuse", 3, 4, &Commands::refuse, "refuse ADDRESS REASON [COUNT]",
       "the next connects fail with br-connection-REASON"},
      {"release", 2, 2, &Commands::release, "release ADDRESS", "a phone that holds answers its connect"},
      {"send", 4, 4, &Commands::send, "send ADDRESS UUID BYTES", "the phone sends more bytes of the pattern"},
      {"say", 4, 4, &Commands::say, "say ADDRESS UUID TEXT", "the phone sends this text"},
      {"traffic", 3, 3, &Commands::traffic, "traffic ADDRESS UUID",
       "what its newest link carried, and the first byte that is not the pattern's"},
      {"hands-free", 3, 3, &Commands::handsFree, "hands-free ADDRESS up|down", "the phone's hands-free link"},
      {"adapter", 3, 4, &Commands::adapter, "adapter add|remove|on|off NAME [ADDRESS]",
       "plugs in, pulls out, powers on or off"},
      {"bluetoothd", 2, 2, &Commands::bluetoothd, "bluetoothd start|stop|kill|restart",
       "stop as SIGTERM: links go down; kill as SIGKILL: links stay; restart is kill and start"},
      {"ofonod", 2, 2, &Commands::ofonod, "ofonod start|stop|kill|restart", "the same for oFono"},
      {"fail", 4, 5, &Commands::fail, "fail METHOD ERROR TEXT [COUNT]",
       "the next calls of a D-Bus method get this error; COUNT 0 undoes it"},
      {"pretend", 2, 3, &Commands::pretend, "pretend METHOD [COUNT]",
       "the next calls of a D-Bus method are answered as if they were done, and are not"},
      {"mute", 2, 3, &Commands::mute, "mute METHOD [COUNT]", "the next calls of a D-Bus method get no answer"},
      {"lose", 2, 3, &Commands::lose, "lose METHOD [COUNT]",
       "the next calls of a D-Bus method are done, and their answers are lost"},
      {"profiles", 1, 1, &Commands::profiles, "profiles", "the registered UUIDs"},
      {"state", 1, 1, &Commands::state, "state", "everything in numbers"},
      {"help", 1, 1, &Commands::help, "help", "this"},
      {"quit", 1, 1, &Commands::quit, "quit", "ends the simulation"},
  };
  return table;
}

Commands::Commands(Loop& loop, World& world, Daemons& daemons) : loop_(loop), world_(world), daemons_(daemons) {}

std::string Commands::run(const std::string& line) {
  const Words words = splitWords(line);
  if (words.empty()) {
    return "";
  }
  for (const Entry& entry : entries()) {
    if (words[0] == entry.name) {
      if (words.size() < entry.least || words.size() > entry.most) {
        throw CommandError(std::string("usage: ") + entry.usage);
      }
      return (this->*entry.handler)(words);
    }
  }
  throw CommandError("there is no command '" + words[0] + "'; see help");
}

std::string Commands::help() {
  std::string text = "commands:\n";
  for (const Entry& entry : entries()) {
    text += "  " + std::string(entry.usage) + "\n      " + entry.purpose + "\n";
  }
  return text + phoneSettingsHelp() + "byte i of the pattern: (i * 167 + (i >> 8) * 13 + (i >> 16) * 59) & 0xff\n";
}

std::string Commands::help(const Words& /*words*/) {
  return help();
}

// The answer still goes out.
std::string Commands::quit(const Words& /*words*/) {
  ending_ = loop_.after(0, [this] { loop_.stop(); });
  return kDone;
}

std::string Commands::adapter(const Words& words) {
  Adapter* const found = world_.findAdapter(words[2]);
  if (words[1] == "add") {
    if (found != nullptr) {
      throw CommandError("there is an adapter " + words[2] + " already");
    }
    Adapter added;
    added.name = words[2];
    if (words.size() > 3) {
      added.address = parseAddress(words[3]);
    }
    world_.addAdapter(added);
    return kDone;
  }
  if (found == nullptr) {
    throw CommandError("there is no adapter " + words[2]);
  }
  if (words[1] == "remove") {
    world_.removeAdapter(words[2]);
  } else {
    world_.setPowered(*found, parseFlag(words[1]));
  }
  return kDone;
}

std::string Commands::phone(const Words& words) {
  const std::string address = parseAddress(words[1]);
  Phone* const known = world_.findPhone(address);
  Phone fresh;
  fresh.address = address;
  const Phone wanted = withSettings(known == nullptr ? fresh : *known, words, 2, known == nullptr);
  if (world_.findAdapter(wanted.adapter) == nullptr) {
    throw CommandError("there is no adapter " + wanted.adapter);
  }
  if (known != nullptr && known->adapter != wanted.adapter) {
    throw CommandError("a phone does not change its adapter; forget it first");
  }
  if (known == nullptr) {
    world_.addPhone(wanted);
  } else {
    applySettings(world_, *known, wanted);
  }
  return kDone;
}

std::string Commands::phones(const Words& words) {
  if (words.size() == 1) {
    std::string list;
    for (const auto& [address, phone] : world_.phones()) {
      list += (list.empty() ? "" : " ") + address;
    }
    return list.empty() ? "none" : list;
  }
  const unsigned int count = countIn(words, 1);
  for (unsigned int i = 1; i <= count; ++i) {
    char address[18];
    snprintf(address, sizeof address, "00:AA:02:%02X:%02X:%02X", i >> 16 & 0xFF, i >> 8 & 0xFF, i & 0xFF);
    Phone fresh;
    fresh.address = address;
    fresh.name = "Phone " + std::to_string(i);
    if (world_.findPhone(address) == nullptr) {
      world_.addPhone(withSettings(fresh, words, 2, true));
    }
  }
  return kDone;
}

std::string Commands::forget(const Words& words) {
  world_.removePhone(phoneAt(words[1]));
  return kDone;
}

std::string Commands::refuse(const Words& words) {
  Phone& phone = phoneAt(words[1]);
  phone.refusals.insert(phone.refusals.end(), countIn(words, 3), words[2]);
  return kDone;
}

std::string Commands::release(const Words& words) {
  runningBluez().connector().releaseHeld(phoneAt(words[1]));
  return kDone;
}

std::string Commands::connect(const Words& words) {
  const std::string reason = runningBluez().connector().connectFromPhone(phoneAt(words[1]), words[2]);
  if (!reason.empty()) {
    throw CommandError(reason);
  }
  return kDone;
}

std::string Commands::drop(const Words& words) {
  const Phone& phone = phoneAt(words[1]);
  const bool isReset = words.back() == "reset";
  const bool hasUuid = words.size() == 4 || (words.size() == 3 && !isReset);
  return std::to_string(world_.dropLinks(phone, hasUuid ? words[2] : "", isReset ? Drop::kReset : Drop::kEnd));
}

std::string Commands::acl(const Words& words) {
  world_.setConnected(phoneAt(words[1]), parseFlag(words[2]));
  return kDone;
}

std::string Commands::send(const Words& words) {
  linkTo(words[1], words[2]).farEnd->source(parseNumber(words[3]));
  return kDone;
}

std::string Commands::say(const Words& words) {
  linkTo(words[1], words[2]).farEnd->say(words[3]);
  return kDone;
}

std::string Commands::traffic(const Words& words) {
  const Phone& phone = phoneAt(words[1]);
  const auto found = phone.traffic.find(words[2]);
  return lineOf(found == phone.traffic.end() ? Traffic() : *found->second);
}

std::string Commands::handsFree(const Words& words) {
  Phone& phone = phoneAt(words[1]);
  if (!phone.hasHandsFree) {
    throw CommandError("the phone has no hands-free; it comes with hands-free=yes");
  }
  world_.setHandsFree(phone, parseFlag(words[2]));
  return kDone;
}

std::string Commands::bluetoothd(const Words& words) {
  if (words[1] == "stop") {
    daemons_.stopBluez();
  } else if (words[1] == "kill" || words[1] == "restart") {
    daemons_.killBluez();
  } else if (words[1] != "start") {
    throw CommandError("'" + words[1] + "' is none of start, stop, kill, restart");
  }
  if (words[1] == "start" || words[1] == "restart") {
    daemons_.startBluez();
  }
  return kDone;
}

std::string Commands::ofonod(const Words& words) {
  if (words[1] == "stop" || words[1] == "kill" || words[1] == "restart") {
    daemons_.killOfono();
  } else if (words[1] != "start") {
    throw CommandError("'" + words[1] + "' is none of start, stop, kill, restart");
  }
  if (words[1] == "start" || words[1] == "restart") {
    daemons_.startOfono();
  }
  return kDone;
}

std::string Commands::fail(const Words& words) {
  const unsigned int count = words.size() > 4 && words[4] == "0" ? 0 : countIn(words, 4);
  daemons_.faults().order(words[1], Faults::Kind::kFail, count, {words[2], words[3]});
  return kDone;
}

std::string Commands::pretend(const Words& words) {
  daemons_.faults().order(words[1], Faults::Kind::kPretend, countIn(words, 2));
  return kDone;
}

std::string Commands::mute(const Words& words) {
  daemons_.faults().order(words[1], Faults::Kind::kMute, countIn(words, 2));
  return kDone;
}

std::string Commands::lose(const Words& words) {
  daemons_.faults().order(words[1], Faults::Kind::kLose, countIn(words, 2));
  return kDone;
}

std::string Commands::profiles(const Words& /*words*/) {
  std::string list;
  for (const std::string& uuid : runningBluez().profiles().uuids()) {
    list += (list.empty() ? "" : " ") + uuid;
  }
  return list.empty() ? "none" : list;
}

std::string Commands::state(const Words& /*words*/) {
  std::size_t connected = 0;
  std::size_t handsFree = 0;
  std::size_t links = 0;
  std::uint64_t received = 0;
  std::uint64_t sent = 0;
  for (const auto& [address, phone] : world_.phones()) {
    connected += phone.isConnected ? 1 : 0;
    handsFree += phone.isHandsFreeUp ? 1 : 0;
    links += world_.linksOf(phone).size();
    for (const auto& [uuid, traffic] : phone.traffic) {
      received += traffic->received;
      sent += traffic->sent;
    }
  }
  BluezDaemon* const bluez = daemons_.bluez();
  return "phones=" + std::to_string(world_.phones().size()) + " connected=" + std::to_string(connected) +
         " links=" + std::to_string(links) + " hands-free=" + std::to_string(handsFree) +
         " received=" + std::to_string(received) + " sent=" + std::to_string(sent) +
         " bluetoothd=" + (bluez == nullptr ? "no" : "yes") +
         " profiles=" + std::to_string(bluez == nullptr ? 0 : bluez->profiles().uuids().size()) +
         " ofonod=" + (daemons_.ofono() == nullptr ? "no" : "yes");
}

Phone& Commands::phoneAt(const std::string& word) {
  Phone* const phone = world_.findPhone(parseAddress(word));
  if (phone == nullptr) {
    throw CommandError("there is no phone " + word);
  }
  return *phone;
}

// The newest.
Link& Commands::linkTo(const std::string& address, const std::string& uuid) {
  const std::vector<Link*> links = world_.linksOf(phoneAt(address), uuid);
  if (links.empty()) {
    throw CommandError("there is no link to " + address + " for " + uuid);
  }
  return *links.back();
}

BluezDaemon& Commands::runningBluez() {
  if (daemons_.bluez() == nullptr) {
    throw CommandError("bluetoothd does not run");
  }
  return *daemons_.bluez();
}

}  // namespace bluez_sim
