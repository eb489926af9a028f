// The supervisor: keeps a device side, applications and bystanders running, kills them at random, and judges.
//
// A storm is a row of rounds. A round has at most 20 registrations, since the table has no more; the next one begins as
// after a restart of the machine as far as the table is concerned, and goes on with everything else: locks, log, rings.
//
//   1. all processes are started
//   2. storm: every few milliseconds one is killed, wherever it is, and started anew; some before they are ready
//   3. calm: nobody is killed or started. First the apps send in turn and nobody else does, so nothing but its own
//      message can wake a receiver; then all do, and each message arrives exactly once and in order
//   4. all are killed under traffic, and what the round left in log and journals is judged (model.h)
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tests/storm/log_view.h"
#include "tests/storm/model.h"
#include "tests/storm/process.h"

namespace storm {

// What is done to the storm to see that it notices.
enum class Sabotage { kNone, kLoseReceived, kSendTwice, kSpoilPayload, kForgetSleepers, kHang, kGrow, kFillPlaces };

struct Options {
  double seconds = 600;
  std::uint64_t rounds = 0;  // 0 = as many as there is time for; else so many, whatever time they take
  std::uint32_t seed = 0;
  double bound = 20;  // seconds that one step may take
  Sabotage sabotage = Sabotage::kNone;
};

struct Figures {
  double seconds = 0;
  std::uint64_t rounds = 0;
  std::map<std::string, std::uint64_t> kills;  // by role
  std::uint64_t killsInStart = 0;
  std::uint64_t killsInPost = 0;  // after which the posting lock was seen without its holder
  std::uint64_t takeOvers = 0;    // of named locks from dead holders, as told in the log
  std::uint64_t freezes = 0;
  std::uint64_t starts = 0;
  std::uint64_t logged = 0;  // messages of the log, all identifiers
  std::uint64_t calmPhases = 0;
  std::uint64_t givenUp = 0;  // messages whose answer an app waited for in vain, in storms
  std::uint64_t hangs = 0;
  std::uint64_t interruptions = 0;  // times that the supervisor itself was not let run for a second
  double longestStep = 0;           // seconds
  double longestLag = 0;            // seconds until a receiver had read what was in the log
  std::uint64_t mostAlive = 0;
  std::uint64_t mostPlaces = 0;
  std::uint64_t sleepersLeft = 0;  // counted as asleep in the end, when nobody was alive
  std::uint64_t sharedBytes = 0;
  std::uint64_t sharedObjects = 0;
  Counts counts;
  std::map<std::string, std::uint64_t> faults;
  std::map<std::string, std::uint64_t> logLines;  // digits as "N"
  std::vector<std::string> reports;

  std::uint64_t killsInAll() const;
};

class Storm {
 public:
  explicit Storm(const Options& options);
  // Ends early at a hang.
  const Figures& run();

 private:
  struct Seat {
    Kind kind = Kind::kApp;
    std::uint32_t number = 0;
    std::uint32_t incarnation = 0;
    std::unique_ptr<Process> process;
    std::uint64_t startAt = 0;  // 0 = not before somebody says so
    std::uint64_t killAt = 0;   // 0 = when it is chosen
    std::uint64_t thawAt = 0;   // 0 = it is not stopped
    // Until when it has to read on: the watch over its delivery thread.
    std::uint64_t lagHead = 0;
    std::uint64_t lagSince = 0;  // 0 = it is not behind
  };

  std::uint32_t dice(std::uint32_t from, std::uint32_t to);
  void takeSeats();
  void runRound();

  bool rage();
  bool mayKillApp() const;
  void freezeSomebody();
  Seat* chooseVictim();
  void killAndReplace(Seat& seat);
  bool holdsLock(const Process& process, const std::vector<pid_t>& threads);
  bool aim(const Seat& seat);
  void stopWithLock(const Seat& seat);

  bool areAll(State state) const;
  bool haveReadPast(std::uint64_t head) const;
  bool calmDown();
  bool takeTurns();
  void spoil();

  void killAll();
  void end(Seat& seat);
  void leave(Seat& seat);
  void takeVerdict();

  // Everything goes on meanwhile; false where the storm is over.
  bool tick();
  bool tickUntil(std::uint64_t time);
  bool tickUntil(const char* what, const std::function<bool()>& condition);
  void start(Seat& seat);
  void followLog();
  void watch(Seat& seat);
  void watchDelivery(Seat& seat);
  void countPlaces();
  void checkObjects();
  void readProcessLog();

  void blame(const std::string& kind, const std::string& report);
  void hang(const std::string& report);
  double ageOf(std::uint64_t since) const;
  bool isTimeUp() const;

  const Options options_;
  std::mt19937 random_;
  Common common_;
  LogView log_;
  LockView locks_[2];  // of the rings
  std::vector<Seat> seats_;
  Stretch stretch_;
  std::map<std::string, std::pair<std::uint64_t, std::uint64_t>> objects_;  // size and blocks, as of the first round
  Figures figures_;
  std::uint64_t end_ = 0;
  // A machine that was halted meanwhile has not been hanging: ages count from here at the earliest.
  std::uint64_t awakeSince_ = 0;
  std::uint64_t lastTick_ = 0;
  bool isOver_ = false;
};

}  // namespace storm
