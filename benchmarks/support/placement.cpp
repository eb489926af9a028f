#include "benchmarks/support/placement.h"

#include <sched.h>

#include <stdexcept>

namespace bench {
namespace {

std::vector<int> usableProcessors() {
  cpu_set_t set;
  CPU_ZERO(&set);
  sched_getaffinity(0, sizeof set, &set);
  std::vector<int> processors;
  for (std::size_t i = 0; i < CPU_SETSIZE; ++i) {
    if (CPU_ISSET(i, &set)) {
      processors.push_back(static_cast<int>(i));
    }
  }
  return processors;
}

}  // namespace

std::vector<Placement> placements(const std::string& wanted) {
  // The last ones: the first has most of the machine's interrupts.
  const std::vector<int> processors = usableProcessors();
  const int last = processors.back();
  std::vector<Placement> result;
  if (wanted == "same" || wanted == "both") {
    result.push_back({"same", last, last});
  }
  if ((wanted == "cross" || wanted == "both") && processors.size() > 1) {
    result.push_back({"cross", last, processors[processors.size() - 2]});
  }
  if (result.empty()) {
    throw std::runtime_error("no placement '" + wanted + "' here: same, cross (needs two processors) or both");
  }
  return result;
}

void pinTo(int processor) {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(static_cast<std::size_t>(processor), &set);
  if (sched_setaffinity(0, sizeof set, &set) != 0) {
    throw std::runtime_error("cannot run on processor " + std::to_string(processor));
  }
}

}  // namespace bench
