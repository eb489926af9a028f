#include "reset/attached.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <utility>

#include "platform/reference/message_log_layout.h"
#include "text/file.h"

namespace reset {
namespace {

using vqframework::AttachedPlace;
using vqframework::MessageLogObject;

// Tells an object from one of the same name in another /dev/shm.
using FileId = std::pair<dev_t, ino_t>;

std::set<FileId> idsOf(const std::vector<std::string>& objects) {
  std::set<FileId> ids;
  for (const std::string& name : objects) {
    struct stat status = {};
    if (stat(("/dev/shm/" + name).c_str(), &status) == 0) {
      ids.insert({status.st_dev, status.st_ino});
    }
  }
  return ids;
}

// A line of /proc/PID/maps: "from-to rights offset major:minor inode path".
FileId fileOf(const std::string& mapping) {
  unsigned int major = 0;
  unsigned int minor = 0;
  unsigned long long inode = 0;
  if (sscanf(mapping.c_str(), "%*s %*s %*s %x:%x %llu", &major, &minor, &inode) != 3) {
    return {0, 0};
  }
  return {makedev(major, minor), static_cast<ino_t>(inode)};
}

bool hasMapped(const std::string& pid, const std::set<FileId>& ids) {
  std::ifstream maps("/proc/" + pid + "/maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.find("/dev/shm/") != std::string::npos && ids.count(fileOf(line)) != 0) {
      return true;
    }
  }
  return false;
}

// Empty, or less than all of it, where the process ends meanwhile.
std::string contentOf(const std::string& path) {
  std::string content;
  text::readFile(path, content);
  return content;
}

AttachedProcess describe(const std::string& pid) {
  AttachedProcess process;
  process.pid = static_cast<pid_t>(std::atol(pid.c_str()));
  process.name = contentOf("/proc/" + pid + "/comm");
  if (!process.name.empty()) {
    process.name.pop_back();  // the line break
  }
  process.command = contentOf("/proc/" + pid + "/cmdline");  // each argument ends with a NUL
  if (!process.command.empty()) {
    process.command.pop_back();
  }
  std::replace(process.command.begin(), process.command.end(), '\0', ' ');
  return process;
}

// Field 22 of /proc/PID/stat; 0 where it cannot be read.
unsigned long long startTimeOf(const std::string& pid) {
  const std::string line = contentOf("/proc/" + pid + "/stat");
  std::size_t at = line.rfind(')');  // the name itself may hold blanks and brackets
  for (int field = 3; field <= 22 && at != std::string::npos; ++field) {
    at = line.find(' ', at + 1);
  }
  return at == std::string::npos ? 0 : std::strtoull(line.c_str() + at, nullptr, 10);
}

bool isWhole(const MessageLogObject& log) {
  return log.header.isReady.load(std::memory_order_acquire) == 1 && log.header.magic == vqframework::kMessageLogMagic &&
         log.header.layoutVersion == vqframework::kMessageLogVersion && log.header.objectSize == sizeof log;
}

// A process that has ended without a farewell leaves its place; its number may be another process's by now.
bool isAlive(const AttachedPlace& place, const std::string& pid) {
  const unsigned long long listed = place.startTime.load(std::memory_order_relaxed);
  const unsigned long long present = startTimeOf(pid);
  return present != 0 && (listed == 0 || listed == present);
}

// Looks only: the log is not made, and nothing in it is changed.
std::set<std::string> listedProcesses() {
  std::set<std::string> pids;
  const int fd = shm_open((std::string("/") + vqframework::kMessageLogName).c_str(), O_RDONLY, 0);
  struct stat status = {};
  if (fd == -1) {
    return pids;
  }
  void* const mapping = fstat(fd, &status) == 0 && status.st_size == static_cast<off_t>(sizeof(MessageLogObject))
                            ? mmap(nullptr, sizeof(MessageLogObject), PROT_READ, MAP_SHARED, fd, 0)
                            : MAP_FAILED;
  close(fd);
  if (mapping == MAP_FAILED) {
    return pids;
  }
  const auto* const log = static_cast<const MessageLogObject*>(mapping);
  for (std::size_t i = 0; isWhole(*log) && i < vqframework::kPlaceCount; ++i) {
    const std::string pid = std::to_string(log->places[i].pid.load(std::memory_order_relaxed));
    if (pid != "0" && isAlive(log->places[i], pid)) {
      pids.insert(pid);
    }
  }
  munmap(mapping, sizeof(MessageLogObject));
  return pids;
}

bool isNumber(const std::string& name) {
  return !name.empty() && name.find_first_not_of("0123456789") == std::string::npos;
}

}  // namespace

std::vector<AttachedProcess> attachedProcesses(const std::vector<std::string>& objects) {
  const std::set<FileId> ids = idsOf(objects);
  std::set<std::string> pids = listedProcesses();
  std::error_code ignored;  // a process may end while it is looked at
  for (const auto& entry : std::filesystem::directory_iterator("/proc", ignored)) {
    const std::string name = entry.path().filename();
    if (isNumber(name) && hasMapped(name, ids)) {
      pids.insert(name);
    }
  }
  pids.erase(std::to_string(getpid()));
  std::vector<AttachedProcess> attached;
  attached.reserve(pids.size());
  for (const std::string& pid : pids) {
    attached.push_back(describe(pid));
  }
  std::sort(attached.begin(), attached.end(), [](const auto& a, const auto& b) { return a.pid < b.pid; });
  return attached;
}

}  // namespace reset
