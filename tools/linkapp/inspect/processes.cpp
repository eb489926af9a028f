#include "inspect/processes.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>

namespace inspect {
namespace {

constexpr std::uint64_t kNanosecondsPerSecond = 1'000'000'000;

// None where it cannot be read; errno tells why.
std::optional<std::string> contentOf(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd == -1) {
    return std::nullopt;
  }
  std::string content;
  char buffer[16384];
  ssize_t got = 0;
  while ((got = read(fd, buffer, sizeof buffer)) > 0 || (got == -1 && errno == EINTR)) {
    content.append(buffer, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
  }
  const int error = errno;
  close(fd);
  errno = error;
  return got == 0 ? std::optional(content) : std::nullopt;
}

// "4711 (name) S 1 ...": the name itself may hold blanks and brackets. The start time is field 22.
void readStat(const std::string& line, Process& process) {
  const std::size_t begin = line.find('(');
  const std::size_t end = line.rfind(')');
  if (begin == std::string::npos || end == std::string::npos || end < begin || end + 2 >= line.size()) {
    return;
  }
  process.exists = true;
  process.name = line.substr(begin + 1, end - begin - 1);
  process.state = line[end + 2];
  std::size_t at = end + 1;
  for (int field = 3; field < 22 && at != std::string::npos; ++field) {
    at = line.find(' ', at + 1);
  }
  process.startTime = at == std::string::npos ? 0 : std::strtoull(line.c_str() + at, nullptr, 10);
}

std::string commandOf(const std::string& folder) {
  std::string command = contentOf(folder + "/cmdline").value_or("");  // each argument ends with a NUL
  while (!command.empty() && command.back() == '\0') {
    command.pop_back();
  }
  std::replace(command.begin(), command.end(), '\0', ' ');
  return command;
}

std::uint64_t nanosecondsOf(clockid_t clock) {
  timespec now = {};
  clock_gettime(clock, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * kNanosecondsPerSecond + static_cast<std::uint64_t>(now.tv_nsec);
}

// A line of /proc/PID/maps: "from-to rights offset major:minor inode   path".
struct Mapped {
  dev_t device = 0;
  ino_t inode = 0;
  std::string path;
};

Mapped parse(const std::string& line) {
  unsigned int major = 0;
  unsigned int minor = 0;
  unsigned long long inode = 0;
  int pathBegin = 0;
  if (sscanf(line.c_str(), "%*s %*s %*s %x:%x %llu %n", &major, &minor, &inode, &pathBegin) != 3 || pathBegin <= 0) {
    return {};
  }
  return {makedev(major, minor), static_cast<ino_t>(inode), line.substr(static_cast<std::size_t>(pathBegin))};
}

class Search {
 public:
  Search(const std::string& folder, const std::vector<ObjectFacts>& objects) : folder_(folder), objects_(objects) {
    struct stat status = {};
    device_ = stat(folder.c_str(), &status) == 0 ? status.st_dev : 0;
  }

  void lookAt(const std::string& maps, MappingProcess& found) const {
    for (std::size_t begin = 0; begin < maps.size();) {
      const std::size_t end = std::min(maps.find('\n', begin), maps.size());
      lookAt(parse(maps.substr(begin, end - begin)), found);
      begin = end + 1;
    }
  }

 private:
  // Device and inode decide: the same path is another object in another mount namespace.
  void lookAt(const Mapped& mapped, MappingProcess& found) const {
    for (const ObjectFacts& object : objects_) {
      if (object.exists && object.device == mapped.device && object.inode == mapped.inode) {
        found.objects.insert(object.name);
        return;
      }
    }
    for (const ObjectFacts& object : objects_) {
      const std::string path = folder_ + "/" + object.name;
      if (mapped.device == device_ && (mapped.path == path || mapped.path == path + " (deleted)")) {
        found.removed.insert(object.name);
      }
    }
  }

  const std::string folder_;
  const std::vector<ObjectFacts>& objects_;
  dev_t device_ = 0;
};

// 0 for what is no process.
std::uint32_t pidOf(const char* name) {
  char* end = nullptr;
  const unsigned long pid = std::strtoul(name, &end, 10);
  return *end == '\0' && pid < 1UL << 30 ? static_cast<std::uint32_t>(pid) : 0;
}

}  // namespace

Process readProcess(const std::string& proc, std::uint32_t pid) {
  Process process;
  process.pid = pid;
  const std::string folder = proc + "/" + std::to_string(pid);
  const auto line = pid == 0 ? std::nullopt : contentOf(folder + "/stat");
  if (line) {
    readStat(*line, process);
    process.command = commandOf(folder);
    struct stat status = {};
    process.user = stat(folder.c_str(), &status) == 0 ? status.st_uid : 0;
  }
  return process;
}

// Start times count from boot, the time that the machine was suspended included; messages carry a time without it.
bool hasEndedSince(const Process& process, std::uint64_t monotonicNanoseconds) {
  if (process.isDead()) {
    return true;
  }
  const std::uint64_t perTick = kNanosecondsPerSecond / static_cast<std::uint64_t>(std::max(sysconf(_SC_CLK_TCK), 1L));
  const std::uint64_t suspended = nanosecondsOf(CLOCK_BOOTTIME) - nanosecondsOf(CLOCK_MONOTONIC);
  const std::uint64_t latest = monotonicNanoseconds + suspended + 2 * perTick;
  return latest > monotonicNanoseconds && process.startTime * perTick > latest;
}

MappingProcesses findMappings(const std::string& proc, const std::string& folder,
                              const std::vector<ObjectFacts>& objects) {
  MappingProcesses found;
  const Search search(folder, objects);
  DIR* const directory = opendir(proc.c_str());
  if (directory == nullptr) {
    return found;
  }
  while (const dirent* const entry = readdir(directory)) {
    const std::uint32_t pid = pidOf(entry->d_name);
    if (pid == 0) {
      continue;
    }
    errno = 0;
    const auto maps = contentOf(proc + "/" + entry->d_name + "/maps");
    MappingProcess one;
    if (maps) {
      search.lookAt(*maps, one);
    } else if (errno == EACCES || errno == EPERM) {
      ++found.unseen;
    }
    if (!one.objects.empty() || !one.removed.empty()) {
      one.process = readProcess(proc, pid);
      one.process.pid = pid;
      found.processes.push_back(one);
    }
  }
  closedir(directory);
  std::sort(found.processes.begin(), found.processes.end(),
            [](const auto& a, const auto& b) { return a.process.pid < b.process.pid; });
  return found;
}

}  // namespace inspect
