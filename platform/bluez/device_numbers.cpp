#include "platform/bluez/device_numbers.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <utility>

#include "platform/bluez/log.h"
#include "platform/descriptor.h"
#include "platform/state_folder.h"
#include "platform/uninterrupted.h"

using platform::Descriptor;
using platform::uninterrupted;
using platform::writeAll;

namespace vqbluez {
namespace {

constexpr const char* kFile = "bt-devices";
constexpr const char* kAside = "bt-devices.new";
constexpr mode_t kFileMode = 0664;
constexpr mode_t kFolderMode = 0755;
constexpr std::size_t kLongestFile = std::size_t{1024} * 1024;
constexpr NumberTable::Seconds kDay =
    24L * 60 * 60;  // the file is not written more often just to note that one is paired

NumberTable::Seconds now() {
  return time(nullptr);
}

void makeFolders(const std::string& path) {
  for (std::size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
    mkdir(path.substr(0, slash).c_str(), kFolderMode);
  }
  mkdir(path.c_str(), kFolderMode);
}

// File systems that lie behind a network or another process answer with EINTR while signals come.
int openIn(int folder, const char* name, int flags, mode_t mode = 0) {
  return uninterrupted([&] { return openat(folder, name, flags | O_CLOEXEC, mode); });
}

// All of these: 0, or the error number.

int lockFolder(const std::string& path, Descriptor& folder) {
  makeFolders(path);
  folder = Descriptor(openIn(AT_FDCWD, path.c_str(), O_RDONLY | O_DIRECTORY));
  if (!folder.isOpen()) {
    return errno;
  }
  return uninterrupted([&folder] { return flock(folder.get(), LOCK_EX); }) == 0 ? 0 : errno;
}

// A pipe or a device of this name must not make the caller wait.
int readFile(int folder, std::string& text) {
  const Descriptor file(openIn(folder, kFile, O_RDONLY | O_NONBLOCK));
  if (!file.isOpen()) {
    return errno == ENOENT ? 0 : errno;
  }
  struct stat status = {};
  if (fstat(file.get(), &status) != 0) {
    return errno;
  }
  if (!S_ISREG(status.st_mode)) {
    return EINVAL;
  }
  char buffer[4096];
  while (text.size() < kLongestFile) {
    const ssize_t count = read(file.get(), buffer, sizeof buffer);
    if (count == 0) {
      return 0;
    }
    if (count > 0) {
      text.append(buffer, static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return EFBIG;
}

// Readers see the old table or the new one, also after a loss of power.
int replaceFile(int folder, const std::string& text) {
  unlinkat(folder, kAside, 0);  // what a loss of power left behind
  const Descriptor aside(openIn(folder, kAside, O_WRONLY | O_CREAT | O_EXCL, kFileMode));
  if (!aside.isOpen()) {
    return errno;
  }
  int error = writeAll(aside.get(), text);
  if (error == 0 && uninterrupted([&aside] { return fsync(aside.get()); }) != 0) {
    error = errno;
  }
  if (error != 0) {
    unlinkat(folder, kAside, 0);
    return error;
  }
  return renameat(folder, kAside, folder, kFile) == 0 ? 0 : errno;
}

}  // namespace

DeviceNumbers::DeviceNumbers() : folder_(platform::stateFolder()) {}

// Runs `change` on the table as it stands in the file, and writes it back where that says so (second of the pair).
// What this process has given goes before the file, which may be gone, or out of reach.
template <class Change>
auto DeviceNumbers::changeFile(Change change) -> decltype(change(std::declval<NumberTable&>()).first) {
  if (memory_) {
    return change(*memory_).first;
  }
  Descriptor folder;
  std::string text;
  int error = folder_.empty() ? ENOENT : lockFolder(folder_, folder);
  if (error == 0) {
    error = readFile(folder.get(), text);
  }
  NumberTable table = NumberTable::parse(error == 0 ? text : "");
  for (const auto& [device, number] : inUse_) {
    table.keep(device, number, now());
  }
  const auto [result, isChanged] = change(table);
  if (error != 0) {
    leaveFile(table, "read", error);
    return result;
  }
  error = isChanged ? replaceFile(folder.get(), table.text()) : 0;
  if (error != 0) {
    leaveFile(table, "write", error);
  }
  return result;
}

std::optional<std::uint8_t> DeviceNumbers::numberOf(const DeviceKey& device) {
  const auto known = inUse_.find(device);
  if (known != inUse_.end()) {
    return known->second;
  }
  std::set<DeviceKey> paired;
  for (const auto& [other, number] : inUse_) {
    paired.insert(other);
  }
  const auto number = changeFile([&](NumberTable& table) {
    const bool isNew = !table.find(device).has_value();
    const auto given = table.give(device, paired, now());
    const bool isOld = table.see(device, now(), kDay);
    return std::pair(given, (isNew && given.has_value()) || isOld);
  });
  if (number) {
    inUse_[device] = *number;
  }
  return number;
}

void DeviceNumbers::noteUnpaired(const DeviceKey& device) {
  if (inUse_.count(device) != 0) {
    changeFile([&](NumberTable& table) { return std::pair(0, table.see(device, now(), 0)); });
    inUse_.erase(device);
  }
}

void DeviceNumbers::leaveFile(const NumberTable& table, const char* what, int error) {
  memory_ = table;
  logLine("cannot %s the device numbers in %s/%s, new ones end with this process: %s", what, folder_.c_str(), kFile,
          strerror(error));
}

}  // namespace vqbluez
