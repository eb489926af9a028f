// SharedPage<T>: a T that this process and all it forks share. T is fresh when all its bytes are zero.
#pragma once

#include <sys/mman.h>

#include <stdexcept>

namespace bench {

template <class T>
class SharedPage {
 public:
  SharedPage() : memory_(mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) {
    if (memory_ == MAP_FAILED) {
      throw std::runtime_error("no shared memory");
    }
  }
  ~SharedPage() { munmap(memory_, sizeof(T)); }
  SharedPage(const SharedPage&) = delete;
  SharedPage& operator=(const SharedPage&) = delete;

  T* operator->() const { return static_cast<T*>(memory_); }
  T& operator*() const { return *static_cast<T*>(memory_); }

 private:
  void* const memory_;
};

}  // namespace bench
