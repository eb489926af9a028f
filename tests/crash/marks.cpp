#include "tests/crash/marks.h"

// Not inline in a function: the compiler might put something of its own before the breakpoint.
asm(R"(
  .text
  .globl crashBeginMark
  .type crashBeginMark, @function
crashBeginMark:
  int3
crashAfterBeginMark:
  ret
  .size crashBeginMark, .-crashBeginMark
  .globl crashEndMark
  .type crashEndMark, @function
crashEndMark:
  int3
  ret
  .size crashEndMark, .-crashEndMark
)");

extern "C" {
void crashBeginMark();
void crashEndMark();
}

namespace crash {

void beginMark() {
  crashBeginMark();
}

void endMark() {
  crashEndMark();
}

std::uint64_t afterBeginMark() {
  return reinterpret_cast<std::uint64_t>(&crashBeginMark) + 1;
}

std::uint64_t endMarkAddress() {
  return reinterpret_cast<std::uint64_t>(&crashEndMark);
}

}  // namespace crash
