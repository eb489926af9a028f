#include "demo/private_shm.h"

#include <errno.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace demo {
namespace {

constexpr const char* kShmFolder = "/dev/shm";

bool writeFile(const char* path, const std::string& text) {
  const int fd = open(path, O_WRONLY | O_CLOEXEC);
  const bool written = fd != -1 && write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  if (fd != -1) {
    close(fd);
  }
  return written;
}

// An ordinary user may mount inside a user namespace, where he is mapped to himself.
bool enterUserNamespace() {
  const std::string uid = std::to_string(getuid());
  const std::string gid = std::to_string(getgid());
  return unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 && writeFile("/proc/self/setgroups", "deny") &&
         writeFile("/proc/self/uid_map", uid + " " + uid + " 1") &&
         writeFile("/proc/self/gid_map", gid + " " + gid + " 1");
}

bool mountShm() {
  return mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         mount("tmpfs", kShmFolder, "tmpfs", MS_NOSUID | MS_NODEV, "size=64m,mode=1777") == 0;
}

// Names in the machine's /dev/shm that belong to the channel or to its framework.
std::vector<std::string> channelObjects() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(kShmFolder)) {
    const std::string name = entry.path().filename();
    for (const char* const beginning : {"iOSAppCommonLocalMem_", "iOSAppMem_Device", "VQSharedMemNotifier"}) {
      if (name.rfind(beginning, 0) == 0) {
        names.push_back(name);
      }
    }
  }
  return names;
}

}  // namespace

bool enterPrivateShm(std::string& reason) {
  // In a container even root may need the user namespace.
  if ((unshare(CLONE_NEWNS) == 0 || enterUserNamespace()) && mountShm()) {
    return true;
  }
  reason = std::generic_category().message(errno);
  return false;
}

bool takeMachineShm(std::string& reason) {
  // Held until this process ends: demos take turns. The processes that it starts do not inherit it.
  const int folder = open(kShmFolder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder == -1 || flock(folder, LOCK_EX) != 0) {
    reason = std::generic_category().message(errno);
    return false;
  }
  const std::vector<std::string> objects = channelObjects();
  if (!objects.empty()) {
    reason = "a system may be running: there is " + objects.front();
  }
  return objects.empty();
}

void clearMachineShm() {
  for (const std::string& name : channelObjects()) {
    unlink((std::string(kShmFolder) + "/" + name).c_str());
  }
}

}  // namespace demo
