// What a recording holds, entry by entry, and the bytes of each. docs/recording-format.md has the layout.
//
// Decoding believes nothing: every length is looked at before it is used, and what does not add up is refused with the
// reason. Times are nanoseconds of the monotonic clock unless their name says otherwise.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "inspect/message.h"
#include "inspect/ring_contents.h"

namespace record {

// Both clocks at the same moment. Holds for what follows.
struct Clock {
  std::uint64_t wall = 0;  // nanoseconds since 1970
  std::uint64_t monotonic = 0;
};

// A process that takes part, as /proc showed it at `time`. Told anew when its state changes.
struct ProcessSeen {
  std::uint64_t time = 0;
  std::uint32_t pid = 0;
  std::uint64_t startTime = 0;  // clock ticks since boot; 0 where it was gone before it could be looked at
  std::uint32_t user = 0;
  char state = '?';  // as in /proc/PID/stat; X: gone
  std::string name;
  std::string command;

  bool isStopped() const { return state == 'T' || state == 't'; }
  bool isGone() const { return state == 'X' || state == 'Z'; }
};

// A place of the registration table. Told anew when it or its owner changes.
struct AppSeen {
  std::uint64_t time = 0;
  std::uint32_t place = 0;
  std::uint32_t owner = 0;  // pid of who announced the place, asked for a launch or sent last; 0: not known
  bool isValid = false;
  std::string iAP1Name;
  std::string appName;
  std::string launchString;

  std::uint32_t appId() const { return place + 1; }
};

// A place of the notifier's table of receivers. Told anew when anything but the position changes.
struct ReceiverSeen {
  std::uint64_t time = 0;
  std::uint32_t pid = 0;
  bool isGone = false;     // its place is free again
  std::uint64_t lost = 0;  // messages that it was too slow for, as it says itself
  std::string name;
  std::vector<std::uint32_t> identifiers;
};

// How far receivers had taken messages when they were looked at: sequence numbers of what each reads next.
struct Taken {
  std::uint64_t time = 0;
  std::vector<std::pair<std::uint32_t, std::uint64_t>> positions;  // by pid
};

struct Gap {
  enum class Kind : std::uint8_t {
    kOverwritten = 1,  // `count` messages from `from` on were gone before they could be seen
    kDamaged = 2,      // `count` places of the log from `from` on held something else than they should
    kNewLog = 3,       // another log than before: sequence numbers begin anew
    kStoodStill = 4,   // nothing was looked at for `count` nanoseconds
    kNoLog = 5,        // there was no log to be read; `reason` tells why
  };
  std::uint64_t time = 0;
  Kind kind = Kind::kOverwritten;
  std::uint64_t from = 0;
  std::uint64_t count = 0;
  std::map<std::uint32_t, std::uint64_t> missed;  // by identifier, as far as it was known
  std::string reason;
};

struct MessageSeen {
  inspect::Message message;
  inspect::RingContent content;
  // Posted before the recording began, or before its first entry that is still there: what held then.
  bool isBefore = false;
};

// The recorder ended as it was asked to. A recording without it was cut short, or goes on.
struct End {
  std::uint64_t time = 0;
  std::string reason;
};

using Entry = std::variant<Clock, ProcessSeen, AppSeen, ReceiverSeen, Taken, Gap, MessageSeen, End>;

// Numbers in the file.
enum class EntryType : std::uint16_t {
  kClock = 1,
  kProcess = 2,
  kApp = 3,
  kReceiver = 4,
  kTaken = 5,
  kGap = 6,
  kMessage = 7,
  kEnd = 8,
};

EntryType typeOf(const Entry& entry);
std::uint64_t timeOf(const Entry& entry);

// The longest body that decode() takes.
constexpr std::size_t kLongestBody = 8192;

std::vector<std::uint8_t> encode(const Entry& entry);
// False with the reason where the bytes are no such entry.
bool decode(std::uint16_t type, const std::uint8_t* bytes, std::size_t size, Entry& entry, std::string& mistake);

const char* nameOf(Gap::Kind kind);  // "overwritten", ...

// CRC-32 as zip and PNG have it; `before` is that of the bytes before.
std::uint32_t crc32(const std::uint8_t* bytes, std::size_t size, std::uint32_t before = 0);

}  // namespace record
