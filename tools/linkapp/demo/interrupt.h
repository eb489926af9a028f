// Ctrl-C and its like, noted for the demo's loop to see.
#pragma once

#include <exception>

namespace demo {

// From here on SIGINT and SIGTERM are noted, and a broken pipe is an error of write() only.
void watchForInterrupts();

// The signal that was noted last, or 0.
int interruptSeen();

class Interrupted : public std::exception {
 public:
  const char* what() const noexcept override { return "interrupted"; }
};

}  // namespace demo
