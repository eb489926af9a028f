// Where the instructions of an operation begin and end: a breakpoint instruction each, which stops a traced thread.
#pragma once

#include <cstdint>

namespace crash {

// To be called by the thread that is stepped. The first instruction of the operation is the return from the one, the
// last one the call of the other.
void beginMark();
void endMark();

// Where a thread stands that has passed the begin, or is about to meet the end.
std::uint64_t afterBeginMark();
std::uint64_t endMarkAddress();

}  // namespace crash
