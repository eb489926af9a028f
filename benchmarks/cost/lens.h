// How a process sees what it spends.
//
// There are two lenses, in programs of their own, since what one of them adds to the code the other one would count:
//   lens_callgrind.cpp    instructions; the program runs under callgrind
//   lens_interposed.cpp   heap allocations and system calls, seen by functions in front of the C library's
#pragma once

#include "benchmarks/cost/account.h"

namespace bench {

enum class Way {
  kPlain,      // runs as it always does
  kWatched,    // system calls are watched, too
  kCallgrind,  // under callgrind
};

bool canLook(Way way);

// What the whole process does in between is added to its account.
void beginToLook(Account& account);
void endToLook(Account& account);

}  // namespace bench
