#include "platform/inprocess/fork_state.h"

#include <pthread.h>

namespace vqframework {

std::atomic<bool> forkedChild{false};

namespace {

void enterChild() {
  forkedChild.store(true, std::memory_order_relaxed);
}

// A program that forks before it uses the framework for the first time is no different.
__attribute__((constructor)) void watchForks() {
  pthread_atfork(nullptr, nullptr, &enterChild);
}

}  // namespace
}  // namespace vqframework
