// The messages that lie behind the announcements of the two data rings.
//
// Writers rely on the segment's lock, which is not taken here, so a slot may change while it is copied. A copy is known
// to be the announced message where, read in this order, the write index after the copy is that of the ring's last
// announcement plus one, is not the slot itself, and no later announcement names the slot: every write stores the index
// and posts its announcement under one hold of the lock. Anything else is tried again three times and counts as unsure
// then. A ring has 40 slots: who fetches later than 39 messages after an announcement finds it overwritten.
// Threads: one.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inspect/log_reader.h"
#include "inspect/message.h"
#include "inspect/object.h"
#include "inspect/segments.h"

namespace inspect {

struct RingContent {
  enum class State {
    kNone,         // the message announces no slot of a ring
    kCertain,      // the bytes of the announced message
    kUnsure,       // bytes of the slot that may be a later message's, or be torn
    kOverwritten,  // a later announcement names the slot
    kUnreadable,   // the ring cannot be read, or the slot holds no message
  };
  State state = State::kNone;
  std::uint32_t size = 0;           // of the message
  std::vector<std::uint8_t> bytes;  // all of them
};

const char* nameOf(RingContent::State state);  // "certain", "unsure", ...

class RingContents {
 public:
  explicit RingContents(std::string folder);

  // One for each of the messages, which are the last ones of `log` up to `position`. To be called soon after they came.
  std::vector<RingContent> fetch(const std::vector<Message>& messages, const LogReader& log, std::uint64_t position);

 private:
  struct Wanted {
    std::size_t index;  // of the message
    std::uint32_t slot;
  };

  void fetchRing(RingId id, const std::vector<Message>& messages, const LogReader& log, std::uint64_t position,
                 std::vector<RingContent>& contents);
  static std::vector<Wanted> wantedOf(RingId id, const std::vector<Message>& messages,
                                      std::vector<RingContent>& contents);
  const Object& ring(RingId id);

  const std::string folder_;
  Object fromHU_;
  Object fromDevice_;
};

}  // namespace inspect
