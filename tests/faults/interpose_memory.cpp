// Memory that C++ takes and gives back: counted, and refused where planned.
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

#include "tests/faults/held.h"
#include "tests/faults/plan.h"

namespace {

std::atomic<long> live{0};

// Null where there is none.
void* take(const char* call, std::size_t size, std::size_t alignment) {
  if (faults::errorOf(call) != 0) {
    return nullptr;
  }
  const std::size_t whole = (size + alignment - 1) / alignment * alignment;
  void* const memory = alignment > alignof(std::max_align_t) ? aligned_alloc(alignment, whole) : malloc(size);
  live.fetch_add(memory != nullptr ? 1 : 0, std::memory_order_relaxed);
  return memory;
}

void* takeOrThrow(std::size_t size, std::size_t alignment) {
  void* const memory = take("new", size == 0 ? 1 : size, alignment);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

void giveBack(void* memory) {
  live.fetch_sub(memory != nullptr ? 1 : 0, std::memory_order_relaxed);
  free(memory);
}

constexpr std::size_t kUsual = alignof(std::max_align_t);

}  // namespace

namespace faults {

long liveAllocations() {
  return live.load(std::memory_order_relaxed);
}

}  // namespace faults

void* operator new(std::size_t size) {
  return takeOrThrow(size, kUsual);
}

void* operator new[](std::size_t size) {
  return takeOrThrow(size, kUsual);
}

void* operator new(std::size_t size, std::align_val_t alignment) {
  return takeOrThrow(size, static_cast<std::size_t>(alignment));
}

void* operator new[](std::size_t size, std::align_val_t alignment) {
  return takeOrThrow(size, static_cast<std::size_t>(alignment));
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return take("new (nothrow)", size == 0 ? 1 : size, kUsual);
}

void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return take("new (nothrow)", size == 0 ? 1 : size, kUsual);
}

void operator delete(void* memory) noexcept {
  giveBack(memory);
}

void operator delete[](void* memory) noexcept {
  giveBack(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
  giveBack(memory);
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept {
  giveBack(memory);
}

void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept {
  giveBack(memory);
}

void operator delete[](void* memory, std::align_val_t /*alignment*/) noexcept {
  giveBack(memory);
}

void operator delete(void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
  giveBack(memory);
}

void operator delete[](void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
  giveBack(memory);
}
