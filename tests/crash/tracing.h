// What every stepper does with a traced thread, whatever the processor.
#pragma once

#include <sys/types.h>
#include <time.h>

#include <string>

struct itimerval;

namespace crash {

// For all instructions up to the target together, system calls among them.
double secondsToTarget();

[[noreturn]] void failTracing(const std::string& what);
void checkTracing(long result, const char* what);

// While it lives, waitpid does not wait longer than that. (Again and again, since the first alarm may come just before
// the call.)
class Deadline {
 public:
  explicit Deadline(double seconds);
  ~Deadline();
  Deadline(const Deadline&) = delete;
  Deadline& operator=(const Deadline&) = delete;

 private:
  static void set(const itimerval& times);
};

// Of the next stop, or the end.
int statusOf(pid_t thread);

// `event` is 0 for a signal.
void expectStop(pid_t thread, int event, const char* where);

// The process with SIGKILL. When this returns it is gone, and the kernel has passed on what it held.
void killTraced(pid_t process, pid_t thread, bool hasThreadEnded);

}  // namespace crash
