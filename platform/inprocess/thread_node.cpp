#include "platform/inprocess/thread_node.h"

#include <linux/membarrier.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace vqframework {

__thread ThreadNode* threadNode = nullptr;
bool kernelFences = false;

namespace {

std::atomic<ThreadNode*> newest{nullptr};
pthread_key_t threadEnd;
bool hasKey = false;  // false where the program has used up all keys: a thread that ends leaves its node behind

// Not the destructor of a thread-local object: those run at exit, too, while the thread may still call and be called.
void giveBack(void* value) {
  ThreadNode& node = *static_cast<ThreadNode*>(value);
  // An observer that ended its thread has left its frames open where the stack could not be unwound.
  CallFrame* frame = &node.bottom;
  do {
    frame->isInside.store(false, std::memory_order_relaxed);
    frame->registration.store(nullptr, std::memory_order_release);
    frame->snapshot.store(nullptr, std::memory_order_release);
    frame->list.store(nullptr, std::memory_order_release);
    frame = frame->above.load(std::memory_order_relaxed);
  } while (frame != nullptr);
  node.next = &node.bottom;
  threadNode = nullptr;
  node.isTaken.store(false, std::memory_order_release);
}

// Before the program has a second thread, or else the kernel takes milliseconds for it.
__attribute__((constructor)) void prepareThreads() {
  hasKey = pthread_key_create(&threadEnd, &giveBack) == 0;
  kernelFences = syscall(SYS_membarrier, MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED, 0, 0) == 0;
}

ThreadNode* takeOver() {
  for (ThreadNode* node = newestThreadNode(); node != nullptr; node = node->older) {
    bool isTaken = false;
    if (node->isTaken.compare_exchange_strong(isTaken, true, std::memory_order_acquire, std::memory_order_relaxed)) {
      return node;
    }
  }
  return nullptr;
}

ThreadNode* makeAnother() {
  ThreadNode* const node = new ThreadNode;
  node->older = newest.load(std::memory_order_relaxed);
  while (!newest.compare_exchange_weak(node->older, node, std::memory_order_release, std::memory_order_relaxed)) {
  }
  return node;
}

}  // namespace

ThreadNode* makeThreadNode() {
  ThreadNode* const leftOver = takeOver();
  threadNode = leftOver != nullptr ? leftOver : makeAnother();
  if (hasKey) {
    pthread_setspecific(threadEnd, threadNode);
  }
  return threadNode;
}

ThreadNode* newestThreadNode() {
  return newest.load(std::memory_order_acquire);
}

CallFrame* makeFrameAbove(CallFrame& frame) {
  CallFrame* const above = new CallFrame;
  frame.above.store(above, std::memory_order_release);
  return above;
}

// The kernel may be short of memory for the quick kind; the slow one needs none. Where a filter that was set up after
// the start of the program forbids both there is nothing left to try.
void heavyFence() {
  const bool isDone = kernelFences && (syscall(SYS_membarrier, MEMBARRIER_CMD_PRIVATE_EXPEDITED, 0, 0) == 0 ||
                                       syscall(SYS_membarrier, MEMBARRIER_CMD_GLOBAL, 0, 0) == 0);
  if (!isDone) {
    std::atomic_thread_fence(std::memory_order_seq_cst);
  }
}

}  // namespace vqframework
