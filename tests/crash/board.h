// What the processes of one round tell each other, in memory that they share apart from the channel.
//
// Words are set once and never taken back; all zero is a fresh board. Whoever sets one wakes whoever waits.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

namespace crash {

using Word = std::atomic<std::uint32_t>;

// A message as a witness got it.
struct Seen {
  std::uint32_t id;
  std::uint32_t size;
  std::uint32_t hash;  // of the payload
};

struct Board {
  static constexpr std::uint32_t kMostSeen = 1024;
  static constexpr std::uint32_t kComplaintBytes = 256;

  Word changes;  // of any of the others

  Word victimIsPrepared;
  Word victimMayGo;
  Word victimCalls;  // calls of the victim's observer

  Word waiterIsReady;

  Word witnessIsReady;
  Word witnessMaySend;
  Word witnessHasSent;
  Word witnessMustFind;  // an app id: the server of the witness must get to know this app
  Word witnessHasFound;
  Word witnessMustEnd;
  Word witnessMustTell;  // each change of what follows; told quietly otherwise
  Word seenCount;
  Seen seen[kMostSeen];

  Word clientIsReady;
  Word clientAppId;
  Word clientMayExchange;
  Word exchanged;     // messages that have come and been answered
  Word firstHasCome;  // of those
  Word clientIsDone;
  Word serverIsReady;
  Word serverMustEnd;

  Word hasComplaint;  // a process has found something wrong and says what
  char complaint[kComplaintBytes];
};

// One for this process and the children that it forks from now on.
Board& makeBoard();
void freeBoard(Board& board);
void wipe(Board& board);  // nobody else uses it

void tell(Board& board, Word& word, std::uint32_t value = 1);
// Asleep until `word` is no longer zero: its value.
std::uint32_t hear(Board& board, const Word& word);

// For what changes often: wakes only who sleeps in hearMore().
void tellQuietly(Word& word, std::uint32_t value);
// Asleep until `word` is more than that.
void hearMore(const Word& word, std::uint32_t than);

// The same, for any condition, with a deadline: whether it came true.
[[nodiscard]] bool waitFor(Board& board, const std::function<bool()>& condition, double seconds);

// The first one counts.
void complain(Board& board, const std::string& what);

std::uint32_t hashOf(const void* data, std::size_t size);

}  // namespace crash
