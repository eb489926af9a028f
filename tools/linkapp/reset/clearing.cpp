#include "reset/clearing.h"

#include <algorithm>

#include "reset/headers.h"
#include "reset/segments.h"

namespace reset {

Outcome clearChannel(bool isOnlyLooking, const Look& look) {
  const std::vector<Segment> existing = existingSegments();
  Outcome outcome;
  outcome.segments = existing.size();
  outcome.refused = refusedObjects();
  const bool isEmpty = existing.empty() && outcome.refused.empty();
  outcome.attached = isEmpty ? std::vector<AttachedProcess>() : look();
  if (isEmpty || !outcome.attached.empty()) {
    return outcome;
  }
  if (!isOnlyLooking) {
    std::for_each(outcome.refused.begin(), outcome.refused.end(), &makeBlank);
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
