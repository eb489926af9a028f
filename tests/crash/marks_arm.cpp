#include "tests/crash/marks.h"

// Instructions of ARM, not Thumb, so that an address is one. Not inline in a function: the compiler might put something
// of its own before the breakpoint.
asm(R"(
  .text
  .arm
  .p2align 2
  .globl crashBeginMark
  .type crashBeginMark, %function
crashBeginMark:
  .inst 0xe7f001f0
  bx lr
  .size crashBeginMark, .-crashBeginMark
  .globl crashEndMark
  .type crashEndMark, %function
crashEndMark:
  .inst 0xe7f001f0
  bx lr
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

// The processor stays on this breakpoint: who stops there is moved on by its tracer.
std::uint64_t afterBeginMark() {
  return reinterpret_cast<std::uintptr_t>(&crashBeginMark) + 4;
}

std::uint64_t endMarkAddress() {
  return reinterpret_cast<std::uintptr_t>(&crashEndMark);
}

}  // namespace crash
