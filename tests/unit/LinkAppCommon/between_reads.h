// A writer that comes in between the two holds of the lock in which a reader looks at a slot.
#pragma once

#include <string>

#include "channel_fixture.h"

// While alive: changes a slot's size when the lock of its segment is first given back.
class BetweenTheReads {
 public:
  BetweenTheReads(const std::string& segment, std::uint32_t slot, std::uint32_t newSize) {
    vqfake::setAfterUnlock([this, segment, slot, newSize](const std::string& name) {
      if (name == segment && ++unlocks_ == 1) {
        SegmentView(segment).record<iOSAppCommonDataList>().slot[slot].size = newSize;
      }
    });
  }
  ~BetweenTheReads() { vqfake::setAfterUnlock({}); }
  BetweenTheReads(const BetweenTheReads&) = delete;
  BetweenTheReads& operator=(const BetweenTheReads&) = delete;

 private:
  unsigned int unlocks_ = 0;
};
