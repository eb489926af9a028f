// SteppedPoster: a process that posts, reads, sleeps or wakes, and is stopped in the middle of it.
#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>

#include "tests/unit/reference/steps.h"

namespace log_access {

// A fork of this process that may use the framework all the same, as if it had been started anew, and is run step by
// step.
class SteppedPoster {
 public:
  explicit SteppedPoster(const std::function<void()>& post);
  ~SteppedPoster();  // kills it
  SteppedPoster(const SteppedPoster&) = delete;
  SteppedPoster& operator=(const SteppedPoster&) = delete;

  // One instruction, or what counts as one (steps.h). False when it has ended.
  bool step();
  void runToItsEnd();
  // Goes on by itself.
  void letRun();
  // After letRun.
  bool hasEnded();
  bool isAsleep() const;
  void kill();

 private:
  // It has ended, and well; or it is ended here.
  void settle(int status);

  pid_t pid_ = -1;
  std::unique_ptr<Steps> steps_;
};

}  // namespace log_access
