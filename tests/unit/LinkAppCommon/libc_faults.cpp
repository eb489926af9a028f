#include "libc_faults.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <utility>

namespace {

std::atomic<LibcFaults*> active{nullptr};

// With 32 bits, functions that take an offset of 64 bits have names of their own; the compiler puts them in by itself.
#if defined(__LP64__)
#define WITH_OFFSET(name) name
#else
#define WITH_OFFSET(name) name "64"
#endif

template <class Function>
Function* nextInLine(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

int errorOf(LibcFaults::Call call) {
  LibcFaults* const faults = active.load();
  return faults == nullptr ? 0 : faults->nextError(call);
}

}  // namespace

LibcFaults::LibcFaults() {
  active.store(this);
}

LibcFaults::~LibcFaults() {
  active.store(nullptr);
}

void LibcFaults::fail(Call call, std::deque<int> errors) {
  scripts_[static_cast<int>(call)] = std::move(errors);
}

void LibcFaults::failShmOpenOf(const std::string& name, int error) {
  failingName_ = "/" + name;
  failingError_ = error;
}

int LibcFaults::nextError(Call call) {
  if (call == Call::ftruncate || call == Call::fallocate) {
    ++resizes;
  }
  std::deque<int>& script = scripts_[static_cast<int>(call)];
  if (script.empty()) {
    return 0;
  }
  const int error = script.front();
  script.pop_front();
  return error;
}

int LibcFaults::shmOpenError(const char* name, int flags, unsigned int mode) {
  shmOpens.push_back({name, flags, mode});
  return failingError_ != 0 && failingName_ == name ? failingError_ : nextError(Call::shmOpen);
}

// The parameters of these carry the names of the C library's declarations.
extern "C" int shm_open(const char* name, int oflag, mode_t mode) {
  LibcFaults* const faults = active.load();
  const int error = faults == nullptr ? 0 : faults->shmOpenError(name, oflag, mode);
  if (error != 0) {
    errno = error;
    return -1;
  }
  static auto* const next = nextInLine<int(const char*, int, mode_t)>("shm_open");
  return next(name, oflag, mode);
}

extern "C" int ftruncate(int fd, off_t length) noexcept {
  const int error = errorOf(LibcFaults::Call::ftruncate);
  if (error != 0) {
    errno = error;
    return -1;
  }
  static auto* const next = nextInLine<int(int, off_t)>(WITH_OFFSET("ftruncate"));
  return next(fd, length);
}

// Answers with the error itself and leaves errno alone.
extern "C" int posix_fallocate(int fd, off_t offset, off_t len) {
  const int error = errorOf(LibcFaults::Call::fallocate);
  if (error != 0) {
    return error;
  }
  static auto* const next = nextInLine<int(int, off_t, off_t)>(WITH_OFFSET("posix_fallocate"));
  return next(fd, offset, len);
}

extern "C" void* mmap(void* addr, std::size_t len, int prot, int flags, int fd, off_t offset) noexcept {
  const int error = (flags & MAP_SHARED) != 0 ? errorOf(LibcFaults::Call::mmap) : 0;
  if (error != 0) {
    errno = error;
    return MAP_FAILED;
  }
  static auto* const next = nextInLine<void*(void*, std::size_t, int, int, int, off_t)>(WITH_OFFSET("mmap"));
  return next(addr, len, prot, flags, fd, offset);
}
