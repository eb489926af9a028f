// Tests that have a loop::Signals take the signals that would end them.
#pragma once

#include <signal.h>

namespace test_support {

// Lets the signal end the test program all the same, and with it the processes that it has started: whoever interrupts
// ctest, or gives a test a time limit, wants nothing to go on.
inline void endBy(int number) {
  signal(number, SIG_DFL);
  sigset_t only;
  sigemptyset(&only);
  sigaddset(&only, number);
  pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
  raise(number);
}

}  // namespace test_support
