// Signals as events of the loop: the end of child processes, and Ctrl-C.
#pragma once

#include <functional>
#include <map>

#include "loop/loop.h"

namespace loop {

// One per process at a time. Make it before any other thread is started: the signals are blocked in all of them.
class Signals {
 public:
  // `onInterrupt` is called with SIGINT, SIGTERM or SIGHUP.
  Signals(Loop& loop, std::function<void(int signal)> onInterrupt);
  ~Signals();
  Signals(const Signals&) = delete;
  Signals& operator=(const Signals&) = delete;

  // `check` is called whenever some child has ended or changed its state, until stopped.
  using Id = unsigned int;
  Id onChild(std::function<void()> check);
  void forget(Id id);

 private:
  void receive();

  Loop& loop_;
  const std::function<void(int signal)> onInterrupt_;
  int fd_ = -1;
  std::map<Id, std::function<void()>> checks_;
  Id last_ = 0;
};

}  // namespace loop
