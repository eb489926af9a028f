#include <dlfcn.h>
#include <errno.h>
#include <stdarg.h>

#include <cstddef>

#include "benchmarks/cost/lens.h"

// The C library's own functions behind names that are taken from it here; looking them up with dlsym would allocate.
extern "C" {
void* __libc_malloc(std::size_t size);                           // NOLINT(bugprone-reserved-identifier): its name
void* __libc_calloc(std::size_t count, std::size_t size);        // NOLINT(bugprone-reserved-identifier)
void* __libc_realloc(void* memory, std::size_t size);            // NOLINT(bugprone-reserved-identifier)
void* __libc_memalign(std::size_t alignment, std::size_t size);  // NOLINT(bugprone-reserved-identifier)
}

namespace bench {
namespace {

std::atomic<Account*> open{nullptr};

void addAllocation() {
  Account* const account = open;
  if (account != nullptr) {
    account->add(account->allocations);
  }
}

void addCall() {
  Account* const account = open;
  if (account != nullptr) {
    account->add(account->calls);
  }
}

using Syscall = long (*)(long, ...);

Syscall syscallOfLibrary() {
  static const Syscall function = reinterpret_cast<Syscall>(dlsym(RTLD_NEXT, "syscall"));
  return function;
}

}  // namespace

bool canLook(Way way) {
  return way != Way::kCallgrind;
}

void beginToLook(Account& account) {
  open = &account;
}

void endToLook(Account& /*account*/) {
  open = nullptr;
}

}  // namespace bench

// Definitions of the program come before the C library's, for every library that it loads. What is given here goes back
// through the C library's free. Arguments are named as in its headers.
extern "C" {

[[gnu::visibility("default")]] void* malloc(std::size_t size) {
  bench::addAllocation();
  return __libc_malloc(size);
}

[[gnu::visibility("default")]] void* calloc(std::size_t nmemb, std::size_t size) {
  bench::addAllocation();
  return __libc_calloc(nmemb, size);
}

[[gnu::visibility("default")]] void* realloc(void* ptr, std::size_t size) {
  bench::addAllocation();
  return __libc_realloc(ptr, size);
}

[[gnu::visibility("default")]] void* aligned_alloc(std::size_t alignment, std::size_t size) {
  bench::addAllocation();
  return __libc_memalign(alignment, size);
}

[[gnu::visibility("default")]] int posix_memalign(void** memptr, std::size_t alignment, std::size_t size) {
  bench::addAllocation();
  *memptr = __libc_memalign(alignment, size);
  return *memptr != nullptr ? 0 : ENOMEM;
}

// No system call has more arguments than six; a function that takes them from registers gets them all in any case.
[[gnu::visibility("default")]] long syscall(long number, ...) {
  bench::addCall();
  va_list list;
  va_start(list, number);
  long arguments[6];
  for (long& argument : arguments) {
    argument = va_arg(list, long);
  }
  va_end(list);
  return bench::syscallOfLibrary()(number, arguments[0], arguments[1], arguments[2], arguments[3], arguments[4],
                                   arguments[5]);
}
}
