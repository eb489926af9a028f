#include <cstdlib>
#include <vector>

#include "VQFramework/Singleton/VQSingletonFinalizer.h"
#include "platform/inprocess/fork_state.h"
#include "platform/inprocess/mutex.h"

using vqframework::Mutex;
using vqframework::MutexLock;

namespace {

// Never destroyed: instances may be made while others end.
struct DestroyFunctions {
  Mutex mutex;
  std::vector<void (*)()> functions VQ_GUARDED_BY(mutex);
  bool isRegistered VQ_GUARDED_BY(mutex) = false;
};

DestroyFunctions& destroyFunctions() {
  static DestroyFunctions* const instance = new DestroyFunctions;
  return *instance;
}

using DestroyFunction = void (*)();

DestroyFunction takeNewest() {
  DestroyFunctions& all = destroyFunctions();
  MutexLock lock(all.mutex);
  if (all.functions.empty()) {
    all.isRegistered = false;  // an instance that is made still later ends all the same
    return nullptr;
  }
  const DestroyFunction newest = all.functions.back();
  all.functions.pop_back();
  return newest;
}

void destroyAll() {
  // The instances of a forked child are its parent's.
  while (!vqframework::isForkedChild()) {
    const DestroyFunction destroy = takeNewest();
    if (destroy == nullptr) {
      return;
    }
    destroy();
  }
}

}  // namespace

void VQSingletonFinalizer::addDestroyFunc(void (*destroy)()) {
  if (destroy == nullptr) {
    return;
  }
  DestroyFunctions& all = destroyFunctions();
  MutexLock lock(all.mutex);
  all.functions.push_back(destroy);
  if (!all.isRegistered) {
    all.isRegistered = true;
    std::atexit(&destroyAll);
  }
}
