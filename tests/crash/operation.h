// An operation that a process may die in, and what is allowed to be left of it.
#pragma once

#include <sys/types.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/crash/board.h"
#include "tests/crash/log_view.h"

namespace crash {

// Which thread of the victim is stepped.
enum class Stepped {
  kCaller,          // the one that calls, from the call to its return
  kNewThread,       // the delivery thread that the call starts, up to its first sleep
  kDeliveryThread,  // the one that is there, from its sleep to its next one, or to its end
};

// Where it dies.
enum class Density {
  kEveryInstruction,
  kLibraries,  // before and after every instruction of the two libraries and every system call, and after every 11th
               // instruction of the C library, the C++ runtime and the loader; where locks and copies into shared
               // memory are no more than what another operation goes through instruction by instruction
  kSample,     // after so many that lie apart evenly
};

// What the victim's process does. Prepares itself, then hands what is to be stepped to perform().
class Victim {
 public:
  Victim(Board& board, Stepped stepped) : board_(board), stepped_(stepped) {}

  // Returns in no case: whoever has performed waits for its death.
  [[noreturn]] void perform(const std::function<void()>& operation);
  void noteCall() { tell(board_, board_.victimCalls, board_.victimCalls + 1); }

 private:
  Board& board_;
  const Stepped stepped_;
};

// What stands after a death, when everybody who lives has come to rest, and before anybody new has started.
struct Aftermath {
  pid_t victim;
  std::uint64_t logBefore;  // messages in the log when the operation began
  bool isWitnessBehind;     // the witness sleeps, and has not read everything; the next poster will wake it
  const LogView& log;
  const Board& board;
};

// What is left is not among what is allowed.
struct NotAllowed : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Operation {
  std::string name;
  std::string allowed;  // and why, in words, for the document
  Stepped stepped = Stepped::kCaller;
  Density density = Density::kEveryInstruction;
  bool hasWitness = true;
  unsigned int apps = 0;         // that the witness registers
  bool doesWitnessSend = false;  // to the victim, a message from the device
  std::function<void(Victim&)> victim;
  // What must be left where the thread dies behind the end; empty where another thread decides it, too.
  std::string finished;
  // The name of what was left; NotAllowed where it must not be.
  std::function<std::string(const Aftermath&)> outcome;
  // Where the next process of this kind does more than the fresh pair: in a process of its own, before the pair. It
  // throws NotAllowed.
  std::function<void()> next;
  // A last look, when all processes have ended; may change the outcome's name.
  std::function<std::string(const std::string& outcome, const Board& board)> finally;
};

// Each topic has its file.
Operation lockCreation();
Operation segmentCreation();
Operation logCreation();
Operation firstClient();
Operation firstServer();
Operation registration(unsigned int apps);
Operation writeFromClient();
Operation writeFromServer();
Operation statusSend();
Operation reception();
Operation answer();
Operation attachment(Stepped stepped);
Operation detachment(Stepped stepped);
Operation endpointDestruction();
Operation settingsFlush();

std::vector<Operation> allOperations();

// How a message that the victim posted under `id` ended: empty where it is not in the log.
std::string fateOfMessage(const Aftermath& aftermath, std::uint32_t id);

}  // namespace crash
