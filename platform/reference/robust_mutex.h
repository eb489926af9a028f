// The mutex inside shared objects: process-shared, robust, recursive, with priority inheritance.
#pragma once

#include <pthread.h>

namespace vqframework {

enum class Taken { kFree, kContended, kOwnerDied, kDamaged };

// 0, or the error number: a kernel may lack priority inheritance, and a mutex without it is none that processes share.
[[nodiscard]] int initializeRobustMutex(pthread_mutex_t& mutex);

// For lockRobustMutex: what it does where the first try did not just succeed.
[[gnu::cold]] Taken lockRobustMutexAfter(int firstResult, pthread_mutex_t& mutex);

// Takes it, whatever it takes. Tries about 50 times before it sleeps: with priority inheritance a sleeper is handed the
// lock through the kernel, which costs ten times what the short sections under these locks last.
// kOwnerDied: the holder's process is gone and may have left the guarded data half written; the mutex is usable.
// kDamaged: somebody has written into the mutex that it cannot be had any more. It is not taken.
inline Taken lockRobustMutex(pthread_mutex_t& mutex) {
  const int result = pthread_mutex_trylock(&mutex);
  return result == 0 ? Taken::kFree : lockRobustMutexAfter(result, mutex);
}

inline void unlockRobustMutex(pthread_mutex_t& mutex) {
  pthread_mutex_unlock(&mutex);
}

}  // namespace vqframework
