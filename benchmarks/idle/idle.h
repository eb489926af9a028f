// A system at rest: a device side and applications in processes of their own, all connected, their sessions open.
#pragma once

#include <string>

#include "benchmarks/links/product.h"
#include "benchmarks/support/placement.h"

namespace bench {

struct IdleJob {
  Placement placement;
  unsigned int clients = 0;
  unsigned int seconds = 0;
};

// Of all their threads together.
struct IdleFigures {
  double seconds = 0;   // that were watched
  double switches = 0;  // in that time
  double cpu = 0;       // microseconds
  // Of one status message afterwards, which everybody hears: what the watching sees when there is something to see.
  double messageSwitches = 0;
  double messageCpu = 0;
  // Who was not at rest, a line for each thread; longer lists are cut.
  char restless[2000] = {};
};

// Throws where they never come to rest, and where a message that was heard by everybody is not seen.
IdleFigures idleOf(const ProductKind& kind, const IdleJob& job);

}  // namespace bench
