// The model: what must have arrived where, and what may have been lost or mixed, from one stretch of the log and from
// the journals of the processes that lived meanwhile.
//
// The log gives the order of everything, so nothing here depends on time limits. For each announcement of a ring
// message (message n of the log, ring R, slot s) the model knows the sender's process and, since a process announces
// its messages of a ring in the order in which it writes them into its journal, the very bytes.
//
// What must hold:
//   sent        each send that returned "sent" is announced exactly once; the last send of a killed process at most
//   once place       slots follow one another; exceptions below arrived     a receiver that was ready before n and has
//   written down anything that came after n has received n
//               exactly once: the device side each message of the ring from the head unit, an app each one that is
//               announced for it, its send results, watchers each text and each bare message
//   whole       what was received for n are the bytes that were sent for n; exceptions below
//   calm        between the marks of a calm phase there is no exception, and each app's messages arrive at the device
//               side in the order of sending and are answered in that order, each once
//
// A start of an endpoint sets both rings' positions back at some moment between the start of its process and the
// moment at which it says that it is ready (or dies). Let W be that window. The exceptions:
//   place       after a window W that touches the time between two writes the next slot may be 0. A process that died
//               with a send under way may have used one slot without an announcement.
//   whole       where slot s has been written again before n was received. That takes 40 messages (never: the apps
//               have 16 under way at most), or a window W that touches the time between the sending of n and the
//               second write. Then the size may be the one, and the bytes may be the other, of any two messages that
//               the slot has held since, zeros behind the shorter one. Where the second writer was killed on the way
//               the bytes may be a mixture of its message and the one before.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tests/storm/journal.h"
#include "tests/storm/log_view.h"

namespace storm {

enum class Kind { kApp, kPhone, kWatcher, kPoster };

// A process that has lived and is dead.
struct Life {
  std::string name;
  Kind kind = Kind::kApp;
  std::uint32_t number = 0;
  pid_t pid = 0;
  std::uint64_t startTime = 0;
  std::uint64_t readyTime = 0;  // 0 = died before
  std::uint64_t readyHead = 0;
  std::uint64_t killTime = 0;   // when the signal was sent
  std::uint64_t deathTime = 0;  // when it was known to be gone
  std::uint64_t mustHave = 0;   // it was seen to have read all messages before this one
  std::vector<Event> events;
  std::vector<std::vector<std::uint8_t>> exhibits;
};

struct Span {
  std::uint64_t begin = 0;
  std::uint64_t end = 0;
};

struct Stretch {
  std::vector<LogEntry> log;
  std::vector<Life> lives;
  std::vector<Span> calm;
};

struct Counts {
  std::uint64_t announced = 0;       // ring messages
  std::uint64_t mustArrive = 0;      // messages to receivers that had to have them: of rings, results, texts, bare ones
  std::uint64_t received = 0;        // messages that were received whole and as sent
  std::uint64_t calm = 0;            // ring messages of calm phases
  std::uint64_t neverAnnounced = 0;  // last sends of killed processes
  std::uint64_t setBack = 0;         // times that a ring was seen to begin again
  std::uint64_t overtaken = 0;       // whole messages that came in another's place
  std::uint64_t mixed = 0;           // size of one, bytes of another message
  std::uint64_t torn = 0;            // bytes of a writer that was killed on the way

  Counts& operator+=(const Counts& other);
};

struct Verdict {
  Counts counts;
  std::map<std::string, std::uint64_t> faults;  // by kind: "corrupted", "lost", ...
  std::vector<std::string> reports;             // the first ones, in words
};

Verdict judge(const Stretch& stretch);

}  // namespace storm
