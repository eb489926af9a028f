// Stepper: one thread of another process, run instruction by instruction.
//
// What counts as one instruction on x86-64: each that the processor executes; a repeated string instruction (rep stosb
// and its like) is one, however often it repeats. 32-bit ARM cannot be stepped: there it is each instruction of the
// libraries, when it is executed for the first time; breakpoints find them.
#pragma once

#include <sys/types.h>
#include <sys/user.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <vector>

namespace crash {

#if defined(__arm__)
using Registers = user_regs;
#else
using Registers = user_regs_struct;
#endif

// One run of an operation: where its thread stood before each instruction.
struct Trace {
  // A string instruction with many rounds.
  struct LongRepeat {
    std::size_t place;  // in `at`
    std::uint64_t rounds;
  };

  std::vector<std::uint64_t> at;
  std::vector<std::uint32_t> visit;    // which one of this address it was, 1 for the first
  std::vector<std::uint64_t> repeats;  // addresses of repeated string instructions
  std::vector<LongRepeat> longRepeats;
};

// The victim cannot be stepped: it hangs, or it ended by itself.
struct SteppingFailed : std::runtime_error {
  using std::runtime_error::runtime_error;
};

class Crowd;

class Stepper {
 public:
  // The shortest way of some counts: on a busy machine one may lead through waits that victims seldom meet.
#if defined(__arm__)
  static constexpr int kRecordings = 1;  // instructions that are met again do not count: ways differ little
#else
  static constexpr int kRecordings = 3;
#endif

  // A child of this process that traces itself and comes to the begin mark; up to the end mark.
  static Stepper atBeginMark(pid_t process);
  // The first thread that such a child starts behind the begin mark; up to its first sleep in the notifier.
  static Stepper ofNewThread(pid_t process);
  // A thread that sleeps in the notifier, and sleeps again when this returns; up to its next sleep, or to its end.
  static Stepper ofSleeper(pid_t process, pid_t thread);

  ~Stepper();  // kills the process
  Stepper(const Stepper&) = delete;
  Stepper& operator=(const Stepper&) = delete;

  // Runs everything and notes it.
  Trace record();
  // Runs `target` instructions, fewer where there are no more. The last ones one by one, the others at full speed up to
  // a breakpoint, at a place that `trace`, a former run, knows.
  void advance(std::size_t target, const Trace& trace);
  // The same, each instruction for itself.
  void stepOnly(std::size_t target, const Trace& trace);
  // So many rounds of the repeated string instruction that comes next, fewer than it has.
  void repeat(unsigned int rounds);

  pid_t thread() const {
    return thread_;
  }
  // The address of the instruction that comes next; 0 where there is none, or the thread sleeps.
  std::uint64_t position();

  // With SIGKILL. When this returns the process is gone, and the kernel has passed on what it held.
  void kill();

 private:
  enum class End { kMark, kSleep };

  Stepper(pid_t process, pid_t thread, End end) : process_(process), thread_(thread), end_(end) {}
  Stepper(pid_t process, pid_t sleeper, std::uint64_t callAddress)
      : process_(process), thread_(sleeper), end_(End::kSleep), callAddress_(callAddress), isInCall_(true) {}
  bool step();
  pid_t nextStop(Crowd& crowd, bool hasRun, int& status) const;  // ARM
  void readRegisters();
  bool isAtEnd() const;
  void resume(int how);
  void waitForStop();
  bool runTo(std::uint64_t address, std::uint32_t visit);
  std::size_t lengthOfRepeat(std::uint64_t address) const;
  void passRepeat();

  const pid_t process_;
  const pid_t thread_;
  const End end_;
  const std::uint64_t callAddress_ = 0;  // of the sleep that it was found in
  bool isInCall_ = false;                // in that sleep: the first step is under way
  bool isAsleepAgain_ = false;           // only where it is not stepped: it sleeps the sleep that is its end
  bool hasEnded_ = false;                // the thread
  bool isGone_ = false;                  // the process
  Registers registers_ = {};
  std::vector<std::uint64_t> repeats_;  // addresses of repeated string instructions
};

}  // namespace crash
