#include "platform/inprocess/fork_state.h"

#include <pthread.h>

namespace vqframework {

std::atomic<bool> forkedChild{false};

namespace {

std::atomic<bool> isShared{false};

void enterChild() {
  if (isShared.load(std::memory_order_relaxed)) {
    forkedChild.store(true, std::memory_order_relaxed);
  }
}

__attribute__((constructor)) void watchForks() {
  pthread_atfork(nullptr, nullptr, &enterChild);
}

}  // namespace

void noteSharedUse() {
  isShared.store(true, std::memory_order_relaxed);
}

}  // namespace vqframework
