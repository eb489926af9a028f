#include "tests/unit/bluez/scarce_memory.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<unsigned int> given{0};
std::atomic<unsigned int> refused{0};

bool takeOne(std::atomic<unsigned int>& count) {
  unsigned int left = count.load();
  while (left != 0 && !count.compare_exchange_weak(left, left - 1)) {
  }
  return left != 0;
}

bool isRefused() {
  const bool isMain = syscall(SYS_gettid) == getpid();
  return !isMain && !takeOne(given) && takeOne(refused);
}

}  // namespace

namespace scarce_memory {

void plan(unsigned int givenFirst, unsigned int refusedThen) {
  given = givenFirst;
  refused = refusedThen;
}

unsigned int refusalsLeft() {
  return refused;
}

}  // namespace scarce_memory

void* operator new(std::size_t size) {
  void* const memory = isRefused() ? nullptr : malloc(size == 0 ? 1 : size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

void operator delete(void* memory) noexcept {
  free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
  free(memory);
}
