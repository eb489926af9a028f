#include "tests/unit/framework/settings_faults.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

std::string& failingStep() {
  static std::string* const step = new std::string;
  return *step;
}

bool takeStep(const std::string& step) {
  settings_faults::steps().push_back(step);
  if (step == failingStep()) {
    errno = EIO;
    return false;
  }
  return true;
}

}  // namespace

namespace settings_faults {

std::vector<std::string>& steps() {
  static std::vector<std::string>* const taken = new std::vector<std::string>;
  return *taken;
}

void failAt(const std::string& step) {
  failingStep() = step;
}

}  // namespace settings_faults

// The executable's own come before the C library's, for the framework library too.
extern "C" {

__attribute__((visibility("default"))) int fsync(int fd) {
  struct stat status = {};
  fstat(fd, &status);
  if (!takeStep(S_ISDIR(status.st_mode) ? "fsync folder" : "fsync file")) {
    return -1;
  }
  return static_cast<int>(syscall(SYS_fsync, fd));
}

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the C library's names are reserved
__attribute__((visibility("default"))) int rename(const char* from, const char* to) noexcept {
  if (!takeStep("rename")) {
    return -1;
  }
  return static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
}
}
