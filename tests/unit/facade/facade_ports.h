// Ports: every way in which an object of the facade calls a listener, in one shape, for tests that are the same for
// all.
#pragma once

#include <memory>
#include <ostream>
#include <vector>

#include "any_listener.h"

// Whose thread calls.
enum class Source { delivery, spp, manager };

// One object of the facade with one listener.
class Port {
 public:
  Port() = default;
  virtual ~Port() = default;
  Port(const Port&) = delete;
  Port& operator=(const Port&) = delete;

  virtual void set() = 0;
  virtual void remove() = 0;
  virtual void destroy() = 0;
  // On this thread, as the source would: one call of the listener while it is set.
  virtual void tell() = 0;
  // What a callback may do with the object that calls it: requests; leaving and coming back.
  virtual void request() {}
  virtual void comeBack() {
    remove();
    set();
  }

  AnyListener listener;
};

struct PortKind {
  const char* name;
  Source source;
  bool mayCallBack;     // into the object that calls
  bool subscribesOnce;  // each setting of the others subscribes once more
  bool mayComeBack;     // in a callback while another thread destroys the object
  std::unique_ptr<Port> (*make)();
};

void PrintTo(const PortKind& kind, std::ostream* out);

extern const PortKind kPortKinds[11];

// Those for which the flag is set.
std::vector<PortKind> portKindsThat(bool PortKind::*may);
