// Runs the program that measures a pair, under callgrind where the way asks for it.
#pragma once

#include <vector>

#include "benchmarks/cost/pair.h"

namespace bench {

// Whether there is a callgrind that can run these programs; some cannot read the debug information of some compilers.
bool hasCallgrind();

// Throws where the program fails.
std::vector<PairFigure> measurePair(const PairJob& job);

}  // namespace bench
