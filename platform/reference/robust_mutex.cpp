#include "platform/reference/robust_mutex.h"

#include <errno.h>

#include "platform/reference/pause.h"

namespace vqframework {
namespace {

constexpr int kTriesBeforeSleep = 50;

}  // namespace

void initializeRobustMutex(pthread_mutex_t& mutex) {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
  pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutexattr_setprotocol(&attributes, PTHREAD_PRIO_INHERIT);
  pthread_mutex_init(&mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
}

Taken lockRobustMutexAfter(int firstResult, pthread_mutex_t& mutex) {
  int result = firstResult;
  const bool contended = result == EBUSY;
  for (int tries = 1; result == EBUSY && tries < kTriesBeforeSleep; ++tries) {
    pauseBriefly();
    result = pthread_mutex_trylock(&mutex);
  }
  if (result == EBUSY) {
    result = pthread_mutex_lock(&mutex);
  }
  if (result == EOWNERDEAD) {
    pthread_mutex_consistent(&mutex);
    return Taken::kOwnerDied;
  }
  return contended ? Taken::kContended : Taken::kFree;
}

}  // namespace vqframework
