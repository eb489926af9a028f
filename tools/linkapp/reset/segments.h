// The channel's four segments, as one who has no part in the channel sees them.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "VQFramework/SharedMemory/VQSharedSyncObject.h"

namespace reset {

struct Segment {
  const char* name;
  std::size_t recordBytes;
};

const std::vector<Segment>& segments();

// Those that there are, and every object that belongs to the channel: segments, their locks, the notifier's log.
std::vector<Segment> existingSegments();
std::vector<std::string> channelObjects();

// The locks of these segments, all held. Whoever attaches to one of them meanwhile waits.
class SegmentLocks {
 public:
  // Throws std::runtime_error where a segment has lost its lock object: a new one would be this user's.
  explicit SegmentLocks(const std::vector<Segment>& segments);
  ~SegmentLocks();
  SegmentLocks(const SegmentLocks&) = delete;
  SegmentLocks& operator=(const SegmentLocks&) = delete;

 private:
  std::vector<std::unique_ptr<VQSharedSyncObject>> locks_;
};

// Places taken in the registration table; 0 where it cannot be read.
unsigned int takenPlaces();

// Sets the record to zero, in place: the object stays the one that other processes find and its lock guards. Throws
// std::runtime_error with the reason.
void clear(const Segment& segment);

}  // namespace reset
