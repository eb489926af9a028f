// What processes cost.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <vector>

namespace bench {

// Since the processes began.
struct Usage {
  double cpuMicroseconds = 0;
  double switches = 0;  // how often one of their threads gave its processor away, or lost it
};

inline Usage operator-(const Usage& later, const Usage& earlier) {
  return {later.cpuMicroseconds - earlier.cpuMicroseconds, later.switches - earlier.switches};
}

// Of a process that is alive.
Usage usageOf(pid_t process);
double cpuMicrosecondsOf(pid_t process);

// The processes that a measurement counts. Lies in shared memory; all zero is an empty one.
class Crew {
 public:
  // The calling process belongs to it.
  void join();
  std::vector<pid_t> members() const;
  // Of all members, and of the daemons on the stage.
  Usage usage() const;
  // The same without the switches, which cost much more to find out than this.
  double cpuMicroseconds() const;

 private:
  static constexpr std::uint32_t kMost = 64;
  std::atomic<std::uint32_t> count_;
  std::atomic<pid_t> members_[kMost];
};

}  // namespace bench
