// PassedPage<T>: a T that this process shares with all it forks, and with the programs that these become. T is fresh
// when all its bytes are zero.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <stdexcept>

namespace bench {

template <class T>
class PassedPage {
 public:
  PassedPage() : PassedPage(memfd_create("page", 0)) {}
  // In a program that was told the descriptor.
  explicit PassedPage(int descriptor) : descriptor_(descriptor) {
    if (descriptor != -1 && ftruncate(descriptor, sizeof(T)) == 0) {
      memory_ = mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    }
    if (memory_ == MAP_FAILED) {
      throw std::runtime_error("no shared memory");
    }
  }
  ~PassedPage() {
    munmap(memory_, sizeof(T));
    close(descriptor_);
  }
  PassedPage(const PassedPage&) = delete;
  PassedPage& operator=(const PassedPage&) = delete;

  int descriptor() const { return descriptor_; }
  T* operator->() const { return static_cast<T*>(memory_); }
  T& operator*() const { return *static_cast<T*>(memory_); }

 private:
  const int descriptor_;
  void* memory_ = MAP_FAILED;
};

}  // namespace bench
