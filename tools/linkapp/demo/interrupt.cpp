#include "demo/interrupt.h"

#include <signal.h>

namespace demo {
namespace {

volatile sig_atomic_t signalSeen = 0;

void noteSignal(int signal) {
  signalSeen = signal;
}

}  // namespace

void watchForInterrupts() {
  struct sigaction action = {};
  action.sa_handler = &noteSignal;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  action.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &action, nullptr);
}

int interruptSeen() {
  return signalSeen;
}

}  // namespace demo
