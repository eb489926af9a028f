// What processes hold: whether they hold more and more shows only when nothing else changes.
#pragma once

#include <string>

#include "benchmarks/support/usage.h"

namespace bench {

struct Footprint {
  double resident = 0;     // kilobytes of memory, shared ones once for each process
  double shared = 0;       // kilobytes of all files in /dev/shm
  double descriptors = 0;  // open files
  double threads = 0;
};

// Of all members together.
Footprint footprintOf(const Crew& crew);

inline Footprint operator-(const Footprint& later, const Footprint& earlier) {
  return {later.resident - earlier.resident, later.shared - earlier.shared, later.descriptors - earlier.descriptors,
          later.threads - earlier.threads};
}

// What of it is more than noise, in words; empty = nothing.
std::string growthIn(const Footprint& difference);

}  // namespace bench
