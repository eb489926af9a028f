// Checks of what is in the channel: locks, table, log, receivers, and who uses it.
#include <algorithm>

#include "doctor/checks.h"
#include "doctor/words.h"
#include "platform/reference/message_log_layout.h"

namespace doctor {
namespace {

using inspect::Process;
using inspect::ReceiverView;

constexpr std::uint64_t kFarBehind = vqframework::kSlotCount / 2;

// Why a lock object or the log is not used, for those who read "has layout version 2, not 3".
Finding unusable(const std::string& name, const std::string& problem) {
  const auto has = [&problem](const char* words) { return problem.find(words) != std::string::npos; };
  Finding finding;
  finding.proof = "its header: it " + problem;
  finding.consequence = "a process with another layout does not use it: it logs the difference, and takes no part";
  finding.remedy = "stop every process of the channel, remove /dev/shm/" + name +
                   ", and start them with one version of the libraries";
  if (has("pointers")) {
    finding.what = name + " was made by a process of another word size";
    finding.consequence += "; 32-bit and 64-bit processes cannot share a channel";
  } else if (has("layout version")) {
    finding.what = name + " is of another version";
  } else if (has("not whole")) {
    finding.what = name + " is not whole";
    finding.consequence = "whoever made it died on the way, or is just making it";
    finding.remedy = "the next process of the channel that starts makes it anew";
  } else {
    finding.what = name + " cannot be used";
  }
  return finding;
}

void checkHolder(const Examination& all, std::size_t i, Findings& findings) {
  const inspect::Lock& lock = all.snapshot.locks[i];
  const Process& holder = all.snapshot.holders[i];
  const std::string segment = inspect::kSegments[i];
  if (isHolderDead(lock, holder)) {
    findings.push_back({Level::kFault, "the holder of " + lock.object.name + " has died",
                        "process " + std::to_string(lock.holderPid) + " is entered as the holder and has ended" +
                            (lock.word ? "; the kernel has marked the lock" : "") +
                            (lock.word && lock.word->hasWaiters ? "; others wait" : ""),
                        "the next process that wants it takes it over and logs a line; what the dead one wrote into " +
                            segment + " may be half written",
                        "none is needed where processes run; `linkapp doctor --fix` takes it over and gives it back"});
  } else if (holder.isStopped()) {
    findings.push_back({Level::kFault, lock.object.name + " is held by a process that is stopped",
                        "holder " + processText(holder) + ", state " + holder.state +
                            (lock.word && lock.word->hasWaiters ? "; others wait" : ""),
                        "whoever wants to write or read " + segment + " waits until it goes on",
                        "kill -CONT " + std::to_string(holder.pid) + ", or end it: then the lock is taken over"});
  } else if (holder.pid != 0 && holder.isDead() && lock.word->thread != 0) {
    findings.push_back(
        {Level::kNote, lock.object.name + " is held by a process that cannot be found",
         "holder " + std::to_string(holder.pid) +
             " is not in /proc, and the kernel has not marked the lock as a dead one's",
         "its number belongs to another PID namespace, a container that shares /dev/shm: the locks do not "
         "work across these",
         "run all processes of the channel in one PID namespace"});
  }
}

std::vector<Process> usersOf(const Examination& all, const std::string& object) {
  std::vector<Process> users;
  for (const ChannelProcess& process : all.system.processes) {
    if (process.objects.count(object) != 0) {
      users.push_back(process.process);
    }
  }
  return users;
}

void checkStrangeEntries(const inspect::Table& table, Findings& findings) {
  if (table.countWord != table.count) {
    findings.push_back({Level::kFault, "the count of registered apps is damaged",
                        "it is " + std::to_string(table.countWord) + ", and the table has 20 places",
                        "readers take it for 20, and no app can register",
                        "find out who may write the table; then `linkapp reset` when nothing runs"});
  }
  for (const inspect::RegisteredApp& app : table.apps) {
    if (!app.isValid || app.appId != app.place + 1) {
      findings.push_back({Level::kFault, "an entry of the registration table is damaged",
                          "place " + std::to_string(app.place) + " holds app id " + std::to_string(app.appId) +
                              (app.appName.empty() ? " and no name" : " and the name " + text::quoted(app.appName)),
                          "a text that was too long ran into it, or somebody is writing who should not; this app does "
                          "not link",
                          "keep to 10, 127 and 127 characters for the three texts; then `linkapp reset` when nothing "
                          "runs"});
    }
  }
}

void checkReceiver(const ReceiverView& receiver, Findings& findings) {
  const std::string who = std::to_string(receiver.listed.pid) + " (" + text::quoted(receiver.listed.name) + ")";
  const std::string behind = number(receiver.behind.value_or(0), "message", "messages") + " behind, " +
                             std::to_string(receiver.waiting.value_or(0)) + " of them for it";
  if (receiver.isGone) {
    findings.push_back(
        {Level::kNote, "a dead process stands in the table of receivers",
         who + " has ended without a farewell, and is entered at place " + std::to_string(receiver.listed.place),
         "none: the next process that registers takes its place", "none is needed"});
  } else if (receiver.process.isStopped()) {
    findings.push_back({Level::kFault, "receiver " + who + " is stopped",
                        "state " + std::string(1, receiver.process.state) + " in /proc; " + behind,
                        "no callback of it comes; after 8192 messages, or 40 of one ring, it loses some",
                        "kill -CONT " + std::to_string(receiver.listed.pid) + "; a debugger may be attached to it"});
  } else if (receiver.behind.value_or(0) >= kFarBehind) {
    findings.push_back({Level::kFault, "receiver " + who + " is far behind", behind,
                        "it loses messages when it is 8192 behind",
                        "see what its callbacks do, and whether it gets a processor"});
  }
}

void checkLosses(const ReceiverView& receiver, const inspect::Snapshot& snapshot, Findings& findings) {
  const std::string who = std::to_string(receiver.listed.pid) + " (" + text::quoted(receiver.listed.name) + ")";
  if (receiver.isGone) {
    return;
  }
  if (receiver.overwritten != 0) {
    findings.push_back({Level::kFault, "receiver " + who + " will miss messages",
                        number(receiver.overwritten, "message is", "messages are") +
                            " overwritten in the log before it has read them, its own or others'",
                        "callbacks that never come", "see why it does not read: is it stopped, or slow?"});
  }
  if (receiver.listed.lost != 0) {
    findings.push_back({Level::kFault, "receiver " + who + " has lost messages",
                        "it counts " + number(receiver.listed.lost, "message", "messages") + " of its own",
                        "callbacks that never came: its state may be wrong until the next announcement",
                        "make its callbacks return sooner; restart it, so that it hears the state anew"});
  }
  for (std::size_t i = 0; i < receiver.ringOverwritten.size(); ++i) {
    const std::string ring = snapshot.rings[i].segment.object.name;
    if (receiver.ringOverwritten[i] != 0) {
      findings.push_back(
          {Level::kFault, "the ring " + ring + " has lapped receiver " + who,
           "at least " + number(receiver.ringOverwritten[i], "message", "messages") +
               " that it has not taken are overwritten by later ones",
           "these messages are lost, and later ones come in their place",
           "let fewer messages be without an answer (the ring holds 40); see why it is slow or stopped"});
    }
  }
}

}  // namespace

void checkLocks(const Examination& all, Findings& findings) {
  for (std::size_t i = 0; i < all.snapshot.locks.size(); ++i) {
    const inspect::Lock& lock = all.snapshot.locks[i];
    if (!lock.object.exists || !lock.object.problem.empty()) {
      continue;  // the objects' check tells
    }
    if (!lock.problem.empty()) {
      findings.push_back(unusable(lock.object.name, lock.problem));
    } else {
      checkHolder(all, i, findings);
    }
  }
}

void checkTable(const Examination& all, Findings& findings) {
  const inspect::Table& table = all.snapshot.table;
  std::vector<std::string> dead;
  for (const inspect::AppView& app : all.snapshot.apps) {
    if (app.isOwnerGone) {
      dead.push_back("app " + std::to_string(app.entry.place + 1) + " " + text::quoted(app.entry.appName) + " of " +
                     std::to_string(app.owner->pid));
    }
  }
  checkStrangeEntries(table, findings);
  if (table.isFull()) {
    findings.push_back(
        {Level::kFault, "the registration table is full",
         "all 20 places are taken" +
             (dead.empty() ? "" : ", " + std::to_string(dead.size()) + " by apps whose process has ended"),
         "an application that starts now gets no app id: its launch returns 0, and it neither sends nor "
         "receives",
         "stop everything that uses the channel and type `linkapp reset`; see why applications start so "
         "often"});
  }
  if (!dead.empty()) {
    findings.push_back({Level::kNote, number(dead.size(), "registered app is dead", "registered apps are dead"),
                        joined(dead) + ": no such process any more",
                        "their places stay taken, " + std::to_string(iOSAppInfoList::kEntryCount - table.count) +
                            " of 20 are free; each start of an application takes one",
                        "`linkapp doctor --fix` or `linkapp reset`, when nothing uses the channel"});
  }
}

void checkLog(const Examination& all, Findings& findings) {
  const inspect::Log& log = all.snapshot.log;
  if (log.object.exists && log.object.problem.empty() && !log.problem.empty()) {
    findings.push_back(unusable(log.object.name, log.problem));
  }
  if (log.postingLock && log.postingLock->hasOwnerDied) {
    findings.push_back({Level::kFault, "a process died while it posted a message",
                        "the kernel has marked the log's lock", "its message may be lost",
                        "none is needed: the next one that posts repairs the log"});
  }
  if (all.snapshot.backlogDamaged != 0) {
    findings.push_back({Level::kFault, "the notifier's log is damaged",
                        number(all.snapshot.backlogDamaged, "place does", "places do") + " not hold what they should",
                        "receivers pass over these messages", "find out who may write " + log.object.name});
  }
}

void checkReceivers(const Examination& all, Findings& findings) {
  for (const ReceiverView& receiver : all.snapshot.receivers) {
    checkReceiver(receiver, findings);
    checkLosses(receiver, all.snapshot, findings);
  }
}

void checkRemoved(const Examination& all, Findings& findings) {
  for (const ChannelProcess& process : all.system.processes) {
    if (process.removed.empty()) {
      continue;
    }
    const std::vector<std::string> names(process.removed.begin(), process.removed.end());
    const std::vector<Process> others = usersOf(all, names.front());
    findings.push_back({Level::kFault, processText(process.process) + " uses removed objects",
                        joined(names, 9) + (names.size() == 1 ? " is" : " are") +
                            " mapped by it and no longer in /dev/shm" +
                            (others.empty() ? "" : "; the present one is used by " + processesText(others)),
                        "it hears nobody who uses the present one, and nobody hears it",
                        "restart it; find out who removes objects while the channel runs (RemoveIPC of logind does)"});
  }
}

void checkDeviceSides(const Examination& all, Findings& findings) {
  std::vector<Process> alive;
  const DeviceSide* last = nullptr;
  for (const DeviceSide& side : all.history.deviceSides) {
    if (!side.isGone) {
      alive.push_back(side.process);
    }
    last = last == nullptr || last->last.sequence < side.last.sequence ? &side : last;
  }
  if (alive.size() > 1) {
    findings.push_back(
        {Level::kFault, "there are " + std::to_string(alive.size()) + " device sides",
         processesText(alive) + " have all sent what only the device side sends",
         "each answers every launch and takes every message, and each announces its own link and sessions",
         "end all but one"});
  }
  const bool hasApps = std::any_of(all.snapshot.apps.begin(), all.snapshot.apps.end(),
                                   [](const inspect::AppView& app) { return app.owner && !app.isOwnerGone; });
  if (alive.empty() && last != nullptr && hasApps) {
    findings.push_back({Level::kFault, "the device side has ended",
                        "process " + std::to_string(last->last.pid) + ", which spoke last as the device side (" +
                            saidText(last->last, all.snapshot) + "), is no more",
                        "launches and messages of the applications go nowhere, and they believe the last that was said "
                        "of the link",
                        "start the device side again; it announces the state anew"});
  }
}

}  // namespace doctor
