// What a process of the storm writes down about itself while it lives, in memory that outlives it.
//
// The supervisor makes one journal per process and the board for all, hands them over as descriptors, and reads them
// after the process was killed. An entry that was being written at that moment is not there.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/storm/payload.h"

namespace storm {

constexpr int kBoardDescriptor = 3;
constexpr int kJournalDescriptor = 4;

// Identifiers of the channel, and one for messages that do not go through it.
constexpr std::uint32_t kFromHU = 2;
constexpr std::uint32_t kFromDevice = 3;
constexpr std::uint32_t kStatus = 4;
constexpr std::uint32_t kTable = 5;
constexpr std::uint32_t kBareId = 0x53544F52U;

enum class Phase : std::uint32_t {
  kStorm,   // send at random; processes are killed and started
  kSettle,  // no kills any more: wait for what is under way and send nothing
  kTurns,   // one app at a time sends kTurnMessages, one by one; nobody else sends, so a lost wake-up stays lost
  kCalm,    // send kCalmMessages, and take every answer for certain
};
constexpr std::uint32_t kTurnMessages = 50;
constexpr std::uint32_t kCalmMessages = 100;

constexpr std::uint32_t kMostApps = 8;
// A message may be sent when the oldest one that anybody waits for is less than this behind it. Those that an app no
// longer waits for, since their device side is gone, may be as many again: far below 40 together.
constexpr std::uint64_t kUnderWay = 16;

// How a process can be made to spoil the storm, to see that it is noticed.
enum class Fault : std::uint32_t { kNone, kLoseReceived, kSendTwice, kSpoilPayload };

struct Board {
  std::atomic<Phase> phase;
  std::atomic<Fault> fault;
  std::atomic<std::uint32_t> turn;      // number of the app whose turn it is
  std::atomic<std::uint64_t> followed;  // how far the supervisor has read the log: nobody may run away from it
  // The pacing of all apps together, since they share the rings' 40 slots.
  std::atomic<std::uint64_t> sends;              // messages that apps have taken on, from 1 on
  std::atomic<std::uint64_t> oldest[kMostApps];  // of each app the oldest one that it waits for, 0 = none
};

enum class State : std::uint32_t { kStarting, kReady, kSettled, kCalmDone };

enum class EventKind : std::uint32_t {
  kNone,
  kSending,   // written before the call; `ring` and `stamp`
  kReceived,  // a message from a ring
  kResult,    // a send result
  kText,      // a playback text; `sum`
  kBare,      // a message that went through the notifier alone; `sum`
};

constexpr std::int32_t kNoExhibit = -1;

struct Event {
  EventKind kind = EventKind::kNone;
  std::uint32_t ring = 0;
  std::uint64_t sequence = 0;         // received: of the message in the log that the process was handling
  std::uint64_t head = 0;             // received: messages in the log when it was handled
  std::uint64_t time = 0;             // monotonic, nanoseconds
  std::uint64_t sum = 0;              // checksum of what came
  std::uint32_t size = 0;             // of what came, as the product told it
  Stamp stamp;                        // sent, or received whole
  bool isWhole = false;               // received: every byte as written
  bool isRefused = false;             // sent: the product said no
  std::int32_t exhibit = kNoExhibit;  // received and not whole: where the bytes are
};

// The bytes of a message that was not whole.
struct Exhibit {
  std::uint8_t bytes[kLargestMessage];
};

std::uint64_t nanoseconds();

class Journal {
 public:
  // In the supervisor: a new one. Throws where there is no memory.
  Journal();
  // In the process that writes it.
  static Journal& own();
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  int descriptor() const { return fd_; }

  // --- by the process itself, any thread ---

  // Returns the entry's place. Ends the process where the journal is full.
  std::uint32_t write(const Event& event);
  void markRefused(std::uint32_t place);
  std::int32_t keepExhibit(const std::uint8_t* bytes, std::uint32_t size);
  void setState(State state);
  // What the main thread does now; a step that does not end is a hang. Null: nothing that could hang.
  void beginStep(const char* name);
  void endStep() { beginStep(nullptr); }
  void noteReady(std::uint64_t head);
  void noteGivenUp(std::uint32_t messages);

  // --- by the supervisor ---

  State state() const;
  bool isFull() const;
  std::uint64_t longestStep() const;  // of those that have ended, nanoseconds
  // Name and age in nanoseconds of the step that is running; empty = none.
  std::string step(std::uint64_t& age) const;
  std::uint64_t readyHead() const;
  std::uint64_t readyTime() const;  // 0 = not yet
  std::uint32_t givenUp() const;
  std::vector<Event> events() const;
  const Exhibit& exhibit(std::int32_t place) const;
  bool hasLostExhibits() const;

 private:
  explicit Journal(int fd);
  struct Pages;
  Pages* const pages_;
  const int fd_;
};

Board& ownBoard();

}  // namespace storm
