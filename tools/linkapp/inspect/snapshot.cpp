#include "inspect/snapshot.h"

#include <time.h>

#include <algorithm>

#include "platform/reference/message_log_layout.h"

namespace inspect {
namespace {

constexpr std::uint64_t kSlots = iOSAppCommonDataList::kSlotCount;

std::uint64_t nanosecondsOf(clockid_t clock) {
  timespec now = {};
  clock_gettime(clock, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000 + static_cast<std::uint64_t>(now.tv_nsec);
}

void readBacklog(const LogReader& reader, Snapshot& snapshot) {
  if (reader.isUsable()) {
    const std::uint64_t head = snapshot.log.head;
    const std::uint64_t oldest = LogReader::oldest(head);
    const LogReader::Range range = reader.read(oldest, head, vqframework::kSlotCount, snapshot.messages);
    snapshot.backlogBegin = oldest + range.overwritten;
    snapshot.backlogDamaged = range.damaged;
  }
}

bool listens(const Receiver& receiver, std::uint32_t id) {
  return std::find(receiver.identifiers.begin(), receiver.identifiers.end(), id) != receiver.identifiers.end();
}

ReceiverView viewOf(const Receiver& listed, const std::string& proc, const Snapshot& snapshot) {
  ReceiverView view;
  view.listed = listed;
  view.process = readProcess(proc, listed.pid);
  view.isGone = isGone(listed, view.process);
  if (listed.position == 0) {
    return view;  // it has not begun
  }
  // What was posted between a look at its position and a look at `head` it may have read long since.
  const std::uint64_t head = std::min(snapshot.log.headBefore, snapshot.log.head);
  view.behind = head - std::min(listed.position, head);
  view.overwritten = snapshot.backlogBegin - std::min(listed.position, snapshot.backlogBegin);
  std::uint64_t waiting = 0;
  std::array<std::uint64_t, 2> inRings = {};
  for (const Message& message : snapshot.messages) {
    if (message.sequence >= listed.position && message.sequence < head && !message.isForNobody &&
        listens(listed, message.id)) {
      ++waiting;
      inRings[0] += message.id == kIdFromHU ? 1U : 0U;
      inRings[1] += message.id == kIdFromDevice ? 1U : 0U;
    }
  }
  view.waiting = waiting;
  for (std::size_t ring = 0; ring < inRings.size(); ++ring) {
    view.ringOverwritten[ring] = inRings[ring] - std::min(inRings[ring], kSlots);
  }
  return view;
}

AppView viewOf(const RegisteredApp& entry, const std::string& proc, const ChannelState& state) {
  AppView view;
  view.entry = entry;
  const auto traffic = state.apps.find(entry.place + 1);
  if (traffic != state.apps.end()) {
    view.traffic = traffic->second;
    if (view.traffic->owner) {
      view.owner = readProcess(proc, view.traffic->owner->pid);
      view.isOwnerGone = hasEndedSince(*view.owner, view.traffic->owner->time);
    }
  }
  return view;
}

// A lock changes hands all the time. Who still has it after he was looked up was what he was seen to be while he had
// it.
Process holderOf(const Lock& lock, const Place& place, const std::string& segment) {
  const Process holder = readProcess(place.proc, lock.holderPid);
  const bool isStillHeld = lock.holderPid != 0 && readLock(place.folder, segment).holderPid == lock.holderPid;
  return isStillHeld ? holder : Process();
}

std::vector<ObjectFacts> factsOf(const Snapshot& snapshot) {
  std::vector<ObjectFacts> facts;
  for (const Segment* const segment : snapshot.segments()) {
    facts.push_back(segment->object);
  }
  for (const Lock& lock : snapshot.locks) {
    facts.push_back(lock.object);
  }
  facts.push_back(snapshot.log.object);
  return facts;
}

}  // namespace

bool isGone(const Receiver& listed, const Process& process) {
  const bool isAnother = listed.startTime != 0 && process.startTime != 0 && listed.startTime != process.startTime;
  return process.isDead() || isAnother;
}

bool Snapshot::hasChannel() const {
  const std::vector<ObjectFacts> facts = factsOf(*this);
  return std::any_of(facts.begin(), facts.end(), [](const ObjectFacts& object) { return object.exists; });
}

std::size_t Snapshot::faults() const {
  return static_cast<std::size_t>(
      std::count_if(findings.begin(), findings.end(), [](const Finding& finding) { return finding.isFault; }));
}

bool Snapshot::isFine() const {
  return hasChannel() && faults() == 0;
}

std::vector<const Segment*> Snapshot::segments() const {
  return {&connectStatus.segment, &rings[0].segment, &rings[1].segment, &table.segment};
}

std::vector<std::string> objectNames() {
  std::vector<std::string> names;
  for (const char* const segment : kSegments) {
    names.emplace_back(segment);
  }
  for (const char* const segment : kSegments) {
    names.push_back(std::string(segment) + ".lock");
  }
  names.emplace_back(vqframework::kMessageLogName);
  return names;
}

Snapshot takeSnapshot(const Place& place) {
  Snapshot snapshot;
  snapshot.wallTime = static_cast<std::int64_t>(nanosecondsOf(CLOCK_REALTIME) / 1'000'000);
  snapshot.monotonicTime = nanosecondsOf(CLOCK_MONOTONIC);

  const LogReader reader(place.folder);
  snapshot.log = readLog(reader);
  readBacklog(reader, snapshot);
  for (const Message& message : snapshot.messages) {
    snapshot.state.add(message);
    snapshot.losses.add(message);
  }
  // Positions that are younger than the messages: who has not come further by now had not when they were posted.
  const auto isThere = [&place](const Receiver& receiver) {
    return !isGone(receiver, readProcess(place.proc, receiver.pid));
  };
  snapshot.losses.look(readLog(reader).receivers, snapshot.state, isThere, snapshot.monotonicTime);
  snapshot.connectStatus = readConnectStatus(Object(place.folder, kConnectStatusSegment));
  for (const RingId id : {RingId::kFromHU, RingId::kFromDevice}) {
    snapshot.rings[static_cast<std::size_t>(id)] = readRing(Object(place.folder, segmentOf(id)), id);
  }
  snapshot.table = readTable(Object(place.folder, kAppInfoSegment));
  for (std::size_t i = 0; i < snapshot.locks.size(); ++i) {
    snapshot.locks[i] = readLock(place.folder, kSegments[i]);
    snapshot.holders[i] = holderOf(snapshot.locks[i], place, kSegments[i]);
  }

  for (const Receiver& listed : snapshot.log.receivers) {
    snapshot.receivers.push_back(viewOf(listed, place.proc, snapshot));
  }
  for (const RegisteredApp& entry : snapshot.table.apps) {
    snapshot.apps.push_back(viewOf(entry, place.proc, snapshot.state));
  }
  if (const auto& said = snapshot.state.deviceSide) {
    snapshot.deviceSide = readProcess(place.proc, said->pid);
    snapshot.isDeviceSideGone = hasEndedSince(snapshot.deviceSide, said->time);
  }
  snapshot.mappings = findMappings(place.proc, place.folder, factsOf(snapshot));
  snapshot.findings = findingsOf(snapshot);
  return snapshot;
}

}  // namespace inspect
