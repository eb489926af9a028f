// What the framework knows of a thread: which observers it is calling, and for which thread it waits.
//
// A message passes through three lists of observers, so a call must cost next to nothing. The calling thread writes
// down what it uses with plain stores; whoever takes an observer off looks at what all threads have written. The fence
// that the two sides owe each other is paid by the one who takes off (see heavyFence).
#pragma once

#include <atomic>

namespace vqframework {

// One walk through a list of observers. Written by its thread only.
struct CallFrame {
  std::atomic<const void*> list{nullptr};          // null: not in use
  std::atomic<const void*> snapshot{nullptr};      // must not be freed while it stands here
  std::atomic<const void*> registration{nullptr};  // being called, or about to be looked at
  std::atomic<bool> isInside{false};               // the observer has been entered
  std::atomic<CallFrame*> above{nullptr};          // of a walk within the call; made when first needed, then kept
};

// Frames that every thread has: a message passes through three lists, and delivering it must not depend on memory.
constexpr int kOwnFrames = 6;

// Nodes are never freed: a thread that begins takes over what a thread that has ended left.
struct ThreadNode {
  ThreadNode* waitsFor = nullptr;  // guarded by the wait graph's own lock
  CallFrame bottom;
  CallFrame others[kOwnFrames - 1];
  CallFrame* next = &bottom;  // the frame of the next walk; for the thread itself
  std::atomic<bool> isTaken{true};
  ThreadNode* older = nullptr;  // the list of all nodes

  ThreadNode() {
    CallFrame* below = &bottom;
    for (CallFrame& frame : others) {
      below->above.store(&frame, std::memory_order_relaxed);
      below = &frame;
    }
  }
};

// Null until first asked for. The compiler's own kind of thread-local: the standard one is reached through a function,
// in case it needs a constructor.
extern __thread ThreadNode* threadNode;

[[gnu::cold]] ThreadNode* makeThreadNode();

inline ThreadNode* currentThread() {
  return threadNode != nullptr ? threadNode : makeThreadNode();
}

// The newest of all nodes; the others are `older`.
ThreadNode* newestThreadNode();

[[gnu::cold]] CallFrame* makeFrameAbove(CallFrame& frame);

// Stands for one walk of the calling thread.
class OpenFrame {
 public:
  explicit OpenFrame(const void* list) : thread_(*currentThread()), frame_(*thread_.next) {
    CallFrame* const above = frame_.above.load(std::memory_order_relaxed);
    thread_.next = above != nullptr ? above : makeFrameAbove(frame_);
    frame_.list.store(list, std::memory_order_relaxed);
  }
  ~OpenFrame() {
    frame_.snapshot.store(nullptr, std::memory_order_release);
    frame_.list.store(nullptr, std::memory_order_release);
    thread_.next = &frame_;
  }
  OpenFrame(const OpenFrame&) = delete;
  OpenFrame& operator=(const OpenFrame&) = delete;

  CallFrame* operator->() { return &frame_; }
  CallFrame& operator*() { return frame_; }

 private:
  ThreadNode& thread_;
  CallFrame& frame_;
};

// A pair of fences: where one thread stores, calls lightFence and loads, and another one stores, calls heavyFence and
// loads, at least one of the two sees the other's store. The light one costs nothing where the kernel can run a fence
// on all processors for the heavy one.
extern bool kernelFences;

inline void lightFence() {
  if (kernelFences) {
    std::atomic_signal_fence(std::memory_order_seq_cst);
  } else {
    std::atomic_thread_fence(std::memory_order_seq_cst);
  }
}

void heavyFence();

}  // namespace vqframework
