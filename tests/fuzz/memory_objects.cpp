#include "tests/fuzz/memory_objects.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <map>

#include "tests/fuzz/require.h"

namespace {

// By name, with the slash in front. Descriptors stay open: the objects live as long as the process.
std::map<std::string, int>& objects() {
  static auto* const instance = new std::map<std::string, int>;
  return *instance;
}

int create(const std::string& name) {
  const int fd = memfd_create("object", MFD_CLOEXEC);
  fuzz::require(fd != -1, "there is memory for an object");
  objects()[name] = fd;
  return fd;
}

}  // namespace

// The C library's would go to /dev/shm.
extern "C" __attribute__((visibility("default"))) int shm_open(const char* name, int flags, mode_t /*mode*/) {
  const auto found = objects().find(name);
  if (found != objects().end() && (flags & O_EXCL) != 0) {
    errno = EEXIST;
    return -1;
  }
  if (found == objects().end() && (flags & O_CREAT) == 0) {
    errno = ENOENT;
    return -1;
  }
  const int fd = found == objects().end() ? create(name) : found->second;
  return fcntl(fd, F_DUPFD_CLOEXEC, 0);
}

extern "C" __attribute__((visibility("default"))) int shm_unlink(const char* name) {
  const auto found = objects().find(name);
  if (found == objects().end()) {
    errno = ENOENT;
    return -1;
  }
  close(found->second);
  objects().erase(found);
  return 0;
}

void fuzz::resizeObject(const std::string& name, std::size_t size) {
  const auto found = objects().find("/" + name);
  const int fd = found == objects().end() ? create("/" + name) : found->second;
  require(ftruncate(fd, static_cast<off_t>(size)) == 0, "the object can be resized");
}
