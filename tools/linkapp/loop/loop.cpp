#include "loop/loop.h"

#include <errno.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <system_error>
#include <vector>

namespace loop {
namespace {

constexpr std::int64_t kLongestSleepMs = std::int64_t{60} * 60 * 1000;

int makeWake() {
  const int fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (fd == -1) {
    throw std::system_error(errno, std::generic_category(), "eventfd");
  }
  return fd;
}

void raise(int wake) {
  const std::uint64_t one = 1;
  const ssize_t written = write(wake, &one, sizeof one);
  static_cast<void>(written);  // fails only where it is raised already
}

}  // namespace

Loop::Loop() : wake_(makeWake()) {}

Loop::~Loop() {
  close(wake_);
}

void Loop::post(Task task) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    tasks_.push_back(std::move(task));
  }
  raise(wake_);
}

void Loop::stop() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    isStopping_ = true;
  }
  raise(wake_);
}

TimerId Loop::after(std::chrono::microseconds delay, Task task) {
  const Clock::time_point time = Clock::now() + delay;
  timers_.emplace(std::make_pair(time, ++lastTimer_), std::move(task));
  timerTimes_.emplace(lastTimer_, time);
  return lastTimer_;
}

void Loop::cancel(TimerId timer) {
  const auto found = timerTimes_.find(timer);
  if (found != timerTimes_.end()) {
    timers_.erase({found->second, timer});
    timerTimes_.erase(found);
  }
}

void Loop::watch(int fd, short events, Handler handler) {
  watches_[fd] = {events, ++lastSerial_, std::make_shared<Handler>(std::move(handler))};
}

void Loop::watchFor(int fd, short events) {
  const auto found = watches_.find(fd);
  if (found != watches_.end()) {
    found->second.events = events;
  }
}

void Loop::forget(int fd) {
  watches_.erase(fd);
}

void Loop::run() {
  for (;;) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (isStopping_) {
        isStopping_ = false;
        return;
      }
    }
    turn(Clock::time_point::max());
  }
}

bool Loop::runUntil(const std::function<bool()>& condition, std::chrono::microseconds patience) {
  const Clock::time_point deadline = Clock::now() + patience;
  while (!condition()) {
    if (Clock::now() >= deadline) {
      return false;
    }
    turn(deadline);
  }
  return true;
}

void Loop::turn(Clock::time_point latest) {
  awaitDescriptors(latest);
  runTimers();
  runTasks();
}

// Those that are there now: a task that posts another one does not keep the descriptors waiting.
void Loop::runTasks() {
  std::deque<Task> tasks;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    tasks.swap(tasks_);
  }
  for (const Task& task : tasks) {
    task();
  }
}

void Loop::runTimers() {
  const Clock::time_point now = Clock::now();
  while (!timers_.empty() && timers_.begin()->first.first <= now) {
    const Task task = std::move(timers_.begin()->second);
    timerTimes_.erase(timers_.begin()->first.second);
    timers_.erase(timers_.begin());
    task();
  }
}

bool Loop::hasTasks() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return !tasks_.empty() || isStopping_;
}

void Loop::drainWake() const {
  std::uint64_t count = 0;
  const ssize_t got = read(wake_, &count, sizeof count);
  static_cast<void>(got);
}

void Loop::awaitDescriptors(Clock::time_point latest) {
  std::vector<pollfd> fds = {{wake_, POLLIN, 0}};
  std::vector<std::uint64_t> serials = {0};
  for (const auto& [fd, watch] : watches_) {
    if (watch.events != 0) {
      fds.push_back({fd, watch.events, 0});
      serials.push_back(watch.serial);
    }
  }
  Clock::time_point until = latest;
  if (!timers_.empty()) {
    until = std::min(until, timers_.begin()->first.first);
  }
  int timeout = -1;
  if (hasTasks()) {
    timeout = 0;
  } else if (until != Clock::time_point::max()) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
    timeout = static_cast<int>(std::clamp<std::int64_t>(left, 0, kLongestSleepMs));
  }
  if (poll(fds.data(), fds.size(), timeout) <= 0) {
    return;
  }
  if (fds[0].revents != 0) {
    drainWake();
  }
  for (std::size_t i = 1; i < fds.size(); ++i) {
    const auto found = watches_.find(fds[i].fd);
    if (fds[i].revents != 0 && found != watches_.end() && found->second.serial == serials[i]) {
      const std::shared_ptr<Handler> handler = found->second.handler;  // it may forget itself
      (*handler)(fds[i].revents);
    }
  }
}

}  // namespace loop
