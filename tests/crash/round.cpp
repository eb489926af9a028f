#include "tests/crash/round.h"

#include <unistd.h>

#include <filesystem>

#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "VQFramework/SharedMemory/VQSharedSyncObject.h"
#include "tests/crash/fresh_pair.h"
#include "tests/crash/log_view.h"
#include "tests/crash/process_view.h"
#include "tests/crash/settings.h"
#include "tests/crash/shared_state.h"
#include "tests/crash/witness.h"
#include "tests/support/shm_files.h"
#include "tests/support/wait_until.h"

namespace crash {
namespace {

struct Hangs : std::runtime_error {
  using std::runtime_error::runtime_error;
};

void clearMachine() {
  test_support::clearShm();
  std::filesystem::remove_all(test_support::shmFile(kSettingsFolder));
}

std::uint32_t messagesBehind(const LogView& log, std::uint64_t begin) {
  std::uint32_t count = 0;
  for (std::uint64_t sequence = begin; sequence < log.head(); ++sequence) {
    count += LogView::isOfTheChannel(log.slot(sequence)) ? 1U : 0U;
  }
  return count;
}

// Of an identifier that the channel does not use: nobody is woken for its own sake.
void postForNobody() {
  constexpr unsigned int kOfNobody = 9;
  VQSharedMemNotifier(false).NotifyDataUpdate(kOfNobody, "next", 4);
}

// In a process of its own.
void waitForLock(Board& board, const std::string& lockObject) {
  if (lockObject == vqframework::kMessageLogName) {
    tell(board, board.waiterIsReady);
    postForNobody();
    return;
  }
  const std::string name = lockObject.substr(0, lockObject.rfind(".lock"));
  const VQSharedSyncObject lock(name.c_str());
  tell(board, board.waiterIsReady);
  lock.lock();
  lock.unlock();
}

void runNextOfItsKind(Board& board, const Operation& operation) {
  try {
    operation.next();
  } catch (const std::exception& error) {
    complain(board, error.what());
  }
}

}  // namespace

std::uint64_t addressAt(const Target& target, const Trace& trace) {
  return target.instructions < trace.at.size() ? trace.at[target.instructions] : 0;
}

Round::Round(Board& board, const Operation& operation, double deadline)
    : board_(board), operation_(operation), deadline_(deadline) {
  clearMachine();
  wipe(board_);
}

Round::~Round() {
  stepper_.reset();
  victim_.reset();
  waiter_.reset();
  witness_.reset();
  clearMachine();
}

void Round::await(const std::string& what, const std::function<bool()>& condition) {
  const bool isDone = waitFor(
      board_, [&] { return board_.hasComplaint == 2 || condition(); }, deadline_);
  if (board_.hasComplaint == 2) {
    throw NotAllowed(static_cast<const char*>(board_.complaint));
  }
  if (!isDone) {
    throw Hangs(what);
  }
}

void Round::awaitEnd(const std::string& what, Forked& process) const {
  if (!process.endsWell(deadline_)) {
    throw Hangs(what + " does not end, or not well");
  }
}

void Round::startWitness() {
  witness_ = std::make_unique<Forked>([this] { runWitness(board_, operation_.apps); });
  await("the witness starts", [this] { return board_.witnessIsReady != 0; });
}

void Round::startVictim() {
  victim_ = std::make_unique<Forked>([this] {
    Victim victim(board_, operation_.stepped);
    operation_.victim(victim);
  });
  victimPid_ = victim_->pid();
  await("the victim prepares itself", [this] { return board_.victimIsPrepared != 0; });
}

// Everybody is there and has nothing to do.
void Round::prepare() {
  if (operation_.hasWitness) {
    startWitness();
  }
  startVictim();
  if (!operation_.hasWitness) {
    return;
  }
  const LogView log;
  const unsigned int receivers = threadCountOf(victimPid_) > 1 ? 2 : 1;
  if (!lookUntil([&] { return log.areAllAsleep(receivers); }, deadline_)) {
    throw Hangs("witness and victim come to rest");
  }
  logBefore_ = log.head();
  seenBefore_ = board_.seenCount;
}

void Round::startStepping() {
  switch (operation_.stepped) {
    case Stepped::kCaller:
      tell(board_, board_.victimMayGo);
      stepper_.reset(new Stepper(Stepper::atBeginMark(victimPid_)));
      break;
    case Stepped::kNewThread:
      tell(board_, board_.victimMayGo);
      stepper_.reset(new Stepper(Stepper::ofNewThread(victimPid_)));
      break;
    case Stepped::kDeliveryThread:
      stepper_.reset(new Stepper(Stepper::ofSleeper(victimPid_, deliveryThreadOf(victimPid_))));
      tell(board_, board_.victimMayGo);
      if (operation_.doesWitnessSend) {
        tell(board_, board_.witnessMaySend);
        await("the witness sends", [this] { return board_.witnessHasSent != 0; });
      }
      break;
  }
  victim_->forget();  // from here on the stepper waits for its end
}

Trace Round::record() {
  prepare();
  startStepping();
  return stepper_->record();
}

// A process that sleeps until it gets the lock, and ends when it has had it.
void Round::startWaiter(const std::string& lockObject) {
  waiter_ = std::make_unique<Forked>([this, &lockObject] { waitForLock(board_, lockObject); });
  await("somebody starts who wants the lock", [this] { return board_.waiterIsReady != 0; });
  if (!lookUntil([&] { return isLockWaitedFor(lockObject); }, deadline_)) {
    throw NotAllowed("somebody else comes into a lock that is held");
  }
}

// Every second victim that holds a lock is waited for: the kernel wakes who waits. The others are found dead by whoever
// comes next.
void Round::kill(const Target& target, const Trace& trace) {
  verdict_.position = stepper_->position();
  verdict_.isFinished = verdict_.position == 0;
  verdict_.hasStrayed = verdict_.position != addressAt(target, trace);
  const std::vector<std::string> held = locksHeldBy(stepper_->thread());
  verdict_.hasHeldLock = !held.empty();
  verdict_.hasBeenWaitedFor = !held.empty() && target.instructions % 2 == 0;
  if (verdict_.hasBeenWaitedFor) {
    startWaiter(held[target.instructions / 2 % held.size()]);
  }
  killedAt_ = test_support::monotonicSeconds();
  stepper_->kill();
  if (waiter_ != nullptr) {
    awaitEnd("who waits for the dead one's lock", *waiter_);
  }
}

bool Round::isWitnessDone() const {
  const LogView log;
  const vqframework::AttachedPlace* const place = log.placeOf(witness_->pid());
  return place != nullptr && log.hasReadAll(*place) &&
         board_.seenCount - seenBefore_ == messagesBehind(log, logBefore_);
}

// Until the witness has read everything, or sleeps over it, which is allowed only where the next poster will wake it:
// nobody lives who could do so now.
void Round::settle() {
  if (!operation_.hasWitness) {
    return;
  }
  const pid_t thread = deliveryThreadOf(witness_->pid());
  isWitnessBehind_ = false;
  const auto isAtRest = [&] {
    if (isWitnessDone()) {
      return true;
    }
    isWitnessBehind_ = isAsleep(witness_->pid(), thread) && LogView().isWakeOwed() && !isWitnessDone();
    return isWitnessBehind_;
  };
  if (!lookUntil(isAtRest, deadline_)) {
    throw Hangs("the witness sleeps over a message, and nobody is to wake it");
  }
}

std::string Round::outcome() const {
  const LogView log;
  return operation_.outcome({victimPid_, logBefore_, isWitnessBehind_, log, board_});
}

// A victim that does nothing at all would be allowed everything else.
void Round::checkFinished() const {
  const std::string& expected = operation_.finished;
  if (verdict_.isFinished && !expected.empty() && verdict_.outcome != expected) {
    throw NotAllowed("the operation is over, and what is left is: " + verdict_.outcome);
  }
}

// A message that waits does so until the next message of anybody, whatever it is.
void Round::checkNextMessage() {
  if (!isWitnessBehind_) {
    return;
  }
  Forked next(&postForNobody);
  awaitEnd("the next poster", next);
  await("the next message wakes the witness, too", [this] { return isWitnessDone(); });
}

void Round::checkNextOfItsKind() {
  if (operation_.next) {
    Forked next([this] { runNextOfItsKind(board_, operation_); });
    awaitEnd("the next process of its kind", next);
    await("", [] { return true; });
  }
}

void Round::checkFreshPair() {
  Forked client([this] { runFreshClient(board_); });
  await("a fresh client starts", [this] { return board_.clientIsReady != 0; });
  Forked server([this] { runFreshServer(board_); });
  await("a fresh server starts", [this] { return board_.serverIsReady != 0; });
  await("the fresh ones open a session", [this] { return board_.clientMayExchange != 0; });
  await("the first message comes", [this] { return board_.firstHasCome != 0; });
  verdict_.recoverySeconds = test_support::monotonicSeconds() - killedAt_;
  await("all messages come", [this] { return board_.clientIsDone != 0; });
  if (operation_.hasWitness) {
    tell(board_, board_.witnessMustFind, board_.clientAppId);
    await("the witness' server learns of the fresh app", [this] { return board_.witnessHasFound != 0; });
  }
  awaitEnd("the fresh client", client);
  tell(board_, board_.serverMustEnd);
  awaitEnd("the fresh server", server);
}

// It has seen what is in the log, each message once, whole, and in the same order.
void Round::checkWitness() {
  if (!operation_.hasWitness) {
    return;
  }
  const LogView log;
  const std::uint32_t count = messagesBehind(log, logBefore_);
  board_.witnessMustTell = 1;
  await("the witness gets every message", [&] { return board_.seenCount - seenBefore_ >= count; });
  std::uint32_t place = seenBefore_;
  for (std::uint64_t sequence = logBefore_; sequence < log.head(); ++sequence) {
    const vqframework::MessageSlot& slot = log.slot(sequence);
    if (!LogView::isOfTheChannel(slot)) {
      continue;
    }
    const Seen& seen = board_.seen[place++];
    if (seen.id != slot.id || seen.size != LogView::sizeOf(slot) || seen.hash != LogView::hashOf(slot)) {
      throw NotAllowed("the witness saw something else than message " + std::to_string(sequence));
    }
  }
  tell(board_, board_.witnessMustEnd);
  awaitEnd("the witness", *witness_);
  if (board_.seenCount != place) {
    throw NotAllowed("the witness saw " + std::to_string(board_.seenCount - place) + " messages that nobody sent");
  }
}

void Round::checkObjects() const {
  const std::string fault = faultOfObjects();
  if (!fault.empty()) {
    throw NotAllowed(fault);
  }
  if (LogView().placeOf(victimPid_) != nullptr) {
    throw NotAllowed("the victim is still listed when others have attached");
  }
}

Verdict Round::run(const Target& target, const Trace& trace, bool isEveryInstructionStepped) {
  try {
    prepare();
    startStepping();
    if (isEveryInstructionStepped) {
      stepper_->stepOnly(target.instructions, trace);
    } else {
      stepper_->advance(target.instructions, trace);
    }
    stepper_->repeat(target.rounds);
    kill(target, trace);
    settle();
    verdict_.outcome = outcome();
    checkFinished();
    checkNextMessage();
    checkNextOfItsKind();
    checkFreshPair();
    checkWitness();
    checkObjects();
    if (operation_.finally) {
      verdict_.outcome = operation_.finally(verdict_.outcome, board_);
    }
    verdict_.isAllowed = true;
  } catch (const NotAllowed& wrong) {
    verdict_.outcome = std::string("wrong: ") + wrong.what();
  } catch (const Hangs& hang) {
    verdict_.outcome = std::string("hang: ") + hang.what();
  }
  return verdict_;
}

}  // namespace crash
