#include "inspect/status_json.h"

#include <algorithm>
#include <cstdio>
#include <limits>

namespace inspect {
namespace {

using text::Fields;
using text::List;

// What no channel process writes may exceed what a JSON reader takes for a whole number.
std::int64_t number(std::uint64_t value) {
  return static_cast<std::int64_t>(
      std::min<std::uint64_t>(value, static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())));
}

Fields saidFields(const Said& said, const Snapshot& snapshot) {
  const std::uint64_t age = snapshot.monotonicTime - std::min(said.time, snapshot.monotonicTime);
  return {{"sequence", number(said.sequence)},
          {"time", number(said.time)},
          {"ageMs", number(age / 1'000'000)},
          {"pid", said.pid}};
}

void addSaid(Fields& fields, const char* name, const std::optional<Said>& said, const Snapshot& snapshot) {
  if (said) {
    fields.push_back({name, saidFields(*said, snapshot)});
  }
}

void addAll(Fields& fields, const Fields& more) {
  fields.insert(fields.end(), more.begin(), more.end());
}

Fields segmentFields(const Segment& segment) {
  Fields fields = objectFields(segment.object);
  fields.push_back({"recordBytes", segment.recordBytes});
  if (segment.sizeWord) {
    fields.push_back({"sizeWord", *segment.sizeWord});
  }
  addAll(fields, {{"whole", segment.isWhole}, {"changing", segment.isChanging}});
  return fields;
}

Fields wordFields(const LockWord& word) {
  return {{"thread", word.thread}, {"waiters", word.hasWaiters}, {"ownerDied", word.hasOwnerDied}};
}

Fields lockFields(const Lock& lock, const Process& holder) {
  Fields fields = objectFields(lock.object);
  if (!lock.problem.empty()) {
    fields.push_back({"unusable", lock.problem});
    return fields;
  }
  addAll(fields, {{"holder", lock.holderPid}, {"contended", number(lock.contended)}, {"changing", lock.isChanging}});
  if (holder.pid != 0) {
    fields.push_back({"holderProcess", processFields(holder, holder.isDead())});
  }
  if (lock.word) {
    fields.push_back({"guess", wordFields(*lock.word)});
  }
  return fields;
}

Fields logFields(const Snapshot& snapshot) {
  const Log& log = snapshot.log;
  Fields fields = objectFields(log.object);
  if (!log.problem.empty()) {
    fields.push_back({"unusable", log.problem});
    return fields;
  }
  List identifiers;
  for (const IdentifierTally& tally : log.tallies) {
    identifiers.push_back({{"id", tally.id}, {"name", identifierName(tally.id)}, {"posted", tally.posted}});
  }
  addAll(fields, {{"head", number(log.head)},
                  {"oldest", number(snapshot.backlogBegin)},
                  {"damaged", number(snapshot.backlogDamaged)},
                  {"sleepers", log.sleepers},
                  {"sleepingGroups", log.sleepingGroups},
                  {"owedGroups", log.owedGroups},
                  {"identifiers", identifiers}});
  if (log.postingLock) {
    fields.push_back({"guess", wordFields(*log.postingLock)});
  }
  return fields;
}

Fields channelFields(const Snapshot& snapshot) {
  const ChannelState& state = snapshot.state;
  Fields fields = {{"messages", number(state.messages)}, {"strange", number(state.strange)}};
  if (state.deviceSide) {
    Fields side = processFields(snapshot.deviceSide, snapshot.isDeviceSideGone);
    side.push_back({"said", saidFields(*state.deviceSide, snapshot)});
    fields.push_back({"deviceSide", side});
  }
  if (const auto& link = state.link) {
    fields.push_back({"link", Fields{{"device", link->device},
                                     {"connected", link->isConnected()},
                                     {"connectStatus", link->connectStatus},
                                     {"connectType", link->connectType},
                                     {"iapType", link->iapType},
                                     {"said", saidFields(link->said, snapshot)}}});
  }
  if (const auto& handsFree = state.handsFree) {
    fields.push_back({"handsFree", Fields{{"btConnected", handsFree->btConnected},
                                          {"btAddress", handsFree->btAddress},
                                          {"said", saidFields(handsFree->said, snapshot)}}});
  }
  if (const auto& playback = state.playback) {
    fields.push_back(
        {"playback", Fields{{"appName", playback->appName}, {"said", saidFields(playback->said, snapshot)}}});
  }
  return fields;
}

void addTraffic(Fields& fields, const AppTraffic& traffic, const Snapshot& snapshot) {
  addAll(fields, {{"session", traffic.isSessionOpen},
                  {"launches", number(traffic.launches)},
                  {"sent", number(traffic.sent)},
                  {"results", number(traffic.results)},
                  {"failures", number(traffic.failures)},
                  {"open", number(traffic.open)},
                  {"unanswered", number(traffic.unanswered)},
                  {"received", number(traffic.received)}});
  addSaid(fields, "registered", traffic.registered, snapshot);
  addSaid(fields, "lastLaunch", traffic.lastLaunch, snapshot);
  addSaid(fields, "lastSession", traffic.session, snapshot);
  addSaid(fields, "lastSent", traffic.lastSent, snapshot);
  addSaid(fields, "lastResult", traffic.lastResult, snapshot);
  addSaid(fields, "lastReceived", traffic.lastReceived, snapshot);
}

Fields tableFields(const Snapshot& snapshot) {
  List apps;
  for (const AppView& app : snapshot.apps) {
    Fields fields = {{"place", app.entry.place},       {"app", app.entry.appId},
                     {"name", app.entry.appName},      {"launchString", app.entry.launchString},
                     {"iAP1Name", app.entry.iAP1Name}, {"valid", app.entry.isValid}};
    if (app.owner) {
      fields.push_back({"owner", processFields(*app.owner, app.isOwnerGone)});
    }
    if (app.traffic) {
      addTraffic(fields, *app.traffic, snapshot);
    }
    apps.push_back(fields);
  }
  return {{"count", snapshot.table.count},
          {"countWord", snapshot.table.countWord},
          {"places", iOSAppInfoList::kEntryCount},
          {"apps", apps}};
}

Fields ringFields(const Ring& ring, const ChannelState& state) {
  const std::size_t index = static_cast<std::size_t>(ring.id);
  Fields fields = {{"name", segmentOf(ring.id)},
                   {"writeIndexWord", ring.writeIndexWord},
                   {"nextSlot", ring.nextSlot},
                   {"written", ring.written},
                   {"announced", number(state.ringMessages[index])}};
  if (state.lastSlot[index]) {
    fields.push_back({"lastSlot", *state.lastSlot[index]});
  }
  List slots;
  for (std::size_t slot = 0; slot < ring.slots.size(); ++slot) {
    if (ring.slots[slot].sizeWord != 0) {
      slots.push_back({{"slot", slot}, {"size", ring.slots[slot].size}, {"sizeWord", ring.slots[slot].sizeWord}});
    }
  }
  fields.push_back({"slots", slots});
  return fields;
}

Fields receiverFields(const ReceiverView& receiver) {
  List identifiers;
  for (const std::uint32_t id : receiver.listed.identifiers) {
    identifiers.push_back({{"id", id}, {"name", identifierName(id)}});
  }
  Fields fields = {{"place", receiver.listed.place},
                   {"listedName", receiver.listed.name},
                   {"process", processFields(receiver.process, receiver.isGone)},
                   {"identifierCount", receiver.listed.identifierCount},
                   {"identifiers", identifiers},
                   {"position", number(receiver.listed.position)},
                   {"lost", number(receiver.listed.lost)},
                   {"overwritten", number(receiver.overwritten)}};
  if (receiver.behind) {
    fields.push_back({"behind", number(*receiver.behind)});
  }
  if (receiver.waiting) {
    fields.push_back({"waiting", number(*receiver.waiting)});
  }
  addAll(fields, {{"overwrittenFromHU", number(receiver.ringOverwritten[0])},
                  {"overwrittenFromDevice", number(receiver.ringOverwritten[1])}});
  return fields;
}

Fields mappingFields(const MappingProcess& mapping) {
  Fields fields = processFields(mapping.process, mapping.process.isDead());
  const auto list = [](const std::set<std::string>& names) {
    List all;
    for (const std::string& name : names) {
      all.push_back({{"name", name}});
    }
    return all;
  };
  addAll(fields, {{"objects", list(mapping.objects)}, {"removed", list(mapping.removed)}});
  return fields;
}

Fields lossesFields(const Snapshot& snapshot) {
  List apps;
  for (const auto& [app, counts] : snapshot.losses.byApp) {
    Fields fields = {{"app", app}};
    addAll(fields, lossFields(counts));
    apps.push_back(fields);
  }
  List receivers;
  for (const auto& [pid, counts] : snapshot.losses.byReceiver) {
    receivers.push_back(
        {{"pid", pid}, {"overwritten", number(counts.overwritten)}, {"notifications", number(counts.notifications)}});
  }
  Fields fields = lossFields(snapshot.losses.total());
  addAll(fields, {{"setBacks", number(snapshot.losses.setBacks)}, {"apps", apps}, {"receivers", receivers}});
  return fields;
}

template <class Range, class Make>
List listOf(const Range& range, const Make& make) {
  List list;
  for (const auto& entry : range) {
    list.push_back(make(entry));
  }
  return list;
}

List locksOf(const Snapshot& snapshot) {
  List list;
  for (std::size_t i = 0; i < snapshot.locks.size(); ++i) {
    list.push_back(lockFields(snapshot.locks[i], snapshot.holders[i]));
  }
  return list;
}

}  // namespace

Fields processFields(const Process& process, bool isGone) {
  Fields fields = {{"pid", process.pid}, {"gone", isGone}};
  if (process.exists && !isGone) {
    addAll(fields, {{"name", process.name},
                    {"command", process.command},
                    {"state", std::string(1, process.state)},
                    {"stopped", process.isStopped()},
                    {"user", process.user}});
  }
  return fields;
}

Fields objectFields(const ObjectFacts& object) {
  Fields fields = {{"name", object.name}, {"exists", object.exists}};
  if (object.exists) {
    char mode[8];
    snprintf(mode, sizeof mode, "%04o", object.mode & 07777U);
    addAll(
        fields,
        {{"size", number(object.size)}, {"mode", std::string(mode)}, {"owner", object.owner}, {"group", object.group}});
  }
  if (!object.problem.empty()) {
    fields.push_back({"problem", object.problem});
  }
  return fields;
}

Fields lossFields(const LossCounts& counts) {
  return {{"overwritten", number(counts.overwritten)},
          {"skipped", number(counts.skipped)},
          {"notifications", number(counts.notifications)},
          {"withoutResult", number(counts.withoutResult)}};
}

Fields statusFields(const Snapshot& snapshot) {
  return {{"time", snapshot.wallTime},
          {"monotonicTime", number(snapshot.monotonicTime)},
          {"ok", snapshot.isFine()},
          {"channel", snapshot.hasChannel()},
          {"findings", listOf(snapshot.findings,
                              [](const Finding& finding) {
                                return Fields{{"about", finding.about},
                                              {"text", finding.text},
                                              {"fault", finding.isFault},
                                              {"certain", finding.certain}};
                              })},
          {"segments", listOf(snapshot.segments(), [](const Segment* segment) { return segmentFields(*segment); })},
          {"locks", locksOf(snapshot)},
          {"log", logFields(snapshot)},
          {"state", channelFields(snapshot)},
          {"table", tableFields(snapshot)},
          {"rings", listOf(snapshot.rings, [&](const Ring& ring) { return ringFields(ring, snapshot.state); })},
          {"losses", lossesFields(snapshot)},
          {"receivers", listOf(snapshot.receivers, &receiverFields)},
          {"processes", listOf(snapshot.mappings.processes, &mappingFields)},
          {"unseenProcesses", snapshot.mappings.unseen}};
}

}  // namespace inspect
