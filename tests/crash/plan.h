// Where an operation's victims die.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tests/crash/operation.h"
#include "tests/crash/round.h"
#include "tests/crash/stepper.h"

namespace crash {

struct Plan {
  std::vector<Target> targets;
  std::size_t critical = 0;  // instructions behind which every victim dies, were nothing left out
};

// `most`: so many targets at most, spread evenly; 0 = all.
Plan planFor(const Operation& operation, const Trace& trace, std::size_t most);

// How many instructions the thinned parts have from one target to the next.
constexpr std::size_t kRuntimeStride = 11;
constexpr std::size_t kSampleTargets = 1000;

// "function+offset in library+offset".
std::string describeAddress(std::uint64_t address);

}  // namespace crash
