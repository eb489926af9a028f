// What the machine around the channel is like: processes, file systems, configuration, bus.
//
// A plain record, so that the checks can be shown a machine that is not this one.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "inspect/snapshot.h"

namespace doctor {

// Where to look.
struct Places {
  inspect::Place channel;
  std::string root;  // stands before /etc, /run and /usr; empty for this machine
};

struct SettingsFolder {
  std::string path;     // empty where this user has none
  std::string problem;  // why nothing can be written there; empty where it can
};

// One of the channel's libraries in a process.
struct Library {
  std::string name;     // "libLinkAppCommon.so"
  std::string path;     // as the kernel shows it
  std::string buildId;  // hexadecimal digits; empty where it cannot be read or there is none
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  bool isReplaced = false;  // the file is no longer what has that path
};

// A process that has the channel mapped, or that the notifier's table lists.
struct ChannelProcess {
  inspect::Process process;
  bool isSeen = false;  // its maps could be read; else all but its user is unknown
  uid_t user = 0;       // effective
  gid_t group = 0;
  std::set<gid_t> groups;
  std::optional<mode_t> umask;
  unsigned int bits = 0;  // of its program: 32, 64; 0 = unknown
  std::vector<Library> libraries;
  std::optional<SettingsFolder> settings;  // none where its environment cannot be read
  std::set<std::string> objects;           // mapped
  std::set<std::string> removed;           // mapped, but no longer what has the name
};

struct Space {
  bool isKnown = false;
  std::uint64_t total = 0;
  std::uint64_t free = 0;  // bytes that anybody may take
};

// logind's RemoveIPC, after all files that set it.
struct IpcRemoval {
  bool hasLogind = false;
  bool isOn = false;
  std::string said;  // "/etc/systemd/logind.conf:7", or that it is the default
};

struct Adapter {
  std::string name;  // "hci0"
  std::string address;
  bool isPowered = false;
};

struct BluetoothDevice {
  std::string address;
  bool isPaired = false;
  bool isConnected = false;
  std::vector<std::string> uuids;
};

struct Bus {
  enum class State {
    kUnchecked,  // this build has no D-Bus
    kNoBus,
    kNoBlueZ,
    kDenied,   // the bus lets nobody of this user ask BlueZ
    kStrange,  // BlueZ answers something else than it should, or not in time
    kReachable,
  };
  State state = State::kUnchecked;
  std::string address;  // of the bus
  std::string problem;  // as the bus or the system says it
  std::vector<Adapter> adapters;
  std::vector<BluetoothDevice> devices;
  bool hasPolicy = false;  // LinkApp's bus policy is installed
};

struct System {
  uid_t user = 0;  // that looks
  gid_t group = 0;
  mode_t umask = 0;
  Space space;
  IpcRemoval ipcRemoval;
  SettingsFolder settings;
  Bus bus;
  std::vector<ChannelProcess> processes;  // by pid
};

// As the kernel decides by the mode; access lists and capabilities are not looked at. `bits` as of one of the three
// classes: 6 to read and write, 3 to make files in a folder.
bool isAllowed(const ChannelProcess& process, uid_t owner, gid_t group, mode_t mode, mode_t bits);

System readSystem(const inspect::Snapshot& snapshot, const Places& places);

// Parts of it, each by itself.
std::vector<ChannelProcess> readProcesses(const inspect::Snapshot& snapshot, const std::string& proc);
IpcRemoval readIpcRemoval(const std::string& root);
SettingsFolder readSettingsFolder();
SettingsFolder readSettingsFolder(const ChannelProcess& process, const std::string& environment,
                                  const std::string& root);
Bus readBus(const std::string& root);

}  // namespace doctor
