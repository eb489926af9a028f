// The notifier's log but for its messages: how far it is, who receives, what is owed.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "inspect/locks.h"
#include "inspect/log_reader.h"

namespace inspect {

// A taken place of the table of attached processes. The table has 64; a 65th process works and is not listed.
struct Receiver {
  std::uint32_t place = 0;  // index in the table
  std::uint32_t pid = 0;
  std::uint64_t startTime = 0;             // of the process, as it says itself; 0 while the place changes hands
  std::string name;                        // as it says itself
  std::uint32_t identifierCount = 0;       // registered
  std::vector<std::uint32_t> identifiers;  // 16 of them at most
  std::uint64_t position = 0;              // sequence number of the next message it reads; 0 before its first one
  std::uint64_t lost = 0;                  // messages of its identifiers that it was too slow for
};

struct IdentifierTally {
  std::uint32_t id = 0;
  std::uint32_t posted = 0;  // modulo 2^32
};

struct Log {
  ObjectFacts object;
  std::string problem;               // why its content is not told; empty where it is
  std::uint64_t head = 0;            // messages posted since it was made
  std::uint64_t headBefore = 0;      // the same, no later than the receivers' positions
  std::uint32_t postedWord = 0;      // what receivers sleep on
  std::uint32_t sleepers = 0;        // receivers asleep; those that were killed asleep count on for a while
  std::uint32_t sleepingGroups = 0;  // one bit for each group that somebody sleeps for
  std::uint32_t owedGroups = 0;      // one bit for each group that the next poster must wake
  std::optional<LockWord> postingLock;
  std::vector<IdentifierTally> tallies;
  std::vector<Receiver> receivers;
};

// `reader` says whether it can be read.
Log readLog(const LogReader& reader);

}  // namespace inspect
