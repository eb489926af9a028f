// Role "traced_opens OFF|ON ROLE ARGUMENT...": runs ROLE in a process that logs every shm_open as
//   shm_open NAME FLAGS RESULT        FLAGS "exclusive", "create" or "plain"; RESULT "opened" or why not
// ON: it behaves as under the kernel's setting fs.protected_regular=2, which refuses O_CREAT on another owner's file in
// a sticky folder that others may write.
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "tests/support/roles.h"
#include "tests/support/shm_files.h"

namespace {

bool isTraced = false;
bool isProtected = false;

// The kernel's rule. (With O_EXCL it does not come to that: the file is there already.)
bool isRefused(const char* name, int flags) {
  if (!isProtected || (flags & O_CREAT) == 0 || (flags & O_EXCL) != 0) {
    return false;
  }
  struct stat folder = {};
  struct stat file = {};
  return stat(test_support::shmFile("").c_str(), &folder) == 0 &&
         stat(test_support::shmFile(name).c_str(), &file) == 0 && (folder.st_mode & S_ISVTX) != 0 &&
         (folder.st_mode & (S_IWGRP | S_IWOTH)) != 0 && file.st_uid != folder.st_uid && file.st_uid != geteuid();
}

TEST_ROLE(traced_opens) {
  isTraced = true;
  isProtected = args.at(0) == "ON";
  return test_support::runRole(args.at(1), {args.begin() + 2, args.end()});
}

}  // namespace

// The executable's own comes before the C library's, for the libraries too.
extern "C" __attribute__((visibility("default"))) int shm_open(const char* name, int oflag, mode_t mode) {
  static auto* const next = reinterpret_cast<int (*)(const char*, int, mode_t)>(dlsym(RTLD_NEXT, "shm_open"));
  int fd = -1;
  if (isRefused(name, oflag)) {
    errno = EACCES;
  } else {
    fd = next(name, oflag, mode);
  }
  if (isTraced) {
    const int error = errno;
    const char* const flags = (oflag & O_EXCL) != 0 ? "exclusive" : (oflag & O_CREAT) != 0 ? "create" : "plain";
    dprintf(STDERR_FILENO, "shm_open %s %s %s\n", name + 1, flags, fd == -1 ? strerror(error) : "opened");
    errno = error;
  }
  return fd;
}
