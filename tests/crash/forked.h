// Forked: a child of this process that has not been started anew.
//
// The process that forks has loaded the delivered libraries and has never used them, so a child may do everything that
// a process may that was started by itself, and is there in a tenth of the time.
#pragma once

#include <sys/types.h>

#include <functional>

namespace crash {

class Forked {
 public:
  // Runs `body` in the child, which ends with code 0 after it, and dies with its parent.
  explicit Forked(const std::function<void()>& body);
  ~Forked();  // kills it
  Forked(const Forked&) = delete;
  Forked& operator=(const Forked&) = delete;

  pid_t pid() const { return pid_; }
  bool isAlive() const { return pid_ > 0; }

  // Whether it ended in time, and with code 0.
  [[nodiscard]] bool endsWell(double seconds);
  void kill();
  // Somebody else has waited for its end.
  void forget() { pid_ = -1; }

 private:
  pid_t pid_ = -1;
};

}  // namespace crash
