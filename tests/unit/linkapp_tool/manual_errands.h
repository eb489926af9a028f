// Errands whose time is the test's: nothing runs until it says so.
#pragma once

#include <deque>
#include <map>
#include <utility>

#include "loop/errands.h"

class ManualErrands final : public loop::Errands {
 public:
  void post(loop::Task task) override { tasks_.push_back(std::move(task)); }
  loop::TimerId after(std::chrono::microseconds delay, loop::Task task) override {
    timers_.emplace(std::make_pair(now_ + delay, ++lastTimer_), std::move(task));
    return lastTimer_;
  }
  void cancel(loop::TimerId timer) override {
    for (auto entry = timers_.begin(); entry != timers_.end(); ++entry) {
      if (entry->first.second == timer) {
        timers_.erase(entry);
        return;
      }
    }
  }

  // What is posted now, and what that posts.
  void runTasks() {
    while (!tasks_.empty()) {
      const loop::Task task = std::move(tasks_.front());
      tasks_.pop_front();
      task();
    }
  }

  // Lets this time pass; timers run in their order.
  void pass(std::chrono::microseconds time) {
    const std::chrono::microseconds end = now_ + time;
    runTasks();
    while (!timers_.empty() && timers_.begin()->first.first <= end) {
      now_ = timers_.begin()->first.first;
      const loop::Task task = std::move(timers_.begin()->second);
      timers_.erase(timers_.begin());
      task();
      runTasks();
    }
    now_ = end;
  }

  std::size_t timerCount() const { return timers_.size(); }

 private:
  std::chrono::microseconds now_{0};
  std::deque<loop::Task> tasks_;
  std::map<std::pair<std::chrono::microseconds, loop::TimerId>, loop::Task> timers_;
  loop::TimerId lastTimer_ = 0;
};
