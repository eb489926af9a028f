#include "doctor/repair.h"

#include <errno.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <system_error>

#include "VQFramework/SharedMemory/VQSharedSyncObject.h"
#include "doctor/words.h"
#include "reset/clearing.h"
#include "reset/headers.h"

namespace doctor {
namespace {

std::string reason(int error) {
  return std::generic_category().message(error);
}

// The kernel hands a dead holder's lock to the next who wants it, as it would to any process of the channel.
std::string takeOver(const std::string& segment) {
  const inspect::Lock before = inspect::readLock(inspect::kSharedMemory, segment);
  if (!isHolderDead(before, inspect::readProcess(inspect::kProc, before.holderPid))) {
    return "somebody else has taken it over meanwhile";
  }
  const VQSharedSyncObject lock(segment.c_str());
  lock.lock();
  lock.unlock();
  return inspect::readLock(inspect::kSharedMemory, segment).holderPid == 0 ? "taken over and given back"
                                                                           : "taken over; somebody holds it already";
}

void addLocks(const Examination& all, std::vector<Repair>& repairs) {
  for (std::size_t i = 0; i < all.snapshot.locks.size(); ++i) {
    const inspect::Lock& lock = all.snapshot.locks[i];
    const inspect::Process& holder = all.snapshot.holders[i];
    if (lock.problem.empty() && isHolderDead(lock, holder)) {
      const std::string segment = inspect::kSegments[i];
      repairs.push_back({"take over " + lock.object.name + " and give it back",
                         "its holder, process " + std::to_string(lock.holderPid) + ", has died",
                         {},
                         [segment] { return takeOver(segment); }});
    }
  }
}

// An object with another header is refused by every process of this version, and one of the other version would be
// attached.
void requireNobody(const Look& look) {
  const std::vector<reset::AttachedProcess> users = look();
  if (!users.empty()) {
    throw std::runtime_error("process " + std::to_string(users.front().pid) + " has attached meanwhile");
  }
}

// Where it is: a segment without its lock object could not be cleared any more.
std::string makeAnew(const std::string& segment, const Look& look) {
  requireNobody(look);
  reset::makeBlank(segment + ".lock");
  const VQSharedSyncObject lock(segment.c_str());  // makes it whole
  const std::string problem = inspect::readLock(inspect::kSharedMemory, segment).problem;
  if (!problem.empty()) {
    throw std::runtime_error("it " + problem);
  }
  return "made anew";
}

std::string remove(const std::string& name, const Look& look) {
  requireNobody(look);
  const std::string path = std::string(inspect::kSharedMemory) + "/" + name;
  if (unlink(path.c_str()) != 0 && errno != ENOENT) {
    throw std::runtime_error(path + ": " + reason(errno));
  }
  return "removed";
}

bool isUnusable(const inspect::ObjectFacts& object, const std::string& problem) {
  return object.exists && object.problem.empty() && !problem.empty();
}

void addUnusable(const Examination& all, const Look& look, std::vector<Repair>& repairs) {
  for (std::size_t i = 0; i < all.snapshot.locks.size(); ++i) {
    const inspect::Lock& lock = all.snapshot.locks[i];
    if (isUnusable(lock.object, lock.problem)) {
      const std::string segment = inspect::kSegments[i];
      repairs.push_back({"make " + lock.object.name + " anew", "it " + lock.problem + ", and nobody uses the channel",
                         look(), [segment, look] { return makeAnew(segment, look); }});
    }
  }
  const inspect::Log& log = all.snapshot.log;
  if (isUnusable(log.object, log.problem)) {
    const std::string name = log.object.name;
    repairs.push_back({"remove " + name, "it " + log.problem + ", and nobody uses the channel", look(),
                       [name, look] { return remove(name, look); }});
  }
}

std::string clear(const Look& look) {
  const reset::Outcome outcome = reset::clearChannel(false, look);
  if (!outcome.isCleared) {
    throw std::runtime_error(outcome.attached.empty() ? "there is nothing any more"
                                                      : "process " + std::to_string(outcome.attached.front().pid) +
                                                            " has attached meanwhile");
  }
  return number(outcome.places, "place", "places") + " of the registration table free again";
}

void addPlaces(const Examination& all, const Look& look, std::vector<Repair>& repairs) {
  const inspect::Table& table = all.snapshot.table;
  if (table.count == 0) {
    return;
  }
  std::vector<reset::AttachedProcess> users = look();
  const bool hasDead = std::any_of(all.snapshot.apps.begin(), all.snapshot.apps.end(),
                                   [](const inspect::AppView& app) { return app.isOwnerGone; });
  if (!users.empty() && !hasDead && !table.isFull()) {
    return;  // all that is registered is alive, as far as anybody knows
  }
  repairs.push_back(
      {"clear the segments: " + number(table.count, "place", "places") + " of the registration table free again",
       users.empty() ? "nobody uses the channel, so every registered app is dead"
                     : "apps of processes that have ended are registered",
       std::move(users), [look] { return clear(look); }});
}

}  // namespace

std::vector<Repair> repairsFor(const Examination& all, const Look& look) {
  std::vector<Repair> repairs;
  addLocks(all, repairs);
  addUnusable(all, look, repairs);
  addPlaces(all, look, repairs);
  return repairs;
}

}  // namespace doctor
