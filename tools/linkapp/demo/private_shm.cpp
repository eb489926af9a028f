#include "demo/private_shm.h"

#include <errno.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <string>
#include <system_error>

namespace demo {
namespace {

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
         mount("tmpfs", "/dev/shm", "tmpfs", MS_NOSUID | MS_NODEV, "size=64m,mode=1777") == 0;
}

}  // namespace

bool enterPrivateShm(std::string& reason) {
  const bool isEntered = geteuid() == 0 ? unshare(CLONE_NEWNS) == 0 : enterUserNamespace();
  if (isEntered && mountShm()) {
    return true;
  }
  reason = std::generic_category().message(errno);
  return false;
}

bool isChannelInUse() {
  static const char* const kObjects[] = {"/dev/shm/iOSAppCommonLocalMem_ConnectStatus",
                                         "/dev/shm/iOSAppMem_Device1_From_HU", "/dev/shm/iOSAppMem_Device1_From_Device",
                                         "/dev/shm/iOSAppCommonLocalMem_AppInfo", "/dev/shm/VQSharedMemNotifier.log"};
  for (const char* const object : kObjects) {
    if (access(object, F_OK) == 0) {
      return true;
    }
  }
  return false;
}

}  // namespace demo
