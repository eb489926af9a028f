#include "platform/reference/robust_mutex.h"

#include <errno.h>

#include "platform/reference/pause.h"

namespace vqframework {
namespace {

constexpr int kTriesBeforeSleep = 50;

}  // namespace

int initializeRobustMutex(pthread_mutex_t& mutex) {
  pthread_mutexattr_t attributes;
  int error = pthread_mutexattr_init(&attributes);
  if (error != 0) {
    return error;
  }
  pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
  pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  error = pthread_mutexattr_setprotocol(&attributes, PTHREAD_PRIO_INHERIT);
  error = error != 0 ? error : pthread_mutex_init(&mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
  return error;
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
  if (result != 0) {
    return Taken::kDamaged;
  }
  return contended ? Taken::kContended : Taken::kFree;
}

}  // namespace vqframework
