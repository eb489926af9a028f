// Where processes run.
#pragma once

#include <string>
#include <vector>

namespace bench {

// The two sides of a measurement, by processor.
struct Placement {
  std::string name;  // "same" or "cross"
  int sender = 0;    // also where a round trip begins
  int receiver = 0;
};

// "same" and, where this process may use two processors, "cross". Throws where `wanted` names neither of them.
std::vector<Placement> placements(const std::string& wanted);

// This process and what it starts.
void pinTo(int processor);

}  // namespace bench
