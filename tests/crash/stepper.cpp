#include "tests/crash/stepper.h"

#include <linux/futex.h>
#include <signal.h>
#include <stddef.h>
#include <string.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <unordered_map>

#include "tests/crash/marks.h"
#include "tests/crash/process_view.h"
#include "tests/crash/tracing.h"

namespace crash {
namespace {

// For all instructions, where each is stepped: some 50,000 stops of two processes that have to share their processor.
constexpr double kSecondsOfSteps = 300;
// So many instructions before the target are stepped in any case.
constexpr std::size_t kStepsToTarget = 64;
// Fewer are not worth dying between.
constexpr unsigned long long kManyRounds = 64;
constexpr std::uint64_t kSyscallBytes = 2;

void expectBeginMark(pid_t process) {
  expectStop(process, 0, "at the begin mark");
  user_regs_struct registers = {};
  checkTracing(ptrace(PTRACE_GETREGS, process, nullptr, &registers), "registers");
  if (registers.rip != afterBeginMark()) {
    throw SteppingFailed("the victim stops elsewhere than at the begin mark");
  }
}

void setDebugRegister(pid_t thread, std::size_t index, std::uint64_t value) {
  checkTracing(ptrace(PTRACE_POKEUSER, thread, offsetof(user, u_debugreg) + index * sizeof(value), value),
               "breakpoint");
}

// Where fewest stops lie between it and the target, at the breakpoint and step by step; 0 = the begin.
std::size_t placeForBreakpoint(std::size_t target, const Trace& trace) {
  if (target <= kStepsToTarget) {
    return 0;
  }
  const std::size_t last = std::min(target, trace.at.size()) - kStepsToTarget;
  std::size_t best = last;
  for (std::size_t place = last; place != 0 && last - place < trace.visit[best] + (last - best); --place) {
    if (trace.visit[place] + (last - place) < trace.visit[best] + (last - best)) {
      best = place;
    }
  }
  return best;
}

bool isPrefix(unsigned char byte) {
  return byte == 0xF2 || byte == 0xF3 || byte == 0x66 || byte == 0x67;
}

bool isStringOperation(unsigned char byte) {
  return (byte >= 0xA4 && byte <= 0xA7) || (byte >= 0xAA && byte <= 0xAF);
}

}  // namespace

Stepper Stepper::atBeginMark(pid_t process) {
  expectBeginMark(process);
  return {process, process, End::kMark};
}

Stepper Stepper::ofNewThread(pid_t process) {
  expectBeginMark(process);
  checkTracing(ptrace(PTRACE_SETOPTIONS, process, nullptr, PTRACE_O_TRACECLONE), "options");
  checkTracing(ptrace(PTRACE_CONT, process, nullptr, nullptr), "continue");
  expectStop(process, PTRACE_EVENT_CLONE, "where it starts a thread");
  unsigned long started = 0;
  checkTracing(ptrace(PTRACE_GETEVENTMSG, process, nullptr, &started), "started thread");
  const pid_t thread = static_cast<pid_t>(started);
  expectStop(thread, 0, "at the start of its thread");
  checkTracing(ptrace(PTRACE_CONT, process, nullptr, nullptr), "continue");
  return {process, thread, End::kSleep};
}

Stepper Stepper::ofSleeper(pid_t process, pid_t thread) {
  checkTracing(ptrace(PTRACE_SEIZE, thread, nullptr, nullptr), "seize");
  checkTracing(ptrace(PTRACE_INTERRUPT, thread, nullptr, nullptr), "interrupt");
  expectStop(thread, PTRACE_EVENT_STOP, "when it is interrupted");
  user_regs_struct registers = {};
  checkTracing(ptrace(PTRACE_GETREGS, thread, nullptr, &registers), "registers");
  // The kernel makes the interrupted call anew: the step that begins now ends when the thread is woken.
  checkTracing(ptrace(PTRACE_SINGLESTEP, thread, nullptr, nullptr), "step");
  if (!lookUntil([&] { return isAsleep(process, thread); }, secondsToTarget())) {
    throw SteppingFailed("the thread does not sleep again");
  }
  return {process, thread, registers.rip - kSyscallBytes};
}

Stepper::~Stepper() {
  kill();
}

void Stepper::readRegisters() {
  checkTracing(ptrace(PTRACE_GETREGS, thread_, nullptr, &registers_), "registers");
}

// Of the registers that were read last.
bool Stepper::isAtEnd() const {
  if (end_ == End::kMark) {
    return registers_.rip == endMarkAddress() || registers_.rip == endMarkAddress() + 1;
  }
  if (registers_.rax != SYS_futex || registers_.rsi != FUTEX_WAIT_BITSET) {
    return false;
  }
  constexpr long kSyscall = 0x050F;
  return (ptrace(PTRACE_PEEKTEXT, thread_, registers_.rip, nullptr) & 0xFFFF) == kSyscall;
}

void Stepper::resume(int how) {
  checkTracing(ptrace(static_cast<__ptrace_request>(how), thread_, nullptr, nullptr), "resume");
  waitForStop();
}

void Stepper::waitForStop() {
  const int status = statusOf(thread_);
  hasEnded_ = !WIFSTOPPED(status);
  if (WIFSIGNALED(status) || (WIFSTOPPED(status) && WSTOPSIG(status) != SIGTRAP)) {
    throw SteppingFailed("the victim got a signal, status " + std::to_string(status));
  }
}

// Where it stands; none at the end.
std::uint64_t Stepper::position() {
  if (hasEnded_) {
    return 0;
  }
  if (isInCall_) {
    return callAddress_;
  }
  readRegisters();
  return isAtEnd() ? 0 : registers_.rip;
}

// False where there is nothing left.
bool Stepper::step() {
  const std::uint64_t address = position();
  if (address == 0) {
    return false;
  }
  if (isInCall_) {
    isInCall_ = false;
    waitForStop();
  } else if (std::find(repeats_.begin(), repeats_.end(), address) != repeats_.end()) {
    passRepeat();
  } else {
    resume(PTRACE_SINGLESTEP);
  }
  return true;
}

// 0 where the instruction is another.
std::size_t Stepper::lengthOfRepeat(std::uint64_t address) const {
  unsigned char bytes[sizeof(long)];
  const long word = ptrace(PTRACE_PEEKTEXT, thread_, address, nullptr);
  memcpy(bytes, &word, sizeof bytes);
  std::size_t at = 0;
  bool isRepeated = false;
  for (; at < sizeof bytes - 2 && isPrefix(bytes[at]); ++at) {
    isRepeated = isRepeated || bytes[at] >= 0xF2;
  }
  const bool hasRex = (bytes[at] & 0xF0U) == 0x40;
  at += hasRex ? 1 : 0;
  return isRepeated && isStringOperation(bytes[at]) ? at + 1 : 0;
}

void Stepper::passRepeat() {
  const std::uint64_t next = registers_.rip + lengthOfRepeat(registers_.rip);
  if (!runTo(next, 1)) {
    throw SteppingFailed("a repeated instruction does not end behind itself");
  }
}

// At full speed, to the address for the so-manieth time. False where the thread came to an end instead.
bool Stepper::runTo(std::uint64_t address, std::uint32_t visit) {
  constexpr std::size_t kControl = 7;
  constexpr std::uint64_t kExecutionOfTheFirst = 1;
  setDebugRegister(thread_, 0, address);
  setDebugRegister(thread_, kControl, kExecutionOfTheFirst);
  bool isThere = true;
  for (std::uint32_t left = visit; isThere && left != 0; --left) {
    resume(PTRACE_CONT);
    if (hasEnded_) {
      return false;
    }
    readRegisters();
    isThere = registers_.rip == address;
  }
  setDebugRegister(thread_, kControl, 0);
  return isThere;
}

Trace Stepper::record() {
  const Deadline deadline(kSecondsOfSteps);
  Trace trace;
  std::unordered_map<std::uint64_t, std::uint32_t> visits;
  for (std::uint64_t address = position(); address != 0; address = position()) {
    // A breakpoint does not meet the call that the thread is in already.
    const std::uint32_t visit = isInCall_ ? 0 : ++visits[address];
    if (visit == 1 && lengthOfRepeat(address) != 0) {
      repeats_.push_back(address);
      trace.repeats.push_back(address);
    }
    const bool isRepeat = std::find(repeats_.begin(), repeats_.end(), address) != repeats_.end();
    if (isRepeat && registers_.rcx >= kManyRounds) {
      trace.longRepeats.push_back({trace.at.size(), registers_.rcx});
    }
    trace.at.push_back(address);
    trace.visit.push_back(visit);
    step();
  }
  return trace;
}

void Stepper::advance(std::size_t target, const Trace& trace) {
  const Deadline deadline(secondsToTarget());
  repeats_ = trace.repeats;
  std::size_t done = 0;
  if (isInCall_ && target != 0) {
    step();
    done = 1;
  }
  const std::size_t near = placeForBreakpoint(target, trace);
  if (near > done) {
    if (!runTo(trace.at[near], trace.visit[near])) {
      return;
    }
    done = near;
  }
  while (done < target && step()) {
    ++done;
  }
}

void Stepper::stepOnly(std::size_t target, const Trace& trace) {
  const Deadline deadline(kSecondsOfSteps);
  repeats_ = trace.repeats;
  for (std::size_t done = 0; done < target && step(); ++done) {
  }
}

void Stepper::repeat(unsigned int rounds) {
  const Deadline deadline(secondsToTarget());
  for (unsigned int round = 0; round < rounds; ++round) {
    resume(PTRACE_SINGLESTEP);
  }
}

void Stepper::kill() {
  if (isGone_) {
    return;
  }
  isGone_ = true;
  killTraced(process_, thread_, hasEnded_);
}

}  // namespace crash
