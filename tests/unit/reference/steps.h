// How a process is run step by step. A step is, on most processors, one instruction, wherever it lies.
//
// The kernels of 32-bit ARM run nobody that way. There a step leads to the next instruction of the notifier
// (vqframework, as far as it is linked into this program) that the process has not met yet: breakpoints find it. What
// is executed again, in a loop or a second call, is not stopped at again, and the C library is passed at once. A stop
// between a load-exclusive and its store makes the store fail; the loop around them then runs once more, without
// breakpoints.
#pragma once

#include <sys/types.h>

#include <memory>
#include <optional>

namespace log_access {

class Steps {
 public:
  Steps() = default;
  virtual ~Steps() = default;
  Steps(const Steps&) = delete;
  Steps& operator=(const Steps&) = delete;

  // One step, from where it stands: what waitpid tells of it then. None where that does not succeed.
  virtual std::optional<int> next() = 0;
  // From now on it may go on by itself.
  virtual void end() = 0;
};

// Of a fork of this process, which traces it; it has stopped.
std::unique_ptr<Steps> stepsOf(pid_t process);

}  // namespace log_access
