// Clears the channel, unless somebody uses it.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "reset/attached.h"

namespace reset {

struct Outcome {
  std::size_t segments = 0;  // that are there
  unsigned int places = 0;   // of the registration table that were taken
  bool isCleared = false;
  std::vector<std::string> refused;       // locks and log that this version refuses; blank now where it is cleared
  std::vector<AttachedProcess> attached;  // they stand in the way
};

using Look = std::function<std::vector<AttachedProcess>()>;

// Looks twice: first without any lock, so that a process that is stopped while it holds one is found before it is
// waited for; then with the locks of all segments held, until the end. Who attaches waits for one of them: what has
// attached before is found by the second look, and what comes later finds a cleared channel. Locks and log that this
// version refuses are made blank before: such locks keep nobody out. Throws std::runtime_error where it cannot be done.
Outcome clearChannel(bool isOnlyLooking, const Look& look);

}  // namespace reset
