#include "reset/clearing.h"

#include "reset/segments.h"

namespace reset {

Outcome clearChannel(bool isOnlyLooking, const Look& look) {
  const std::vector<Segment> existing = existingSegments();
  Outcome outcome;
  outcome.segments = existing.size();
  outcome.attached = existing.empty() ? std::vector<AttachedProcess>() : look();
  if (existing.empty() || !outcome.attached.empty()) {
    return outcome;
  }
  const SegmentLocks locks(existing);
  outcome.attached = look();
  outcome.places = takenPlaces();
  if (outcome.attached.empty() && !isOnlyLooking) {
    for (const Segment& segment : existing) {
      clear(segment);
    }
    outcome.isCleared = true;
  }
  return outcome;
}

}  // namespace reset
