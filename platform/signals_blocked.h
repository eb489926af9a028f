// No handler of a signal from outside runs on this thread, nor on threads that it starts, for the time of a scope.
#pragma once

#include <pthread.h>
#include <signal.h>

#include <initializer_list>

namespace platform {

// Signals are the program's own threads' business: a handler that ran on a thread of a library would run between two
// of its messages. What a fault on the thread itself raises is let through: where it is blocked the kernel ends the
// program, and a handler that would report the fault never runs.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t most;
    sigfillset(&most);
    for (const int ofAFault : {SIGILL, SIGTRAP, SIGBUS, SIGFPE, SIGSEGV, SIGSYS}) {
      sigdelset(&most, ofAFault);
    }
    pthread_sigmask(SIG_SETMASK, &most, &before_);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t before_ = {};
};

}  // namespace platform
