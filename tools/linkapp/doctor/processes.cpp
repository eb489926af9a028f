// Processes of the channel, beyond what a snapshot says of them.
#include <sys/sysmacros.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>

#include "doctor/elf.h"
#include "doctor/files.h"
#include "doctor/system.h"

namespace doctor {
namespace {

constexpr const char* kLibraries[] = {"libLinkAppCommon.so", "libVQFramework.so", "libVQBluetooth.so"};
constexpr const char* kDeleted = " (deleted)";

// "Uid:  real effective saved file", "Umask: 0022", ...
void readStatus(const std::string& text, ChannelProcess& process) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string key;
    words >> key;
    unsigned int number = 0;
    if (key == "Uid:" && words >> number >> number) {
      process.user = number;
    } else if (key == "Gid:" && words >> number >> number) {
      process.group = number;
    } else if (key == "Groups:") {
      while (words >> number) {
        process.groups.insert(number);
      }
    } else if (key == "Umask:" && words >> std::oct >> number) {
      process.umask = number;
    }
  }
}

// "libVQFramework.so" for ".../libVQFramework.so.0.1"; empty for another file.
std::string libraryOf(const std::string& path) {
  const std::string name = path.substr(path.rfind('/') + 1);
  for (const char* const library : kLibraries) {
    if (name.compare(0, std::string(library).size(), library) == 0) {
      return library;
    }
  }
  return "";
}

void lookAtMapping(const std::string& line, const std::string& folder, ChannelProcess& process) {
  unsigned int major = 0;
  unsigned int minor = 0;
  unsigned long long inode = 0;
  char range[64] = {};
  int pathBegin = 0;
  const int read = sscanf(line.c_str(), "%63s %*s %*s %x:%x %llu %n", range, &major, &minor, &inode, &pathBegin);
  if (read != 4 || pathBegin <= 0 || static_cast<std::size_t>(pathBegin) >= line.size()) {
    return;
  }
  Library library;
  library.path = line.substr(static_cast<std::size_t>(pathBegin));
  library.name = libraryOf(library.path);
  library.device = makedev(major, minor);
  library.inode = inode;
  const bool isKnown = std::any_of(process.libraries.begin(), process.libraries.end(), [&](const Library& known) {
    return known.device == library.device && known.inode == library.inode;
  });
  if (library.name.empty() || isKnown) {
    return;
  }
  const std::size_t mark = library.path.rfind(kDeleted);
  library.isReplaced = mark != std::string::npos && mark + std::string(kDeleted).size() == library.path.size();
  // What is mapped, whatever has its path now; root alone may look there.
  library.buildId = buildIdOf(folder + "/map_files/" + range);
  if (library.buildId.empty() && !library.isReplaced) {
    library.buildId = buildIdOf(folder + "/root" + library.path);
  }
  process.libraries.push_back(library);
}

ChannelProcess read(const std::string& proc, const inspect::Process& process) {
  ChannelProcess one;
  one.process = process;
  one.user = process.user;
  const std::string folder = proc + "/" + std::to_string(process.pid);
  readStatus(contentOf(folder + "/status"), one);
  const std::string maps = contentOf(folder + "/maps", std::size_t{16} << 20);
  one.isSeen = !maps.empty();
  std::istringstream lines(maps);
  for (std::string line; std::getline(lines, line);) {
    lookAtMapping(line, folder, one);
  }
  one.bits = wordBitsOf(folder + "/exe");
  const std::string environment = contentOf(folder + "/environ");
  if (!environment.empty()) {
    one.settings = readSettingsFolder(one, environment, folder + "/root");
  }
  return one;
}

}  // namespace

std::vector<ChannelProcess> readProcesses(const inspect::Snapshot& snapshot, const std::string& proc) {
  std::map<std::uint32_t, ChannelProcess> all;
  for (const inspect::MappingProcess& mapping : snapshot.mappings.processes) {
    ChannelProcess& process = all[mapping.process.pid] = read(proc, mapping.process);
    process.objects = mapping.objects;
    process.removed = mapping.removed;
  }
  for (const inspect::ReceiverView& receiver : snapshot.receivers) {
    if (!receiver.isGone && all.count(receiver.listed.pid) == 0) {
      all[receiver.listed.pid] = read(proc, receiver.process);
    }
  }
  std::vector<ChannelProcess> processes;
  processes.reserve(all.size());
  for (auto& entry : all) {
    processes.push_back(std::move(entry.second));
  }
  return processes;
}

}  // namespace doctor
