#include "tests/faults/calls.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <cstdlib>

#include "tests/support/roles.h"

namespace faults {
namespace {

// What a file system, a full table and a short memory answer with, and EINTR where the kernel can give it.
const std::vector<Call>& table() {
  static const auto* const all = new std::vector<Call>{
      {"access", "access", {ENOENT, EACCES, ELOOP, EIO}},
      {"atexit", "__cxa_atexit", {ENOMEM}},
      {"atfork", "__register_atfork", {ENOMEM}},
      {"clock_gettime", "clock_gettime", {EINVAL, EPERM}},
      {"close", "close", {EINTR, EIO, ENOSPC, EDQUOT}},
      {"dprintf", "dprintf", {EIO, ENOSPC, EBADF}},
      {"fchmod", "fchmod", {EPERM, EROFS, EIO}},
      {"fchown", "fchown", {EPERM, EROFS, EIO, EDQUOT}},
      {"fcntl", "fcntl", {EINTR, ENOLCK, EDEADLK, EACCES}},
      {"flock", "flock", {EINTR, ENOLCK, EBADF}},
      {"flock (unlock)", "flock", {EINTR, ENOLCK}},
      {"fstat", "fstat", {EIO, ENOMEM, EOVERFLOW}},
      {"fsync", "fsync", {EINTR, EIO, ENOSPC, EDQUOT, EROFS}},
      {"ftruncate", "ftruncate", {EIO, ENOSPC, EFBIG, EPERM}},
      {"futex wait", "syscall", {EAGAIN, EINTR, ENOMEM}},
      {"futex wake", "syscall", {ENOMEM, EFAULT}},
      {"kill", "kill", {EPERM, ESRCH}},
      {"membarrier", "syscall", {ENOMEM, EPERM, ENOSYS}},
      {"mkdir", "mkdir", {EACCES, ENOSPC, EDQUOT, EROFS, ELOOP, EMLINK, EIO}},
      {"mmap", "mmap", {ENOMEM, EAGAIN, EACCES, ENFILE, EPERM}},
      {"munmap", "munmap", {ENOMEM}},
      {"mutex init", "pthread_mutex_init", {ENOMEM, EAGAIN, ENOTSUP}},
      {"mutex lock", "pthread_mutex_lock", {EOWNERDEAD, ENOTRECOVERABLE, EAGAIN}},
      {"mutex trylock", "pthread_mutex_trylock", {EBUSY, EOWNERDEAD, ENOTRECOVERABLE, EAGAIN}},
      {"mutexattr init", "pthread_mutexattr_init", {ENOMEM}},
      {"mutexattr setprotocol", "pthread_mutexattr_setprotocol", {ENOTSUP}},
      {"new", "operator new", {ENOMEM}},
      {"new (nothrow)", "operator new", {ENOMEM}},
      {"open", "open", {EINTR, EACCES, ELOOP, EMFILE, ENFILE, ENOMEM, ENOSPC, EDQUOT, EROFS, EIO}},
      {"poll", "poll", {EINTR, ENOMEM}},
      {"posix_fallocate", "posix_fallocate", {EINTR, ENOSPC, EFBIG, EIO, ENODEV}},
      {"pread", "pread", {EINTR, EIO, kShort}},
      {"pthread_create", "std::thread", {EAGAIN, EPERM, ENOMEM}},
      {"pthread_key_create", "pthread_key_create", {EAGAIN, ENOMEM}},
      {"pthread_setspecific", "pthread_setspecific", {ENOMEM}},
      {"read", "read", {EINTR, EIO, EISDIR, ENOMEM, kShort}},
      {"rename", "rename", {EACCES, EPERM, EROFS, ENOSPC, EDQUOT, EIO, ELOOP, ENOENT}},
      {"rmdir", "rmdir", {}},  // after another call has failed; what it answers is not looked at
      {"sched_getcpu", "sched_getcpu", {ENOSYS, EPERM}},
      {"sendto", "sendto", {EINTR, EAGAIN, ECONNREFUSED, ENOENT, EACCES, ENOBUFS, ENOMEM, EMSGSIZE, ENOTCONN, EPIPE}},
      {"shm_open", "shm_open", {EACCES, EPERM, ELOOP, EMFILE, ENFILE, ENOMEM, ENOSPC}},
      {"socket", "socket", {EAFNOSUPPORT, EACCES, EMFILE, ENFILE, ENOBUFS, ENOMEM}},
      {"stat", "stat", {EACCES, ELOOP, EIO, ENOMEM}},
      {"sysconf", "sysconf", {EINVAL}},
      {"unlink", "unlink", {EACCES, EPERM, EROFS, EIO, ENOENT}},
      {"write", "write", {EINTR, EAGAIN, EIO, ENOSPC, EDQUOT, EFBIG, EPIPE, kShort}},
  };
  return *all;
}

// "NAME<tab>SYMBOL" for imports.sh.
TEST_ROLE(list_calls) {
  for (const Call& call : table()) {
    test_support::say(std::string(call.name) + "\t" + call.symbol);
  }
  return 0;
}

}  // namespace

const std::vector<Call>& calls() {
  return table();
}

const Call& callOf(const std::string& name) {
  const auto found =
      std::find_if(table().begin(), table().end(), [&name](const Call& call) { return name == call.name; });
  if (found == table().end()) {
    fprintf(stderr, "call '%s' is not listed\n", name.c_str());
    abort();
  }
  return *found;
}

std::string nameOf(int error) {
  const char* const name = strerrorname_np(error);
  return error == kShort ? "short" : name == nullptr ? std::to_string(error) : name;
}

}  // namespace faults
