// What the messages tell that are still in the notifier's log, where a snapshot keeps only the last word: who has
// spoken as the device side, and what was said of which app.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "inspect/channel_state.h"
#include "inspect/snapshot.h"

namespace doctor {

// A process that has sent what only the device side sends.
struct DeviceSide {
  inspect::Process process;
  inspect::Said first;
  inspect::Said last;
  bool isGone = false;
};

struct SessionChange {
  std::uint32_t appId = 0;
  bool isOpened = false;
  inspect::Said said;
};

struct RingMessage {
  std::uint32_t device = 0;
  std::uint32_t appId = 0;
  std::uint32_t slot = 0;
  inspect::Said said;
};

struct SendResult {
  std::uint32_t appId = 0;
  std::uint32_t result = 0;
  inspect::Said said;
};

struct History {
  bool isComplete = false;  // nothing was said before the first message that is here
  std::vector<DeviceSide> deviceSides;
  std::vector<SessionChange> sessions;  // in their order, as everything below
  std::vector<RingMessage> fromDevice;
  std::vector<RingMessage> fromHU;
  std::vector<SendResult> results;
  std::vector<inspect::ChannelState::Link> links;
  std::map<std::uint32_t, std::uint64_t> positions;  // of receivers by their pid, as they are behind everything above
};

// What the messages of the snapshot say. Results and positions are those of now: what was under way when the snapshot
// was taken must not look like something that nobody takes.
History readHistory(const inspect::Place& place, const inspect::Snapshot& snapshot);

}  // namespace doctor
