// Threads of a test: started, seen to be held up, told to go on.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace conformance {

// Whether this thread of the process sleeps now.
bool isAsleep(long thread);

class Worker {
 public:
  explicit Worker(std::function<void()> work);
  ~Worker();  // waits for its end
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  // Waits until the thread sleeps or is done. True when it sleeps and is not done.
  bool isHeldUp() const;
  bool isDone() const { return isDone_; }
  // Whether it ends before the deadline.
  bool ends() const;
  long id() const { return id_; }

 private:
  std::atomic<long> id_{0};
  std::atomic<bool> isDone_{false};
  std::thread thread_;
};

// Lets nobody through until it is open.
class Gate {
 public:
  void open();
  void pass();

 private:
  std::mutex mutex_;
  std::condition_variable opened_;
  bool isOpen_ = false;
};

}  // namespace conformance
