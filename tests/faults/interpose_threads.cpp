// Threads, locks, the clock and what else the kernel does. Arguments are named as in the C library's headers.
#include <errno.h>
#include <linux/futex.h>
#include <linux/membarrier.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <stdarg.h>
#include <string.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include "tests/faults/clock.h"
#include "tests/faults/plan.h"
#include "tests/faults/real.h"

namespace {

constexpr int kRobustKind = 16;  // of the C library: what it adds to the kind of a robust mutex

// Those in shared objects. The standard library's mutexes are of no use to a fault: they cannot fail.
bool isRobust(const pthread_mutex_t* mutex) {
  return (mutex->__data.__kind & kRobustKind) != 0;
}

// What stands in for a call that failed: with EOWNERDEAD the mutex is taken all the same.
int answerOfLock(int error, int (*lock)(pthread_mutex_t*), pthread_mutex_t* mutex) {
  if (error != EOWNERDEAD) {
    return error;
  }
  const int result = lock(mutex);
  return result == 0 ? EOWNERDEAD : result;
}

const char* nameOfCall(long number, long operation) {
  if (number == SYS_membarrier) {
    return "membarrier";
  }
  if (number != SYS_futex) {
    return nullptr;
  }
  return (operation & FUTEX_CMD_MASK) == FUTEX_WAIT_BITSET ? "futex wait" : "futex wake";
}

}  // namespace

extern "C" {

[[gnu::visibility("default")]] int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept {
  const int error = isRobust(mutex) ? faults::errorOfAddress("mutex trylock", mutex) : 0;
  return error != 0 ? answerOfLock(error, FAULTS_REAL(pthread_mutex_trylock), mutex)
                    : FAULTS_REAL(pthread_mutex_trylock)(mutex);
}

[[gnu::visibility("default")]] int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  const int error = isRobust(mutex) ? faults::errorOfAddress("mutex lock", mutex) : 0;
  return error != 0 ? answerOfLock(error, FAULTS_REAL(pthread_mutex_lock), mutex)
                    : FAULTS_REAL(pthread_mutex_lock)(mutex);
}

[[gnu::visibility("default")]] int pthread_mutex_init(pthread_mutex_t* mutex,
                                                      const pthread_mutexattr_t* mutexattr) noexcept {
  const int error = faults::errorOf("mutex init");
  return error != 0 ? error : FAULTS_REAL(pthread_mutex_init)(mutex, mutexattr);
}

[[gnu::visibility("default")]] int pthread_mutexattr_init(pthread_mutexattr_t* attr) noexcept {
  const int error = faults::errorOf("mutexattr init");
  return error != 0 ? error : FAULTS_REAL(pthread_mutexattr_init)(attr);
}

[[gnu::visibility("default")]] int pthread_mutexattr_setprotocol(pthread_mutexattr_t* attr, int protocol) noexcept {
  const int error = faults::errorOf("mutexattr setprotocol");
  return error != 0 ? error : FAULTS_REAL(pthread_mutexattr_setprotocol)(attr, protocol);
}

[[gnu::visibility("default")]] int pthread_create(pthread_t* newthread, const pthread_attr_t* attr,
                                                  void* (*start_routine)(void*), void* arg) noexcept {
  const int error = faults::errorOf("pthread_create");
  return error != 0 ? error : FAULTS_REAL(pthread_create)(newthread, attr, start_routine, arg);
}

[[gnu::visibility("default")]] int pthread_setname_np(pthread_t target_thread, const char* name) noexcept {
  if (strcmp(name, "vq-delivery") == 0) {
    faults::thisIsTheDeliveryThread();
  }
  return FAULTS_REAL(pthread_setname_np)(target_thread, name);
}

[[gnu::visibility("default")]] int pthread_key_create(pthread_key_t* key, void (*destr_function)(void*)) noexcept {
  const int error = faults::errorAtStart("pthread_key_create");
  return error != 0 ? error : FAULTS_REAL(pthread_key_create)(key, destr_function);
}

[[gnu::visibility("default")]] int pthread_setspecific(pthread_key_t key, const void* pointer) noexcept {
  const int error = faults::errorOf("pthread_setspecific");
  return error != 0 ? error : FAULTS_REAL(pthread_setspecific)(key, pointer);
}

// What pthread_atfork and atexit are made of; both lie in the program itself.
int __register_atfork(void (*prepare)(), void (*parent)(), void (*child)(), void* handle);  // NOLINT: its name
int __cxa_atexit(void (*function)(void*), void* argument, void* handle) noexcept;           // NOLINT: its name

// NOLINTNEXTLINE(bugprone-reserved-identifier): its name
[[gnu::visibility("default")]] int __register_atfork(void (*prepare)(), void (*parent)(), void (*child)(),
                                                     void* handle) {
  const int error = faults::errorAtStart("atfork");
  return error != 0 ? error : FAULTS_REAL(__register_atfork)(prepare, parent, child, handle);
}

// NOLINTNEXTLINE(bugprone-reserved-identifier): its name
[[gnu::visibility("default")]] int __cxa_atexit(void (*function)(void*), void* argument, void* handle) noexcept {
  return faults::errorOf("atexit") != 0 ? -1 : FAULTS_REAL(__cxa_atexit)(function, argument, handle);
}

// No system call has more arguments than six; a function that takes them from registers gets them all in any case.
[[gnu::visibility("default")]] long syscall(long sysno, ...) noexcept {
  va_list list;
  va_start(list, sysno);
  long arguments[6];
  for (long& argument : arguments) {
    argument = va_arg(list, long);
  }
  va_end(list);
  if (const char* const name = nameOfCall(sysno, arguments[1])) {
    int error = faults::errorOf(name);
    if (error == 0 && sysno == SYS_membarrier && arguments[0] == MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED) {
      error = faults::errorAtStart(name);
    }
    if (error != 0) {
      errno = error;
      return -1;
    }
  }
  return FAULTS_REAL(syscall)(sysno, arguments[0], arguments[1], arguments[2], arguments[3], arguments[4],
                              arguments[5]);
}

[[gnu::visibility("default")]] int clock_gettime(clockid_t clock_id, timespec* tp) noexcept {
  faults::noteClock(clock_id);
  const int error = faults::errorOf("clock_gettime");
  if (error != 0) {
    errno = error;
    return -1;
  }
  const int result = FAULTS_REAL(clock_gettime)(clock_id, tp);
  faults::bend(clock_id, *tp);
  return result;
}

[[gnu::visibility("default")]] int pthread_cond_clockwait(pthread_cond_t* cond, pthread_mutex_t* mutex,
                                                          clockid_t clock_id, const timespec* abstime) noexcept(false) {
  faults::noteClock(clock_id);
  return FAULTS_REAL(pthread_cond_clockwait)(cond, mutex, clock_id, abstime);
}

[[gnu::visibility("default")]] int kill(pid_t pid, int sig) noexcept {
  const int error = sig == 0 ? faults::errorOf("kill") : 0;
  if (error != 0) {
    errno = error;
    return -1;
  }
  return FAULTS_REAL(kill)(pid, sig);
}

[[gnu::visibility("default")]] int sched_getcpu() noexcept {
  const int error = faults::errorOf("sched_getcpu");
  if (error != 0) {
    errno = error;
    return -1;
  }
  return FAULTS_REAL(sched_getcpu)();
}

[[gnu::visibility("default")]] long sysconf(int name) noexcept {
  const int error = faults::errorOf("sysconf");
  if (error != 0) {
    errno = error;
    return -1;
  }
  return FAULTS_REAL(sysconf)(name);
}
}
