// The library's log as events, so that it does not write across a prompt.
#pragma once

#include "loop/errands.h"
#include "talk/event.h"

namespace talk {

class LogEvents {
 public:
  // From now on each line of the log is an event "log". Nothing changes where VQDBG says where the log goes.
  // Errands and hub outlive it.
  LogEvents(loop::Errands& errands, Hub& hub);
  ~LogEvents();
  LogEvents(const LogEvents&) = delete;
  LogEvents& operator=(const LogEvents&) = delete;

 private:
  loop::Errands& errands_;
  Hub& hub_;
};

// Whether somebody sits at standard input and output.
bool isAtTerminal();

}  // namespace talk
