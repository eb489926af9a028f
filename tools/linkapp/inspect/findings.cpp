// What a snapshot shows: faults, and what is worth knowing.
#include <algorithm>
#include <string>

#include "inspect/snapshot.h"
#include "text/fields.h"

namespace inspect {
namespace {

using Findings = std::vector<Finding>;

std::string number(std::uint64_t value, const char* one, const char* many) {
  return std::to_string(value) + " " + (value == 1 ? one : many);
}

std::string processText(const Process& process) {
  return std::to_string(process.pid) + (process.name.empty() ? "" : " (" + text::quoted(process.name) + ")");
}

void addSegments(const Snapshot& snapshot, Findings& findings) {
  for (const Segment* const segment : snapshot.segments()) {
    const ObjectFacts& object = segment->object;
    if (!object.problem.empty()) {
      findings.push_back({"object", object.name + ": " + object.problem});
    } else if (object.exists && !segment->isWhole) {
      findings.push_back(
          {"object", object.name + " has " + number(object.size, "byte", "bytes") + " of " +
                         std::to_string(kSizeWordBytes + segment->recordBytes) +
                         ": whoever made it died on the way; the next process that attaches repairs it"});
    } else if (object.exists && segment->sizeWord != segment->recordBytes) {
      findings.push_back({"object", object.name + ": its size word says " + std::to_string(*segment->sizeWord) +
                                        ", not " + std::to_string(segment->recordBytes)});
    }
  }
  for (const Ring& ring : snapshot.rings) {
    if (ring.writeIndexWord != ring.nextSlot) {
      findings.push_back({"object", ring.segment.object.name + ": the write index " +
                                        std::to_string(ring.writeIndexWord) + " was written by no channel process"});
    }
  }
}

void addTable(const Snapshot& snapshot, Findings& findings) {
  const Table& table = snapshot.table;
  if (table.countWord != table.count) {
    findings.push_back({"table", "the count of registered apps is " + std::to_string(table.countWord) +
                                     "; no channel process writes more than " + std::to_string(table.count)});
  }
  if (table.isFull()) {
    findings.push_back({"table", "all " + std::to_string(table.count) +
                                     " places of the registration table are taken: no further application can "
                                     "register (`linkapp reset` frees them when nothing runs)"});
  }
  for (const RegisteredApp& app : table.apps) {
    if (!app.isValid || app.appId != app.place + 1) {
      findings.push_back({"table", "place " + std::to_string(app.place) + " holds app id " + std::to_string(app.appId) +
                                       (app.appName.empty() ? " and no name" : "")});
    }
  }
}

void addHolder(const Lock& lock, const Process& holder, Findings& findings) {
  if (lock.word && lock.word->hasOwnerDied) {
    findings.push_back(
        {"lock", lock.object.name + ": its holder died; the next process that wants it takes it over", true, false});
  } else if (holder.isStopped()) {
    findings.push_back({"lock", lock.object.name + " is held by " + processText(holder) +
                                    ", which is stopped: whoever wants it waits"});
  } else if (holder.pid != 0 && holder.isDead()) {
    findings.push_back({"lock", lock.object.name + " was held by " + std::to_string(holder.pid) +
                                    ", which has ended; the next process that wants it takes it over"});
  }
}

void addLocks(const Snapshot& snapshot, Findings& findings) {
  const std::vector<const Segment*> segments = snapshot.segments();
  for (std::size_t i = 0; i < segments.size(); ++i) {
    const Lock& lock = snapshot.locks[i];
    if (lock.object.exists && !lock.problem.empty()) {
      findings.push_back({"lock", lock.object.name + " " + lock.problem});
    } else if (lock.object.exists) {
      addHolder(lock, snapshot.holders[i], findings);
    } else if (segments[i]->object.exists && lock.object.problem.empty()) {
      findings.push_back({"lock", lock.object.name + " is not there: processes do not exclude each other"});
    }
  }
}

void addLog(const Snapshot& snapshot, Findings& findings) {
  const Log& log = snapshot.log;
  if (log.object.exists && !log.problem.empty()) {
    findings.push_back({"log", log.object.name + " " + log.problem});
  }
  if (log.postingLock && log.postingLock->hasOwnerDied) {
    findings.push_back({"log", "a process died while it posted; the next one that posts repairs the log", true, false});
  }
  if (snapshot.backlogDamaged != 0) {
    findings.push_back({"log", number(snapshot.backlogDamaged, "place", "places") +
                                   " of the log do not hold what they should: somebody has damaged it"});
  }
}

void addReceivers(const Snapshot& snapshot, Findings& findings) {
  for (const ReceiverView& receiver : snapshot.receivers) {
    const std::string who = std::to_string(receiver.listed.pid) + " (" + text::quoted(receiver.listed.name) + ")";
    if (receiver.isGone) {
      continue;  // a killed process leaves its place to the next one
    }
    if (receiver.process.isStopped() && receiver.behind.value_or(0) != 0) {
      findings.push_back({"receiver", who + " is stopped, " + number(*receiver.behind, "message", "messages") +
                                          " behind, " + std::to_string(receiver.waiting.value_or(0)) + " of its own"});
    }
    if (receiver.overwritten != 0) {
      findings.push_back({"receiver", who + " will miss messages: " + std::to_string(receiver.overwritten) +
                                          " that it has not read are overwritten, its own or others'"});
    }
    if (receiver.listed.lost != 0) {
      findings.push_back(
          {"receiver", who + " was too slow and lost " + number(receiver.listed.lost, "message", "messages")});
    }
    for (std::size_t ring = 0; ring < receiver.ringOverwritten.size(); ++ring) {
      if (receiver.ringOverwritten[ring] != 0) {
        findings.push_back({"receiver", who + " has not taken " +
                                            number(receiver.ringOverwritten[ring], "message", "messages") + " of " +
                                            snapshot.rings[ring].segment.object.name + " that are overwritten by now"});
      }
    }
  }
}

// They may be long past, so they are no fault of the present. What receivers have lost is told with them.
void addLosses(const Snapshot& snapshot, Findings& findings) {
  for (const auto& [app, counts] : snapshot.losses.byApp) {
    const bool isListed = app != 0 && app <= snapshot.apps.size();
    const std::string who = app == 0
                                ? "an unknown app"
                                : "app " + std::to_string(app) +
                                      (isListed ? " (" + text::quoted(snapshot.apps[app - 1].entry.appName) + ")" : "");
    if (counts.withoutResult != 0) {
      findings.push_back(
          {"app", who + " got no send result for " + number(counts.withoutResult, "message", "messages"), false});
    }
    if (counts.skipped != 0) {
      findings.push_back({"app",
                          number(counts.skipped, "slot was", "slots were") + " skipped in a ring before " +
                              (counts.skipped == 1 ? "a message" : "messages") + " of " + who +
                              ": written and not announced, or never written",
                          false});
    }
  }
}

void addProcesses(const Snapshot& snapshot, Findings& findings) {
  for (const MappingProcess& mapping : snapshot.mappings.processes) {
    for (const std::string& name : mapping.removed) {
      findings.push_back({"process", processText(mapping.process) + " uses a removed " + name +
                                         ": it hears nobody who uses the present one"});
    }
  }
  for (const AppView& app : snapshot.apps) {
    if (app.isOwnerGone) {
      findings.push_back({"table",
                          "app " + std::to_string(app.entry.place + 1) + " (" + text::quoted(app.entry.appName) +
                              ") was registered by process " + std::to_string(app.owner->pid) +
                              ", which has ended; its place stays taken",
                          false});
    }
  }
}

}  // namespace

std::vector<Finding> findingsOf(const Snapshot& snapshot) {
  Findings findings;
  addSegments(snapshot, findings);
  addTable(snapshot, findings);
  addLocks(snapshot, findings);
  addLog(snapshot, findings);
  addReceivers(snapshot, findings);
  addLosses(snapshot, findings);
  addProcesses(snapshot, findings);
  std::stable_partition(findings.begin(), findings.end(), [](const Finding& finding) { return finding.isFault; });
  return findings;
}

}  // namespace inspect
