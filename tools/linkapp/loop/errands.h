// Something that runs tasks one at a time, now and later.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

namespace loop {

using Task = std::function<void()>;
using TimerId = std::uint64_t;  // 0 = none

class Errands {
 public:
  virtual ~Errands() = default;
  // Any thread. In order, never inside of the call itself.
  virtual void post(Task task) = 0;
  // From within a task, or before the first one.
  virtual TimerId after(std::chrono::microseconds delay, Task task) = 0;
  // Nothing happens where it has run or was cancelled already.
  virtual void cancel(TimerId timer) = 0;
};

}  // namespace loop
