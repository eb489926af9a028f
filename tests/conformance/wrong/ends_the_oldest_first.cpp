// Process-wide instances end in the order in which they were made: those that others were built upon go first.
#include <cstdlib>
#include <mutex>
#include <vector>

#include "VQFramework/Singleton/VQSingletonFinalizer.h"

namespace {

std::mutex& mutex() {
  static std::mutex* const instance = new std::mutex;
  return *instance;
}

std::vector<void (*)()>& functions() {
  static auto* const instance = new std::vector<void (*)()>;
  return *instance;
}

void destroyAll() {
  for (std::size_t i = 0;; ++i) {
    void (*destroy)() = nullptr;
    {
      const std::lock_guard<std::mutex> lock(mutex());
      if (i == functions().size()) {
        return;
      }
      destroy = functions()[i];
    }
    destroy();
  }
}

}  // namespace

void VQSingletonFinalizer::addDestroyFunc(void (*destroy)()) {
  const std::lock_guard<std::mutex> lock(mutex());
  if (destroy == nullptr) {
    return;
  }
  if (functions().empty()) {
    std::atexit(&destroyAll);
  }
  functions().push_back(destroy);
}
