// Checks of the objects as files: there, whole, readable, by whom.
#include <algorithm>
#include <map>

#include "doctor/checks.h"
#include "doctor/words.h"
#include "inspect/log_reader.h"
#include "platform/reference/message_log_layout.h"
#include "platform/reference/named_lock.h"

namespace doctor {
namespace {

using inspect::ObjectFacts;
using inspect::Segment;

constexpr mode_t kMade = 0664;  // less the umask
constexpr const char* kStartAnew =
    "stop every process of the channel, remove the object, start the device side first and then the applications";

struct Expected {
  ObjectFacts object;
  std::uint64_t size = 0;
};

// The nine, with the sizes that they should have.
std::vector<Expected> objectsOf(const inspect::Snapshot& snapshot) {
  std::vector<Expected> all;
  for (const Segment* const segment : snapshot.segments()) {
    all.push_back({segment->object, inspect::kSizeWordBytes + segment->recordBytes});
  }
  for (const inspect::Lock& lock : snapshot.locks) {
    all.push_back({lock.object, sizeof(vqframework::LockObject)});
  }
  all.push_back({snapshot.log.object, sizeof(vqframework::MessageLogObject)});
  return all;
}

std::vector<ObjectFacts> existing(const inspect::Snapshot& snapshot) {
  std::vector<ObjectFacts> all;
  for (const Expected& expected : objectsOf(snapshot)) {
    if (expected.object.exists) {
      all.push_back(expected.object);
    }
  }
  return all;
}

std::string modeText(const ObjectFacts& object) {
  return octal(object.mode) + " " + userText(object.owner) + ":" + groupText(object.group);
}

void checkMissing(const Examination& all, const ObjectFacts& object, std::size_t present, Findings& findings) {
  std::vector<inspect::Process> users;
  for (const ChannelProcess& process : all.system.processes) {
    if (process.removed.count(object.name) != 0) {
      users.push_back(process.process);
    }
  }
  const bool isLock = object.name.find(".lock") != std::string::npos;
  findings.push_back(
      {Level::kFault, object.name + " is missing",
       "/dev/shm has no " + object.name + ", but " + std::to_string(present) + " of the 9 objects of the channel" +
           (users.empty() ? "" : "; a removed one is still used by " + processesText(users)),
       isLock ? "a process that starts now makes a new lock, and does not exclude those that have the old one"
              : "a process that starts now makes a new one, and does not meet those that have the old one",
       "stop every process of the channel; start the device side first and then the applications"});
}

void checkReadable(const Examination& all, const Expected& expected, Findings& findings) {
  const ObjectFacts& object = expected.object;
  if (!object.problem.empty()) {
    findings.push_back({Level::kFault, object.name + " cannot be read by user " + userText(all.system.user),
                        object.problem + "; it is " + modeText(object),
                        "processes of this user have no part in the channel, and what is in the object is not checked",
                        "run as a member of the channel's group, or look as root; docs/security.md says how to give "
                        "all processes one group"});
  } else if (object.size != expected.size) {
    const bool isShort = object.size < expected.size;
    findings.push_back(
        {Level::kFault, object.name + " has a wrong size",
         number(object.size, "byte", "bytes") + " instead of " + std::to_string(expected.size),
         isShort
             ? "whoever made it died on the way, or somebody cut it: a process that touches what is missing gets SIGBUS"
             : "something else made it, or another version of the channel: the parts need not mean the same to all",
         isShort
             ? "the next process of the channel that starts brings it to size; restart those that run, since they may "
               "have failed on it"
             : kStartAnew});
  }
}

void checkSegmentContent(const Examination& all, Findings& findings) {
  for (const Segment* const segment : all.snapshot.segments()) {
    if (segment->isWhole && segment->sizeWord != segment->recordBytes && segment->sizeWord.value_or(0) != 0) {
      findings.push_back({Level::kFault, segment->object.name + ": its first word is damaged",
                          "it says " + std::to_string(*segment->sizeWord) +
                              ", and every process that attaches writes " + std::to_string(segment->recordBytes),
                          "somebody who is no part of the channel has written into the segment",
                          "find out who may write it (" + modeText(segment->object) + "); then " + kStartAnew});
    }
  }
  for (const inspect::Ring& ring : all.snapshot.rings) {
    if (ring.writeIndexWord != ring.nextSlot) {
      findings.push_back({Level::kFault, ring.segment.object.name + ": its write index is damaged",
                          "it is " + std::to_string(ring.writeIndexWord) +
                              ", and no process of the channel writes more "
                              "than 39",
                          "it is taken modulo 40, so the channel goes on; the slots may be damaged as well",
                          "find out who may write the segment (" + modeText(ring.segment.object) + ")"});
    }
  }
}

bool mayWrite(const ChannelProcess& process, uid_t owner, gid_t group, mode_t mode) {
  return isAllowed(process, owner, group, mode, 6);
}

std::string shutOutText(const std::vector<const ChannelProcess*>& processes) {
  std::vector<std::string> words;
  words.reserve(processes.size());
  for (const ChannelProcess* const process : processes) {
    words.push_back(processText(process->process) + " of user " + userText(process->user));
  }
  return joined(words);
}

void checkWhoMayOpen(const Examination& all, const ObjectFacts& object, Findings& findings) {
  std::vector<const ChannelProcess*> shutOut;
  for (const ChannelProcess& process : all.system.processes) {
    if (!mayWrite(process, object.owner, object.group, object.mode)) {
      shutOut.push_back(&process);
    }
  }
  if (!shutOut.empty()) {
    findings.push_back({Level::kFault, object.name + " is closed to a process of the channel",
                        "it is " + modeText(object) + "; not for " + shutOutText(shutOut),
                        "these take no part in what goes through it, or will not after their next start",
                        "give all processes of the channel one group, and start them with umask 007 "
                        "(docs/security.md); for now: chgrp and chmod 0660"});
  }
}

}  // namespace

void checkObjects(const Examination& all, Findings& findings) {
  const std::vector<ObjectFacts> present = existing(all.snapshot);
  const inspect::ObjectFacts& log = all.snapshot.log.object;
  if (present.size() == (log.exists ? 1U : 0U)) {  // others may use the notifier
    findings.push_back({Level::kFault, "there is no channel",
                        log.exists ? "/dev/shm has " + log.name + " and none of the other 8 objects"
                                   : "/dev/shm has none of its 9 objects",
                        "nothing has started that uses the channel, or it has another /dev/shm (a container): nothing "
                        "links",
                        "start the device side (`linkapp phone` is one) and an application"});
    if (log.exists) {
      checkReadable(all, objectsOf(all.snapshot).back(), findings);
    }
    return;
  }
  for (const Expected& expected : objectsOf(all.snapshot)) {
    if (!expected.object.exists && expected.object.problem.empty()) {
      checkMissing(all, expected.object, present.size(), findings);
    } else {
      checkReadable(all, expected, findings);
    }
  }
  checkSegmentContent(all, findings);
}

void checkModes(const Examination& all, Findings& findings) {
  const std::vector<ObjectFacts> objects = existing(all.snapshot);
  std::map<std::string, std::vector<std::string>> byMode;  // mode and group
  for (const ObjectFacts& object : objects) {
    byMode[octal(object.mode) + " and group " + groupText(object.group)].push_back(object.name);
    if ((object.mode & ~kMade) != 0) {
      findings.push_back({Level::kFault, object.name + " has a wrong mode",
                          "it is " + modeText(object) + "; the channel makes nothing wider than 0664",
                          (object.mode & 2U) != 0
                              ? "every user of the machine can stop the channel, and say anything in it"
                              : "somebody has changed it",
                          "chmod " + octal(object.mode & kMade) + " /dev/shm/" + object.name});
    }
    checkWhoMayOpen(all, object, findings);
  }
  if (byMode.size() < 2) {
    return;
  }
  const auto usual = std::max_element(byMode.begin(), byMode.end(),
                                      [](const auto& a, const auto& b) { return a.second.size() < b.second.size(); });
  for (const auto& [mode, names] : byMode) {
    if (mode != usual->first) {
      findings.push_back({Level::kFault, joined(names, 9) + " has another mode or group than the rest",
                          mode + "; " + std::to_string(usual->second.size()) + " objects have " + usual->first,
                          "who may open some of the objects and not the others has a channel that works in part",
                          "one group and umask 007 for all processes (docs/security.md); now chmod or chgrp it, or " +
                              std::string(kStartAnew)});
    }
  }
}

// What a process would make if it came first next time, and who could not open that.
void checkUmask(const Examination& all, Findings& findings) {
  ChannelProcess self;
  self.user = all.system.user;
  self.group = all.system.group;
  std::vector<const ChannelProcess*> strangers;
  for (const ChannelProcess& other : all.system.processes) {
    if (!mayWrite(other, self.user, self.group, kMade & ~all.system.umask)) {
      strangers.push_back(&other);
    }
  }
  if (!strangers.empty()) {
    findings.push_back({Level::kNote, "what is started from here would shut others out",
                        "this command has umask " + octal(all.system.umask) + ", user " + userText(self.user) +
                            ", group " + groupText(self.group) + ": an object made from here would be closed to " +
                            shutOutText(strangers),
                        "only where something is started from here, and comes first",
                        "start the channel from its units, or with umask 007 and its group"});
  }
  for (const ChannelProcess& process : all.system.processes) {
    if (!process.umask) {
      continue;
    }
    std::vector<const ChannelProcess*> shutOut;
    for (const ChannelProcess& other : all.system.processes) {
      if (!mayWrite(other, process.user, process.group, kMade & ~*process.umask)) {
        shutOut.push_back(&other);
      }
    }
    const bool isOwnerShutOut = (*process.umask & 0600U) != 0;
    if (shutOut.empty() && !isOwnerShutOut) {
      continue;
    }
    findings.push_back(
        {Level::kFault, processText(process.process) + " has a umask that shuts others out",
         "umask " + octal(*process.umask) + " of user " + userText(process.user) + ", group " +
             groupText(process.group) + ": what it makes gets mode " + octal(kMade & ~*process.umask) +
             (shutOut.empty() ? ", which its own user cannot open again" : ", closed to " + shutOutText(shutOut)),
         "whenever it is the first to start, the channel is not there for the others",
         "UMask=0007 and Group= of the channel in its unit (docs/security.md)"});
  }
}

void checkSpace(const Examination& all, Findings& findings) {
  const Space& space = all.system.space;
  if (!space.isKnown) {
    findings.push_back({Level::kFault, "/dev/shm cannot be looked at", "statvfs fails on it",
                        "without it there is no channel", "mount a tmpfs on /dev/shm, mode 1777"});
    return;
  }
  std::uint64_t missing = 0;
  for (const Expected& expected : objectsOf(all.snapshot)) {
    missing += expected.object.exists ? expected.size - std::min(expected.size, expected.object.size) : expected.size;
  }
  const std::string proof = number(space.free, "byte is", "bytes are") + " free of " + std::to_string(space.total);
  if (space.free < missing) {
    findings.push_back({Level::kFault, "/dev/shm is full",
                        proof + "; the objects that are not there yet need " + std::to_string(missing),
                        "they cannot be made: processes start with \"ftruncate error\" and stay without the channel",
                        "remove what does not belong there (du -a /dev/shm), or give the tmpfs a larger size="});
  } else if (space.free == 0) {
    findings.push_back({Level::kNote, "/dev/shm is full", proof + "; the objects of the channel have their pages",
                        "nothing today: an object that has to be made anew could not be", "see du -a /dev/shm"});
  }
}

}  // namespace doctor
