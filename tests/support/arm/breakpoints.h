// Breakpoints in place of every instruction of some code, in the memory of a process: how its way is found on 32-bit
// ARM, whose kernels run no process instruction by instruction.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <set>
#include <vector>

#include "tests/support/arm/code_map.h"

namespace test_support {

// The code that is looked into, and the same code full of breakpoints. Made once, for any number of processes.
class WatchedCode {
 public:
  // What is written at once. There are few: each write costs the kernel as much as a whole page.
  struct Stretch {
    std::uint32_t begin;
    std::vector<unsigned char> bytes;
  };

  explicit WatchedCode(CodeMap instructions);

  // Null where none of its instructions begins.
  const Instruction* at(std::uint32_t address) const;
  const std::vector<Stretch>& stretches() const { return stretches_; }

 private:
  const CodeMap instructions_;
  std::vector<Stretch> stretches_;
};

// In a process that is a fork of this one, and so has the same code at the same addresses. Each stays until it is taken
// out.
class Breakpoints {
 public:
  // `code` outlives this object.
  Breakpoints(pid_t process, const WatchedCode& code);
  ~Breakpoints();
  Breakpoints(const Breakpoints&) = delete;
  Breakpoints& operator=(const Breakpoints&) = delete;

  // False where there was none any more. Where the process stopped there it goes on with the instruction itself.
  bool clear(std::uint32_t address);
  void clearAll();

 private:
  void write(std::uint32_t address, std::size_t size, const unsigned char* bytes) const;

  const WatchedCode& code_;
  const int memory_;
  std::set<std::uint32_t> isCleared_;
};

// Where a thread stands that this process traces. A breakpoint leaves it at its own address.
std::uint32_t addressOf(pid_t thread);

}  // namespace test_support
