// The mutex inside shared objects: process-shared, robust, recursive, with priority inheritance.
#pragma once

#include <pthread.h>

namespace vqframework {

enum class Taken { kFree, kContended, kOwnerDied };

void initializeRobustMutex(pthread_mutex_t& mutex);

// Takes it, whatever it takes. Tries about 50 times before it sleeps: with priority inheritance a sleeper is handed the
// lock through the kernel, which costs ten times what the short sections under these locks last.
// kOwnerDied: the holder's process is gone and may have left the guarded data half written; the mutex is usable.
Taken lockRobustMutex(pthread_mutex_t& mutex);

void unlockRobustMutex(pthread_mutex_t& mutex);

}  // namespace vqframework
