#include "platform/reference/shared_object.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <system_error>

#include "platform/descriptor.h"
#include "platform/inprocess/fork_state.h"

using platform::Descriptor;

namespace vqframework {
namespace {

constexpr mode_t kMode = 0664;
constexpr int kTriesInACircle = 3000;
constexpr int kPauseInACircle = 1;  // milliseconds

std::string reason(const char* what, int error) {
  return std::string(what) + ": " + std::generic_category().message(error);
}

int openObject(const std::string& objectName) {
  int fd = shm_open(objectName.c_str(), O_CREAT | O_RDWR, kMode);
  if (fd == -1 && errno == EACCES) {
    // A sticky directory refuses O_CREAT on another owner's object even where its mode would let us in.
    fd = shm_open(objectName.c_str(), O_RDWR, 0);
    if (fd == -1 && errno == ENOENT) {
      errno = EACCES;  // what stands in the way is that it may not be made
    }
  }
  return fd;
}

// One process at a time makes the object whole. The kernel takes this lock back from a process that dies; it goes with
// the descriptor. (Not flock: a forked child would inherit it.)
// It belongs to the process, not to the thread: where one thread holds a file's lock and another one waits for some
// other file's, the kernel sees circles that are none, and refuses with EDEADLK. Nobody waits for a lock while he makes
// an object, so this one comes free in a moment. An error that stays has another reason: the tries come to an end.
bool lockForSetup(int fd) {
  struct flock range = {};
  range.l_type = F_WRLCK;
  range.l_whence = SEEK_SET;
  int tries = kTriesInACircle;
  while (fcntl(fd, F_SETLKW, &range) == -1) {
    const bool isCircle = errno == EDEADLK;
    if (errno != EINTR && (!isCircle || --tries == 0)) {
      return false;
    }
    if (isCircle) {
      poll(nullptr, 0, kPauseInACircle);
    }
  }
  return true;
}

// Whether nothing is left to set up. Who may only read an object can hold a file lock on it, too: he must not be able
// to keep anybody from one that is whole.
bool isWhole(int fd, const SharedObjectKind& kind) {
  struct stat status = {};
  std::uint32_t isReady = 0;
  constexpr ssize_t kAll = sizeof isReady;
  return fstat(fd, &status) == 0 && static_cast<std::size_t>(status.st_size) >= kind.size &&
         pread(fd, &isReady, sizeof isReady, offsetof(SharedHeader, isReady)) == kAll && isReady != 0;
}

// 0, or the error number. Reserves the pages before it sets the size: an object of full size has them.
int bringToSize(int fd, std::size_t size) {
  struct stat status = {};
  if (fstat(fd, &status) != 0) {
    return errno;
  }
  if (static_cast<std::size_t>(status.st_size) >= size) {
    return 0;
  }
  int error = 0;
  do {
    error = posix_fallocate(fd, 0, static_cast<off_t>(size));
  } while (error == EINTR);
  return error;
}

std::string describeMismatch(const SharedHeader& header, const SharedObjectKind& kind) {
  if (header.magic != kind.magic) {
    return "it holds something else";
  }
  if (header.wordSize != sizeof(void*)) {
    return "it was made by a " + std::to_string(header.wordSize * 8) + "-bit process, this one has " +
           std::to_string(sizeof(void*) * 8) + " bits";
  }
  if (header.layoutVersion != kind.layoutVersion) {
    return "it has layout version " + std::to_string(header.layoutVersion) + ", this library needs " +
           std::to_string(kind.layoutVersion);
  }
  if (header.mutexSize != sizeof(pthread_mutex_t) || header.objectSize != kind.size) {
    return "it was made with another C library or build";
  }
  return "";
}

// 0, or the error number; the object is not marked as ready then.
int makeWhole(void* object, const SharedObjectKind& kind) {
  memset(object, 0, kind.size);
  if (const int error = kind.initialize(object)) {
    return error;
  }
  SharedHeader& header = *static_cast<SharedHeader*>(object);
  header.magic = kind.magic;
  header.layoutVersion = kind.layoutVersion;
  header.wordSize = static_cast<std::uint32_t>(sizeof(void*));
  header.mutexSize = static_cast<std::uint32_t>(sizeof(pthread_mutex_t));
  header.objectSize = kind.size;
  header.isReady.store(1, std::memory_order_release);
  return 0;
}

}  // namespace

void* mapObject(const std::string& name, const SharedObjectKind& kind, std::string& error) {
  noteSharedUse();
  const Descriptor fd(openObject("/" + name));
  if (fd.get() == -1) {
    error = reason("shm_open", errno);
    return nullptr;
  }
  if (!isWhole(fd.get(), kind) && !lockForSetup(fd.get())) {
    error = reason("fcntl", errno);
    return nullptr;
  }
  const int sizeError = bringToSize(fd.get(), kind.size);
  if (sizeError != 0) {
    error = reason("posix_fallocate", sizeError);
    return nullptr;
  }
  void* const object = mmap(nullptr, kind.size, PROT_READ | PROT_WRITE, MAP_SHARED, fd.get(), 0);
  if (object == MAP_FAILED) {
    error = reason("mmap", errno);
    return nullptr;
  }
  const SharedHeader& header = *static_cast<const SharedHeader*>(object);
  if (header.isReady.load(std::memory_order_acquire) == 0) {
    if (const int setupError = makeWhole(object, kind)) {
      error = reason("pthread_mutex_init", setupError);
      munmap(object, kind.size);
      return nullptr;
    }
  }
  const std::string mismatch = describeMismatch(header, kind);
  if (!mismatch.empty()) {
    error = mismatch + "; stop every process that uses it and remove /dev/shm/" + name;
    munmap(object, kind.size);
    return nullptr;
  }
  return object;
}

void unmapObject(void* object, std::size_t size) {
  munmap(object, size);
}

}  // namespace vqframework
