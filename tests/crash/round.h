// One round: a machine without objects, a victim that dies after so many instructions, and what comes afterwards.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "tests/crash/board.h"
#include "tests/crash/forked.h"
#include "tests/crash/operation.h"
#include "tests/crash/stepper.h"

namespace crash {

// Where to kill.
struct Target {
  std::size_t instructions;  // that have been executed
  unsigned int rounds;       // of the next one, a repeated string instruction
};

// Of the instruction that comes next there, as it was recorded; 0 behind the end.
std::uint64_t addressAt(const Target& target, const Trace& trace);

struct Verdict {
  bool isAllowed = false;
  std::string outcome;         // its name; where it is not allowed: what is wrong
  std::uint64_t position = 0;  // address of the instruction that was not executed any more; 0 = there was none
  bool hasHeldLock = false;
  bool hasBeenWaitedFor = false;  // for that lock, by a process that slept
  bool isFinished = false;        // it died behind the operation's end
  bool hasStrayed = false;        // it died elsewhere than the recorded one would have: it took another way
  double recoverySeconds = 0;     // from the kill to the first message between the fresh ones
};

class Round {
 public:
  // `deadline`: seconds after which what is waited for counts as hanging.
  Round(Board& board, const Operation& operation, double deadline);
  ~Round();  // ends everybody, removes everything
  Round(const Round&) = delete;
  Round& operator=(const Round&) = delete;

  // Runs the operation to its end, and notes its way.
  Trace record();
  // What is not allowed is a verdict and no exception. SteppingFailed where the victim did not get as far.
  Verdict run(const Target& target, const Trace& trace, bool isEveryInstructionStepped);

 private:
  void prepare();
  void startWitness();
  void startVictim();
  void startStepping();
  void startWaiter(const std::string& lockObject);
  void kill(const Target& target, const Trace& trace);
  void settle();
  bool isWitnessDone() const;
  std::string outcome() const;
  void checkFinished() const;
  void checkNextMessage();
  void checkNextOfItsKind();
  void checkFreshPair();
  void checkWitness();
  void checkObjects() const;
  void await(const std::string& what, const std::function<bool()>& condition);
  void awaitEnd(const std::string& what, Forked& process) const;

  Board& board_;
  const Operation& operation_;
  const double deadline_;

  std::unique_ptr<Forked> witness_;
  std::unique_ptr<Forked> victim_;
  std::unique_ptr<Forked> waiter_;
  std::unique_ptr<Stepper> stepper_;
  pid_t victimPid_ = 0;
  std::uint64_t logBefore_ = 0;   // messages there when the operation began
  std::uint32_t seenBefore_ = 0;  // and those that the witness had seen
  bool isWitnessBehind_ = false;
  double killedAt_ = 0;
  Verdict verdict_;
};

}  // namespace crash
