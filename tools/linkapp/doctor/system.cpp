#include "doctor/system.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>
#include <system_error>

#include "doctor/files.h"
#include "platform/state_folder.h"
#include "text/fields.h"

namespace doctor {
namespace {

constexpr const char* kSettingsFile = "BtSetting.ini";

std::string reason(int error) {
  return std::generic_category().message(error);
}

Space readSpace(const std::string& folder) {
  struct statvfs status = {};
  if (statvfs(folder.c_str(), &status) != 0) {
    return {};
  }
  return {true, std::uint64_t{status.f_blocks} * status.f_frsize, std::uint64_t{status.f_bavail} * status.f_frsize};
}

// umask(2) cannot be asked without setting it.
mode_t ownUmask() {
  std::istringstream lines(contentOf("/proc/self/status"));
  for (std::string line; std::getline(lines, line);) {
    if (line.compare(0, 6, "Umask:") == 0) {
      return static_cast<mode_t>(std::strtoul(line.c_str() + 6, nullptr, 8));
    }
  }
  return 0;
}

// The nearest folder on the way that is there, since folders are made where they are missing. Nothing is made to find
// out. Empty where something else is in the way; then `problem` says what.
std::string nearestFolder(const std::string& root, const std::string& path, struct stat& status, std::string& problem) {
  std::string folder = path;
  while (stat((root + folder).c_str(), &status) != 0) {
    const std::size_t slash = folder.find_last_of('/');
    if (errno != ENOENT || slash == std::string::npos) {
      problem = text::quoted(folder) + ": " + reason(errno);
      return "";
    }
    folder = slash == 0 ? "/" : folder.substr(0, slash);
  }
  if (!S_ISDIR(status.st_mode)) {
    problem = text::quoted(folder) + ": " + reason(ENOTDIR);
    return "";
  }
  return folder;
}

// A new file takes the old one's place, so it is the folder that must be writable; the file must be one.
std::string problemOfFile(const std::string& root, const std::string& path) {
  struct stat status = {};
  return stat((root + path).c_str(), &status) == 0 && !S_ISREG(status.st_mode) ? text::quoted(path) + " is no file"
                                                                               : "";
}

SettingsFolder folderOf(const std::string& path) {
  return {path, path.empty() ? "none of VQ_SETTINGS_DIR, XDG_STATE_HOME and HOME is set" : ""};
}

// From "NAME=value", each with a NUL behind it.
std::string valueIn(const std::string& environment, const std::string& name) {
  for (std::size_t begin = 0; begin < environment.size();) {
    const std::size_t end = std::min(environment.find('\0', begin), environment.size());
    if (environment.compare(begin, name.size() + 1, name + "=") == 0) {
      return environment.substr(begin + name.size() + 1, end - begin - name.size() - 1);
    }
    begin = end + 1;
  }
  return "";
}

}  // namespace

bool isAllowed(const ChannelProcess& process, uid_t owner, gid_t group, mode_t mode, mode_t bits) {
  if (process.user == 0) {
    return true;
  }
  const bool isMember = process.group == group || process.groups.count(group) != 0;
  const mode_t given = process.user == owner ? mode >> 6 : isMember ? mode >> 3 : mode;
  return (given & bits) == bits;
}

SettingsFolder readSettingsFolder() {
  SettingsFolder folder = folderOf(platform::stateFolder());
  struct stat status = {};
  const std::string nearest =
      folder.problem.empty() ? nearestFolder("", folder.path, status, folder.problem) : std::string();
  if (!nearest.empty()) {
    const bool isWritable = faccessat(AT_FDCWD, nearest.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
    folder.problem = isWritable ? problemOfFile("", folder.path + "/" + kSettingsFile)
                                : text::quoted(nearest) + ": " + reason(errno);
  }
  return folder;
}

SettingsFolder readSettingsFolder(const ChannelProcess& process, const std::string& environment,
                                  const std::string& root) {
  const auto lookUp = [&environment](const char* name) { return valueIn(environment, name); };
  SettingsFolder folder = folderOf(platform::stateFolder(lookUp, process.user == 0));
  struct stat status = {};
  const std::string nearest =
      folder.problem.empty() ? nearestFolder(root, folder.path, status, folder.problem) : std::string();
  if (!nearest.empty()) {
    struct statvfs system = {};
    const bool isReadOnly = statvfs((root + nearest).c_str(), &system) == 0 && (system.f_flag & ST_RDONLY) != 0;
    const int error = isReadOnly                                                                    ? EROFS
                      : isAllowed(process, status.st_uid, status.st_gid, status.st_mode & 0777U, 3) ? 0
                                                                                                    : EACCES;
    folder.problem = error == 0 ? problemOfFile(root, folder.path + "/" + kSettingsFile)
                                : text::quoted(nearest) + ": " + reason(error);
  }
  return folder;
}

System readSystem(const inspect::Snapshot& snapshot, const Places& places) {
  System system;
  system.user = geteuid();
  system.group = getegid();
  system.umask = ownUmask();
  system.space = readSpace(places.channel.folder);
  system.ipcRemoval = readIpcRemoval(places.root);
  system.settings = readSettingsFolder();
  system.bus = readBus(places.root);
  system.processes = readProcesses(snapshot, places.channel.proc);
  return system;
}

}  // namespace doctor
