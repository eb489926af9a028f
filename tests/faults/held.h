// What this process holds, so that a leak shows.
#pragma once

namespace faults {

struct Held {
  unsigned int descriptors;
  unsigned int mappings;  // of objects in /dev/shm
  unsigned int threads;
  long allocations;  // by new, not given back
};

Held held();

long liveAllocations();

}  // namespace faults
