// No signal handler runs on this thread, nor on threads that it starts, for the time of a scope.
#pragma once

#include <pthread.h>
#include <signal.h>

namespace platform {

// Signals are the program's own threads' business: a handler that ran on a thread of a library would run between two
// of its messages.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t before_ = {};
};

}  // namespace platform
