#include <linux/futex.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <cstdio>
#include <fstream>
#include <set>
#include <string>

#include "tests/crash/marks.h"
#include "tests/crash/process_view.h"
#include "tests/crash/stepper.h"
#include "tests/crash/tracing.h"
#include "tests/support/arm/breakpoints.h"
#include "tests/support/arm/code_map.h"

using test_support::addressOf;
using test_support::Breakpoints;
using test_support::WatchedCode;

namespace crash {
namespace {

constexpr std::size_t kPc = 15;  // in the registers
constexpr std::uint32_t kMarkBytes = 4;

void expectBeginMark(pid_t process) {
  expectStop(process, 0, "at the begin mark");
  user_regs registers = {};
  checkTracing(ptrace(PTRACE_GETREGS, process, nullptr, &registers), "registers");
  if (registers.uregs[kPc] + kMarkBytes != afterBeginMark()) {
    throw SteppingFailed("the victim stops elsewhere than at the begin mark");
  }
  registers.uregs[kPc] += kMarkBytes;
  checkTracing(ptrace(PTRACE_SETREGS, process, nullptr, &registers), "registers");
}

// The processor's own, of one thread: of the thread's pairs of registers the first one, an address and what to do
// there.
void setHardwareBreakpoint(pid_t thread, std::uint32_t address, bool isOn) {
  constexpr std::uint32_t kTwoBytes = 3U << 5;  // a breakpoint is where an instruction begins, however long it is
  constexpr std::uint32_t kEnabled = 1;
  const auto set = [thread](long number, std::uint32_t value) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the call takes the number in a pointer's place
    checkTracing(ptrace(PTRACE_SETHBPREGS, thread, reinterpret_cast<void*>(number), &value), "breakpoint");
  };
  set(2, kTwoBytes);
  if (isOn) {
    set(1, address);
    set(2, kTwoBytes | kEnabled);
  }
}

// The libraries of the channel.
const WatchedCode& codeOfTheChannel() {
  static const WatchedCode code(test_support::codeOfLibraries({"/libLinkAppCommon.so", "/libVQFramework.so"}));
  return code;
}

// Asleep until there is a message: the one call of this kind that the libraries make. Of a thread that has stopped
// meanwhile the kernel tells its last call.
bool isInNotifiersSleep(pid_t process, pid_t thread) {
  if (!isAsleep(process, thread)) {
    return false;
  }
  std::ifstream file("/proc/" + std::to_string(process) + "/task/" + std::to_string(thread) + "/syscall");
  std::string line;
  std::getline(file, line);
  long number = 0;
  unsigned long arguments[2] = {};
  return sscanf(line.c_str(), "%ld %lx %lx", &number, &arguments[0], &arguments[1]) == 3 && number == SYS_futex &&
         arguments[1] == FUTEX_WAIT_BITSET && isAsleep(process, thread);
}

}  // namespace

// All threads of a process that is recorded: every one of them meets the breakpoints.
class Crowd {
 public:
  Crowd(pid_t process, pid_t recorded) : process_(process), recorded_(recorded) {
    for (const pid_t thread : threadsOf(process)) {
      // Refused where this process traces it already.
      if (ptrace(PTRACE_SEIZE, thread, nullptr, PTRACE_O_TRACECLONE) == 0 || thread == recorded || thread == process) {
        threads_.insert(thread);
      }
    }
    ptrace(PTRACE_SETOPTIONS, recorded, nullptr, PTRACE_O_TRACECLONE);  // it stands
  }
  // Ends the process: it is not gone before all its traced threads have been waited for.
  ~Crowd() {
    for (const pid_t thread : threadsOf(process_)) {
      threads_.insert(thread);
    }
    threads_.erase(process_);
    ::kill(process_, SIGKILL);
    for (const pid_t thread : threads_) {
      int status = 0;
      while (waitpid(thread, &status, __WALL) == thread && WIFSTOPPED(status)) {
      }
    }
  }
  Crowd(const Crowd&) = delete;
  Crowd& operator=(const Crowd&) = delete;

  // Of some thread, if one has stopped, or ended: which one, and how. 0 = none.
  pid_t next(int& status) {
    for (const pid_t thread : threads_) {
      const pid_t waited = waitpid(thread, &status, __WALL | WNOHANG);
      if (waited == 0) {
        continue;
      }
      if (waited == -1 || !WIFSTOPPED(status)) {
        threads_.erase(thread);
        if (waited == -1 && thread != recorded_) {
          return next(status);
        }
      }
      return thread;
    }
    return 0;
  }

  void proceed(pid_t thread, int status) {
    int signal = 0;
    if (status >> 16 == PTRACE_EVENT_CLONE) {
      unsigned long started = 0;
      checkTracing(ptrace(PTRACE_GETEVENTMSG, thread, nullptr, &started), "started thread");
      threads_.insert(static_cast<pid_t>(started));
    } else if (status >> 16 == 0 && WSTOPSIG(status) != SIGTRAP && WSTOPSIG(status) != SIGSTOP) {
      signal = WSTOPSIG(status);
    }
    ptrace(PTRACE_CONT, thread, nullptr, signal);  // it may have been killed
  }

 private:
  const pid_t process_;
  const pid_t recorded_;
  std::set<pid_t> threads_;
};

namespace {

bool isBreakpoint(int status) {
  return WIFSTOPPED(status) && status >> 16 == 0 && WSTOPSIG(status) == SIGTRAP;
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

// It stays where it is, in its call, until it is known where it is to die.
Stepper Stepper::ofSleeper(pid_t process, pid_t thread) {
  checkTracing(ptrace(PTRACE_SEIZE, thread, nullptr, nullptr), "seize");
  checkTracing(ptrace(PTRACE_INTERRUPT, thread, nullptr, nullptr), "interrupt");
  expectStop(thread, PTRACE_EVENT_STOP, "when it is interrupted");
  return {process, thread, addressOf(thread)};
}

Stepper::~Stepper() {
  kill();
}

// Where it stands; none at the end.
std::uint64_t Stepper::position() {
  if (hasEnded_ || isAsleepAgain_) {
    return 0;
  }
  if (isInCall_) {
    return callAddress_;
  }
  const std::uint32_t address = addressOf(thread_);
  return end_ == End::kMark && address == endMarkAddress() ? 0 : address;
}

// Up to its next stop, its end, or its next sleep.
void Stepper::waitForStop() {
  int status = 0;
  pid_t waited = 0;
  const bool isThere = lookUntil(
      [&] {
        waited = waitpid(thread_, &status, __WALL | WNOHANG);
        return waited != 0 || (end_ == End::kSleep && !isInCall_ && isInNotifiersSleep(process_, thread_));
      },
      secondsToTarget());
  if (!isThere) {
    throw SteppingFailed("the stepped thread does not come on");
  }
  isAsleepAgain_ = waited == 0;
  hasEnded_ = waited != 0 && !WIFSTOPPED(status);
  if (waited != 0 && (WIFSIGNALED(status) || (WIFSTOPPED(status) && !isBreakpoint(status)))) {
    throw SteppingFailed("the victim got a signal, status " + std::to_string(status));
  }
}

// False where the thread came to an end instead.
bool Stepper::runTo(std::uint64_t address, std::uint32_t /*visit*/) {
  setHardwareBreakpoint(thread_, static_cast<std::uint32_t>(address), true);
  checkTracing(ptrace(PTRACE_CONT, thread_, nullptr, nullptr), "continue");
  waitForStop();
  if (hasEnded_ || isAsleepAgain_) {
    return false;
  }
  setHardwareBreakpoint(thread_, 0, false);
  isInCall_ = false;
  return position() == address;
}

// The thread that has stopped or ended; 0 = the recorded one sleeps the sleep that is its end.
pid_t Stepper::nextStop(Crowd& crowd, bool hasRun, int& status) const {
  pid_t thread = 0;
  const auto isThere = [&] {
    thread = crowd.next(status);
    return thread != 0 || (end_ == End::kSleep && hasRun && isInNotifiersSleep(process_, thread_));
  };
  if (!lookUntil(isThere, secondsToTarget())) {
    throw SteppingFailed("the recorded thread does not come to its end");
  }
  return thread;
}

// When it returns the process has come to its end, too.
Trace Stepper::record() {
  Trace trace;
  const auto note = [&trace](std::uint64_t address) {
    trace.at.push_back(address);
    trace.visit.push_back(1);
  };
  if (isInCall_) {
    note(callAddress_);
  }
  Crowd crowd(process_, thread_);
  Breakpoints breakpoints(process_, codeOfTheChannel());
  checkTracing(ptrace(PTRACE_CONT, thread_, nullptr, nullptr), "continue");
  for (;;) {
    int status = 0;
    const pid_t thread = nextStop(crowd, trace.at.size() > 1, status);
    if (thread == 0) {
      return trace;
    }
    if (!WIFSTOPPED(status)) {
      if (thread == thread_) {
        return trace;
      }
      continue;
    }
    const std::uint32_t address = isBreakpoint(status) ? addressOf(thread) : 0;
    if (address == endMarkAddress()) {
      if (thread == thread_) {
        return trace;
      }
      continue;  // the caller is through; it stays there
    }
    if (address != 0 && codeOfTheChannel().at(address) == nullptr) {
      throw SteppingFailed("the victim stops where nobody has told it to");
    }
    if (address != 0 && breakpoints.clear(address) && thread == thread_) {
      note(address);
    }
    crowd.proceed(thread, status);
  }
}

// A thread that is found in its sleep is awake when it comes to the first place behind it.
void Stepper::advance(std::size_t target, const Trace& trace) {
  if (isInCall_ && (target == 0 || trace.at.size() < 2 || (target != 1 && !runTo(trace.at[1], 1)))) {
    return;
  }
  const bool isBehindTheEnd = target >= trace.at.size();
  const std::uint64_t address = isBehindTheEnd ? trace.at.back() : trace.at[target];
  if ((position() != address && !runTo(address, 1)) || !isBehindTheEnd) {
    return;
  }
  checkTracing(ptrace(PTRACE_CONT, thread_, nullptr, nullptr), "continue");
  waitForStop();
}

void Stepper::stepOnly(std::size_t target, const Trace& trace) {
  advance(target, trace);
}

void Stepper::repeat(unsigned int /*rounds*/) {
  // There are no repeated instructions.
}

void Stepper::kill() {
  if (!isGone_) {
    isGone_ = true;
    killTraced(process_, thread_, hasEnded_);
  }
}

}  // namespace crash
