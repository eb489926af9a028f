// Everything that doctor, why and bundle look at, taken at one moment.
#pragma once

#include <string>

#include "doctor/history.h"
#include "doctor/system.h"
#include "inspect/snapshot.h"

namespace doctor {

struct Examination {
  inspect::Snapshot snapshot;
  History history;
  System system;
};

// The kernel marks a lock whose holder dies. Where it has not, a holder that cannot be found lives in another PID
// namespace; only where the mark cannot be read, his number has to do.
inline bool isHolderDead(const inspect::Lock& lock, const inspect::Process& holder) {
  return lock.word ? lock.word->hasOwnerDied : holder.pid != 0 && holder.isDead();
}

inline Examination examine(const Places& places) {
  Examination all;
  all.snapshot = inspect::takeSnapshot(places.channel);
  all.system = readSystem(all.snapshot, places);
  all.history = readHistory(places.channel, all.snapshot);  // last: what was under way has had this time to arrive
  return all;
}

}  // namespace doctor
