// One thread's loop over tasks, timers and descriptors. Everything that a process of the tool does runs in it, apart
// from the channel's delivery thread, which posts.
//
// Threads: post() and stop() any; the rest belongs to the thread that runs it.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "loop/errands.h"

namespace loop {

class Loop final : public Errands {
 public:
  using Handler = std::function<void(short events)>;

  // Throws std::system_error.
  Loop();
  ~Loop() override;
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;

  void post(Task task) override;
  TimerId after(std::chrono::microseconds delay, Task task) override;
  void cancel(TimerId timer) override;

  // Calls `handler` while any of `events` (POLLIN, POLLOUT) or an end is there. Replaces what was watched for it.
  void watch(int fd, short events, Handler handler);
  // Changes the events alone. With 0 not even an end is reported.
  void watchFor(int fd, short events);
  void forget(int fd);

  // Until stop(). May be run again.
  void run();
  // Runs until `condition` holds or the time is over; false in the latter case.
  bool runUntil(const std::function<bool()>& condition, std::chrono::microseconds patience);
  void stop();

 private:
  using Clock = std::chrono::steady_clock;
  struct Watch {
    short events;
    std::uint64_t serial;  // tells a descriptor from an earlier one of the same number
    std::shared_ptr<Handler> handler;
  };

  void turn(Clock::time_point latest);
  void runTasks();
  void runTimers();
  void awaitDescriptors(Clock::time_point latest);
  bool hasTasks();
  void drainWake() const;

  const int wake_;
  std::mutex mutex_;
  std::deque<Task> tasks_;   // guarded by mutex_
  bool isStopping_ = false;  // guarded by mutex_
  std::map<std::pair<Clock::time_point, TimerId>, Task> timers_;
  std::map<TimerId, Clock::time_point> timerTimes_;
  TimerId lastTimer_ = 0;
  std::map<int, Watch> watches_;
  std::uint64_t lastSerial_ = 0;
};

}  // namespace loop
