// Checks of what the channel stands on: libraries, logind, settings, Bluetooth.
#include <algorithm>
#include <map>

#include "doctor/checks.h"
#include "doctor/words.h"

namespace doctor {
namespace {

constexpr uid_t kLastSystemUser = 999;  // as systemd and Debian draw the line
constexpr uid_t kFirstPassingUser = 61184;
constexpr uid_t kNobody = 65534;
constexpr const char* kGroupOfPolicy = "linkapp";

// Which processes have which file of a library.
using Files = std::map<std::pair<std::uint64_t, std::uint64_t>, std::vector<const ChannelProcess*>>;

const Library& libraryOf(const ChannelProcess& process, const std::string& name) {
  return *std::find_if(process.libraries.begin(), process.libraries.end(),
                       [&name](const Library& library) { return library.name == name; });
}

std::string buildText(const Library& library) {
  return text::quoted(library.path) + (library.buildId.empty() ? "" : " (build " + library.buildId.substr(0, 12) + ")");
}

void checkLibrary(const std::string& name, const Files& files, Findings& findings) {
  std::map<std::string, std::string> builds;  // build id, or path where there is none, to words
  for (const auto& file : files) {
    const Library& library = libraryOf(*file.second.front(), name);
    std::vector<inspect::Process> users;
    for (const ChannelProcess* const user : file.second) {
      users.push_back(user->process);
    }
    std::string& words = builds[library.buildId.empty() ? library.path : library.buildId];
    words += (words.empty() ? "" : "; ") + buildText(library) + " in " + processesText(users);
  }
  if (builds.size() < 2) {
    return;
  }
  std::string proof;
  for (const auto& build : builds) {
    proof += (proof.empty() ? "" : "; ") + build.second;
  }
  findings.push_back({Level::kFault, "processes use different versions of " + name, proof,
                      "they need not mean the same by the same bytes; a log or lock of another layout is refused",
                      "install one version, and restart every process of the channel"});
}

bool isOrdinary(uid_t user) {
  return user > kLastSystemUser && user != kNobody && !(user >= kFirstPassingUser && user < kNobody);
}

std::vector<std::string> ordinaryUsers(const Examination& all) {
  std::vector<std::string> users;
  const auto add = [&users](uid_t user, const std::string& why) {
    const std::string words = userText(user) + " (" + why + ")";
    if (isOrdinary(user) && std::find(users.begin(), users.end(), words) == users.end()) {
      users.push_back(words);
    }
  };
  for (const inspect::Segment* const segment : all.snapshot.segments()) {
    if (segment->object.exists) {
      add(segment->object.owner, "owns objects");
    }
  }
  for (const ChannelProcess& process : all.system.processes) {
    add(process.user, "runs " + processText(process.process));
  }
  return users;
}

void checkAdapters(const Bus& bus, Findings& findings) {
  const bool isOn =
      std::any_of(bus.adapters.begin(), bus.adapters.end(), [](const Adapter& adapter) { return adapter.isPowered; });
  if (bus.adapters.empty()) {
    findings.push_back({Level::kFault, "there is no Bluetooth adapter", "BlueZ runs and lists none",
                        "no phone with Bluetooth SPP links, and no hands-free link is seen; iPhones over USB do",
                        "plug it in, or see why the kernel does not show it (rfkill list, dmesg)"});
  } else if (!isOn) {
    findings.push_back({Level::kFault, "no Bluetooth adapter is powered",
                        "BlueZ says of " + bus.adapters.front().name + ": Powered is false",
                        "no phone with Bluetooth SPP links", "bluetoothctl power on, or rfkill unblock bluetooth"});
  }
}

// Who is not root needs the policy, or one of the image's own.
void checkPolicy(const Examination& all, Findings& findings) {
  for (const ChannelProcess& process : all.system.processes) {
    const bool usesBluetooth = std::any_of(process.libraries.begin(), process.libraries.end(),
                                           [](const Library& library) { return library.name == "libVQBluetooth.so"; });
    if (process.user != 0 && usesBluetooth && !all.system.bus.hasPolicy) {
      findings.push_back({Level::kNote, "the bus policy for head-unit users is not installed",
                          "there is no linkapp-bluez.conf in /usr/share/dbus-1/system.d or /etc/dbus-1/system.d, and " +
                              processText(process.process) + " runs as " + userText(process.user),
                          "unless the image has a policy of its own, BlueZ refuses its calls",
                          std::string("install platform/bluez/policy and put the user into the group ") +
                              kGroupOfPolicy + " (docs/bluetooth.md)"});
      return;
    }
  }
}

}  // namespace

void checkVersions(const Examination& all, Findings& findings) {
  std::map<std::string, Files> libraries;
  std::map<unsigned int, std::vector<inspect::Process>> bits;
  for (const ChannelProcess& process : all.system.processes) {
    for (const Library& library : process.libraries) {
      libraries[library.name][{library.device, library.inode}].push_back(&process);
    }
    if (process.bits != 0) {
      bits[process.bits].push_back(process.process);
    }
  }
  for (const auto& library : libraries) {
    checkLibrary(library.first, library.second, findings);
  }
  if (bits.size() > 1) {
    findings.push_back({Level::kFault, "32-bit and 64-bit processes use one channel",
                        "32 bits: " + processesText(bits[32]) + "; 64 bits: " + processesText(bits[64]),
                        "lock objects and log are laid out differently: the second kind refuses them, and has no part",
                        "build all processes of the channel for one word size"});
  }
}

void checkIpcRemoval(const Examination& all, Findings& findings) {
  const IpcRemoval& removal = all.system.ipcRemoval;
  const std::vector<std::string> users = ordinaryUsers(all);
  if (removal.hasLogind && removal.isOn && !users.empty()) {
    findings.push_back({Level::kFault, "logind removes the channel when its user logs out",
                        "RemoveIPC is on (" + removal.said + "), and not a system user's: " + joined(users),
                        "at the end of the user's last session the objects in /dev/shm go, and processes that run lose "
                        "each other",
                        "run the channel as system users, or set RemoveIPC=no in "
                        "/etc/systemd/logind.conf.d/linkapp.conf and restart systemd-logind"});
  }
}

// Of the processes that run; where none can be looked into, of who looks.
void checkSettings(const Examination& all, Findings& findings) {
  std::map<std::string, std::vector<inspect::Process>> users;  // by problem
  bool isAnySeen = false;
  const auto textOf = [](const SettingsFolder& folder, uid_t user) {
    return folder.problem + (folder.path.empty() ? "" : "; the folder is " + text::quoted(folder.path)) +
           ", the user " + userText(user);
  };
  for (const ChannelProcess& process : all.system.processes) {
    isAnySeen = isAnySeen || process.settings.has_value();
    if (process.settings && !process.settings->problem.empty()) {
      users[textOf(*process.settings, process.user)].push_back(process.process);
    }
  }
  if (!isAnySeen && !all.system.settings.problem.empty()) {
    users[textOf(all.system.settings, all.system.user)] = {};
  }
  for (const auto& [problem, processes] : users) {
    findings.push_back(
        {Level::kFault,
         processes.empty() ? "settings cannot be written" : "settings cannot be written by " + processesText(processes),
         problem,
         "\"LinkAppDevice\" in BtSetting.ini is not kept: the hands-free link of an iPhone over "
         "Bluetooth is not reported",
         "set VQ_SETTINGS_DIR to a folder that the processes may write, for each of them"});
  }
}

void checkBluetooth(const Examination& all, Findings& findings) {
  constexpr const char* kWithout =
      "no phone with Bluetooth SPP links, and no hands-free link is seen; the iOS channel works all the same";
  const Bus& bus = all.system.bus;
  switch (bus.state) {
    case Bus::State::kUnchecked:
      findings.push_back({Level::kUnchecked, "Bluetooth was not looked at", "this build has no D-Bus (libsystemd)", "",
                          "see `busctl status org.bluez` and `bluetoothctl show`"});
      return;
    case Bus::State::kNoBus:
      findings.push_back(
          {Level::kFault, "the D-Bus system bus cannot be reached",
           bus.problem + "; address " + text::quoted(bus.address), kWithout,
           "start dbus, or set DBUS_SYSTEM_BUS_ADDRESS; --skip bluetooth where there is none on purpose"});
      return;
    case Bus::State::kNoBlueZ:
      findings.push_back({Level::kFault, "bluetoothd does not run",
                          "nobody has the name org.bluez on the bus: " + bus.problem, kWithout,
                          "systemctl start bluetooth; journalctl -u bluetooth"});
      return;
    case Bus::State::kDenied:
      findings.push_back({Level::kFault, "the bus policy keeps user " + userText(all.system.user) + " away from BlueZ",
                          bus.problem, kWithout,
                          "install platform/bluez/policy and put the user into the group linkapp (docs/bluetooth.md)"});
      return;
    case Bus::State::kStrange:
      findings.push_back({Level::kFault, "BlueZ does not answer as it should", bus.problem, kWithout,
                          "systemctl restart bluetooth; journalctl -u bluetooth"});
      return;
    case Bus::State::kReachable:
      checkAdapters(bus, findings);
      checkPolicy(all, findings);
      return;
  }
}

}  // namespace doctor
