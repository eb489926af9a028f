#include "platform/inprocess/wait_graph.h"

#include "platform/inprocess/mutex.h"

namespace vqframework {
namespace {

// A leaf: nothing is called under it. Never destroyed, since late destructors detach observers too.
Mutex& graphMutex() {
  static Mutex* const mutex = new Mutex;
  return *mutex;
}

}  // namespace

bool enterWait(ThreadNode* waiter, ThreadNode* other) {
  MutexLock lock(graphMutex());
  for (const ThreadNode* node = other; node != nullptr; node = node->waitsFor) {
    if (node == waiter) {
      return false;
    }
  }
  waiter->waitsFor = other;
  return true;
}

void leaveWait(ThreadNode* waiter) {
  MutexLock lock(graphMutex());
  waiter->waitsFor = nullptr;
}

}  // namespace vqframework
