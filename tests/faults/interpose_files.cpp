// Files, shared objects and sockets. Definitions of the program come before the C library's, for every library that it
// loads. Arguments are named as in the C library's headers.
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <stdarg.h>
#include <string.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "tests/faults/plan.h"
#include "tests/faults/real.h"

namespace {

// Whether it is to fail; the error number is set then.
bool fails(int error) {
  if (error != 0) {
    errno = error;
  }
  return error != 0;
}

// What a library opens must not stay open in a program that the process becomes.
void demandCloseOnExec(const char* what, bool isDemanded) {
  if (faults::isWatched() && !isDemanded) {
    static_cast<void>(!write(STDERR_FILENO, what, strlen(what)));
    abort();
  }
}

}  // namespace

extern "C" {

[[gnu::visibility("default")]] int shm_open(const char* name, int oflag, mode_t mode) {
  if (fails(faults::errorOfPath("shm_open", name))) {
    return -1;
  }
  return FAULTS_REAL(shm_open)(name, oflag, mode);
}

[[gnu::visibility("default")]] int ftruncate(int fd, off_t length) noexcept {
  if (fails(faults::errorOfDescriptor("ftruncate", fd))) {
    return -1;
  }
  return FAULTS_REAL(ftruncate)(fd, length);
}

// Answers with the error itself and leaves errno alone.
[[gnu::visibility("default")]] int posix_fallocate(int fd, off_t offset, off_t len) {
  const int error = faults::errorOfDescriptor("posix_fallocate", fd);
  return error != 0 ? error : FAULTS_REAL(posix_fallocate)(fd, offset, len);
}

// Shared mappings only: the others are the memory's.
[[gnu::visibility("default")]] void* mmap(void* addr, std::size_t len, int prot, int flags, int fd,
                                          off_t offset) noexcept {
  if ((flags & MAP_SHARED) != 0 && fails(faults::errorOfDescriptor("mmap", fd))) {
    return MAP_FAILED;
  }
  return FAULTS_REAL(mmap)(addr, len, prot, flags, fd, offset);
}

[[gnu::visibility("default")]] int munmap(void* addr, std::size_t len) noexcept {
  if (fails(faults::errorOf("munmap"))) {
    return -1;
  }
  return FAULTS_REAL(munmap)(addr, len);
}

[[gnu::visibility("default")]] int fstat(int fd, struct stat* buf) noexcept {
  if (fails(faults::errorOfDescriptor("fstat", fd))) {
    return -1;
  }
  return FAULTS_REAL(fstat)(fd, buf);
}

[[gnu::visibility("default")]] int stat(const char* file, struct stat* buf) noexcept {
  if (fails(faults::errorOfPath("stat", file))) {
    return -1;
  }
  using Function = int(const char*, struct stat*);
  static std::atomic<void*> found{nullptr};
  return faults::realFunction<Function>(found, "stat", "__interceptor_stat")(file, buf);
}

[[gnu::visibility("default")]] int fchmod(int fd, mode_t mode) noexcept {
  if (fails(faults::errorOfDescriptor("fchmod", fd))) {
    return -1;
  }
  return FAULTS_REAL(fchmod)(fd, mode);
}

[[gnu::visibility("default")]] int fchown(int fd, uid_t owner, gid_t group) noexcept {
  if (fails(faults::errorOfDescriptor("fchown", fd))) {
    return -1;
  }
  return FAULTS_REAL(fchown)(fd, owner, group);
}

[[gnu::visibility("default")]] int fcntl(int fd, int cmd, ...) {
  if (cmd == F_SETLKW && fails(faults::errorOfDescriptor("fcntl", fd))) {
    return -1;
  }
  va_list list;
  va_start(list, cmd);
  void* const argument = va_arg(list, void*);
  va_end(list);
  return FAULTS_REAL(fcntl)(fd, cmd, argument);
}

[[gnu::visibility("default")]] int flock(int fd, int operation) noexcept {
  if (fails(faults::errorOfDescriptor(operation == LOCK_UN ? "flock (unlock)" : "flock", fd))) {
    return -1;
  }
  return FAULTS_REAL(flock)(fd, operation);
}

[[gnu::visibility("default")]] int open(const char* file, int oflag, ...) {
  demandCloseOnExec("open without O_CLOEXEC\n", (oflag & O_CLOEXEC) != 0);
  if (fails(faults::errorOfPath("open", file))) {
    return -1;
  }
  va_list list;
  va_start(list, oflag);
  const mode_t mode = (oflag & O_CREAT) != 0 ? va_arg(list, mode_t) : 0;
  va_end(list);
  return FAULTS_REAL(open)(file, oflag, mode);
}

// A descriptor is closed whatever close says.
[[gnu::visibility("default")]] int close(int fd) {
  const int error = faults::errorOfDescriptor("close", fd);
  const int result = FAULTS_REAL(close)(fd);
  return fails(error) ? -1 : result;
}

[[gnu::visibility("default")]] ssize_t read(int fd, void* buf, std::size_t nbytes) {
  const int error = faults::errorOfDescriptor("read", fd);
  if (error != faults::kShort && fails(error)) {
    return -1;
  }
  return FAULTS_REAL(read)(fd, buf, error == faults::kShort && nbytes > 1 ? 1 : nbytes);
}

[[gnu::visibility("default")]] ssize_t pread(int fd, void* buf, std::size_t nbytes, off_t offset) {
  const int error = faults::errorOfDescriptor("pread", fd);
  if (error != faults::kShort && fails(error)) {
    return -1;
  }
  return FAULTS_REAL(pread)(fd, buf, error == faults::kShort && nbytes > 1 ? 1 : nbytes, offset);
}

[[gnu::visibility("default")]] ssize_t write(int fd, const void* buf, std::size_t n) {
  const int error = faults::errorOfDescriptor("write", fd);
  if (error != faults::kShort && fails(error)) {
    return -1;
  }
  return FAULTS_REAL(write)(fd, buf, error == faults::kShort && n > 1 ? 1 : n);
}

[[gnu::visibility("default")]] int poll(pollfd* fds, nfds_t nfds, int timeout) {
  if (fails(faults::errorOf("poll"))) {
    return -1;
  }
  return FAULTS_REAL(poll)(fds, nfds, timeout);
}

[[gnu::visibility("default")]] int fsync(int fd) {
  if (fails(faults::errorOfDescriptor("fsync", fd))) {
    return -1;
  }
  return FAULTS_REAL(fsync)(fd);
}

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the C library's names are reserved
[[gnu::visibility("default")]] int rename(const char* from, const char* to) noexcept {
  if (fails(faults::errorOfPath("rename", to))) {
    return -1;
  }
  return FAULTS_REAL(rename)(from, to);
}

[[gnu::visibility("default")]] int unlink(const char* name) noexcept {
  if (fails(faults::errorOfPath("unlink", name))) {
    return -1;
  }
  return FAULTS_REAL(unlink)(name);
}

[[gnu::visibility("default")]] int mkdir(const char* path, mode_t mode) noexcept {
  if (fails(faults::errorOfPath("mkdir", path))) {
    return -1;
  }
  return FAULTS_REAL(mkdir)(path, mode);
}

[[gnu::visibility("default")]] int rmdir(const char* path) noexcept {
  if (fails(faults::errorOfPath("rmdir", path))) {
    return -1;
  }
  return FAULTS_REAL(rmdir)(path);
}

[[gnu::visibility("default")]] int access(const char* name, int type) noexcept {
  if (fails(faults::errorOfPath("access", name))) {
    return -1;
  }
  return FAULTS_REAL(access)(name, type);
}

[[gnu::visibility("default")]] int socket(int domain, int type, int protocol) noexcept {
  demandCloseOnExec("socket without SOCK_CLOEXEC\n", (type & SOCK_CLOEXEC) != 0);
  if (fails(faults::errorOf("socket"))) {
    return -1;
  }
  return FAULTS_REAL(socket)(domain, type, protocol);
}

[[gnu::visibility("default")]] ssize_t sendto(int fd, const void* buf, std::size_t n, int flags, const sockaddr* addr,
                                              socklen_t addr_len) {
  if (fails(faults::errorOf("sendto"))) {
    return -1;
  }
  return FAULTS_REAL(sendto)(fd, buf, n, flags, addr, addr_len);
}

[[gnu::visibility("default")]] int dprintf(int fd, const char* fmt, ...) {
  if (fails(faults::errorOf("dprintf"))) {
    return -1;
  }
  va_list list;
  va_start(list, fmt);
  const int result = vdprintf(fd, fmt, list);
  va_end(list);
  return result;
}
}
