// Everything that can be seen of the channel at one moment, without a trace of having looked.
//
// The parts are copied one after the other while the channel goes on, so they need not fit together to the last
// message. The order is: log and backlog, segments, locks, processes.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "inspect/channel_state.h"
#include "inspect/locks.h"
#include "inspect/log_view.h"
#include "inspect/losses.h"
#include "inspect/processes.h"
#include "inspect/segments.h"

namespace inspect {

// Where to look. Copies that were taken elsewhere can be looked at, too; the processes are then other ones.
struct Place {
  std::string folder = kSharedMemory;
  std::string proc = kProc;
};

struct ReceiverView {
  Receiver listed;
  Process process;
  bool isGone = false;                   // its process has ended: the place is free for the next one
  std::optional<std::uint64_t> behind;   // messages posted that it has not read; none before its first one
  std::optional<std::uint64_t> waiting;  // of them, those of its identifiers that are still in the log
  std::uint64_t overwritten = 0;         // messages that it has not read and cannot read any more, whatever identifier
  std::array<std::uint64_t, 2> ringOverwritten =
      {};  // of waiting ring messages, at least so many slots are overwritten
};

struct AppView {
  RegisteredApp entry;
  std::optional<AppTraffic> traffic;  // none where no message in the log names it
  std::optional<Process> owner;       // none where no message in the log tells
  bool isOwnerGone = false;           // its process has ended; the place stays taken
};

// Something to know about. A fault is what is not as it should be; what is no fault is the way of the channel, and may
// explain what somebody wonders about. `certain` is false where it follows from a guess.
struct Finding {
  std::string about;  // "object", "table", "lock", "log", "receiver", "process"
  std::string text;
  bool isFault = true;
  bool certain = true;
};

struct Snapshot {
  std::int64_t wallTime = 0;        // milliseconds since 1970
  std::uint64_t monotonicTime = 0;  // nanoseconds, the clock of the messages

  ConnectStatus connectStatus;
  std::array<Ring, 2> rings;  // from HU, from device
  Table table;
  std::array<Lock, 4> locks;       // in the order of kSegments
  std::array<Process, 4> holders;  // of the locks; pid 0 where nobody holds it
  Log log;

  std::vector<Message> messages;            // of the log, those that could be read
  std::uint64_t backlogBegin = 0;           // oldest message that was still there
  std::uint64_t backlogDamaged = 0;         // places that hold something else than they should
  ChannelState state;                       // what the messages still in the log have said
  Losses losses{Losses::Earlier::kCounts};  // by the same messages, and what receivers have counted all the time
  std::vector<ReceiverView> receivers;
  std::vector<AppView> apps;
  Process deviceSide;  // who spoke last as the device side; pid 0 where nobody has
  bool isDeviceSideGone = false;
  MappingProcesses mappings;

  std::vector<Finding> findings;

  bool hasChannel() const;  // at least one object is there
  bool isFine() const;      // and there is no fault
  std::size_t faults() const;
  std::vector<const Segment*> segments() const;  // in the order of kSegments
};

// Whether the process of this place has ended: `process` is what has its number now.
bool isGone(const Receiver& listed, const Process& process);

// The nine objects: segments, their locks, log.
std::vector<std::string> objectNames();

Snapshot takeSnapshot(const Place& place = {});

// What a snapshot shows, faults first. takeSnapshot has filled it in already.
std::vector<Finding> findingsOf(const Snapshot& snapshot);

}  // namespace inspect
