// What the threads of other processes do, seen from outside: the kernel tells it without letting any of them run.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "benchmarks/support/usage.h"

namespace bench {

// Since the thread began.
struct ThreadTally {
  pid_t process = 0;
  pid_t thread = 0;
  std::string name;
  std::uint64_t switches = 0;  // how often it gave its processor away, or lost it
  std::uint64_t cpu = 0;       // nanoseconds
};

using Tally = std::vector<ThreadTally>;

// Of all threads of all members.
Tally tallyOf(const Crew& crew);

// The threads that did something between the two, each with what it did. One that is new has done all it did since; one
// that is gone has done at least one switch.
Tally activity(const Tally& before, const Tally& after);

std::uint64_t switchesIn(const Tally& tally);
double cpuMicrosecondsIn(const Tally& tally);
// One line for each thread.
std::string describe(const Tally& tally);

}  // namespace bench
