#include "inspect/losses.h"

#include <algorithm>

namespace inspect {
namespace {

using iosapp_def_::ConnectStatusNotify;

// Of each kind that waits for a look; what is beyond is not counted.
constexpr std::size_t kMostWaiting = 8192;
// A damaged table may name any number of processes.
constexpr std::size_t kMostReceivers = 256;

bool isApp(std::uint32_t app) {
  return app != 0 && app <= iOSAppInfoList::kEntryCount;
}

bool listens(const Receiver& receiver, RingId ring) {
  const std::uint32_t id = ring == RingId::kFromHU ? kIdFromHU : kIdFromDevice;
  return std::find(receiver.identifiers.begin(), receiver.identifiers.end(), id) != receiver.identifiers.end();
}

// Ring messages reach every process with an endpoint; they end in most of them. Where the one that they are meant for
// is not known, each that is not known for something else may be it.
bool isMeant(const Receiver& receiver, RingId ring, std::uint32_t app, const ChannelState& state) {
  if (!listens(receiver, ring)) {
    return false;
  }
  const bool isDeviceSide = state.deviceSide && state.deviceSide->pid == receiver.pid;
  if (ring == RingId::kFromHU) {
    return state.deviceSide ? isDeviceSide : appsOf(state, receiver.pid).empty();
  }
  const auto traffic = state.apps.find(app);
  if (traffic != state.apps.end() && traffic->second.owner) {
    return traffic->second.owner->pid == receiver.pid;
  }
  return !isDeviceSide && appsOf(state, receiver.pid).empty();
}

std::uint64_t& counterOf(LossCounts& counts, LossKind kind) {
  switch (kind) {
    case LossKind::kOverwritten:
      return counts.overwritten;
    case LossKind::kSkipped:
      return counts.skipped;
    case LossKind::kNotifications:
      return counts.notifications;
    default:
      return counts.withoutResult;
  }
}

}  // namespace

const char* nameOf(LossKind kind) {
  constexpr std::array<const char*, 5> kNames = {"overwritten", "skipped", "notifications", "withoutResult", "missed"};
  return kNames[static_cast<std::size_t>(kind)];
}

std::uint32_t appOf(const Message& message) {
  if (const auto announcement = announcementOf(message)) {
    return announcement->appId;
  }
  if (const auto place = registeredPlaceOf(message)) {
    return *place + 1;
  }
  const auto status = connectStatusOf(message);
  const bool isAboutApp = status && (status->notifyType == iosapp_def_::NOTIFYID_APPLAUNCH ||
                                     status->notifyType == iosapp_def_::NOTIFYID_SESSIONSTATUS ||
                                     status->notifyType == iosapp_def_::NOTIFYID_SENDRESULT);
  return isAboutApp ? status->appId : 0;
}

std::vector<std::uint32_t> appsOf(const ChannelState& state, std::uint32_t pid) {
  std::vector<std::uint32_t> apps;
  for (const auto& [app, traffic] : state.apps) {
    if (traffic.owner && traffic.owner->pid == pid) {
      apps.push_back(app);
    }
  }
  return apps;
}

void Losses::add(const Message& message) {
  if (message.isForNobody) {
    return;
  }
  if (const auto announcement = announcementOf(message)) {
    addAnnouncement(message, *announcement, message.id == kIdFromHU ? RingId::kFromHU : RingId::kFromDevice);
  } else if (const auto status = connectStatusOf(message)) {
    addStatus(*status, message);
  } else if (const auto place = registeredPlaceOf(message)) {
    sent_.erase(*place + 1);  // the place was free: what was sent before was another app's
  }
}

void Losses::addAnnouncement(const Message& message, const iOSAppCommonDataNotify& announcement, RingId id) {
  checkSlot(message, announcement, id);
  if (id == RingId::kFromHU && isApp(announcement.appId)) {
    std::deque<Said>& open = sent_[announcement.appId].open;
    if (open.size() < kMostWaiting) {
      open.push_back({message.sequence, message.time, message.pid});
    }
  }
}

void Losses::checkSlot(const Message& message, const iOSAppCommonDataNotify& announcement, RingId id) {
  const std::uint32_t slot = announcement.slotIndex;
  if (slot >= kSlots) {
    return;
  }
  RingPast& past = rings_[static_cast<std::size_t>(id)];
  if (past.lastSlot && past.nextNumber == message.number) {
    const std::uint32_t expected = (*past.lastSlot + 1) % kSlots;
    const bool isBack = slot < expected;  // not where it went round: 0 is expected then
    setBacks += isBack ? 1U : 0U;
    const std::uint32_t skipped = isBack ? slot : slot - expected;
    if (skipped != 0) {
      tell({LossKind::kSkipped, skipped, announcement.appId, message.pid, id, message.sequence, message.time});
    }
  }
  if (past.slots[slot] && replaced_.size() < kMostWaiting) {
    replaced_.push_back({id, *past.slots[slot]});
  }
  past.slots[slot] = Announced{message.sequence, message.time, announcement.appId};
  past.lastSlot = slot;
  past.nextNumber = message.number + 1;
}

void Losses::addStatus(const ConnectStatusNotify& status, const Message& message) {
  if (status.notifyType == iosapp_def_::NOTIFYID_SENDRESULT) {
    const auto sent = sent_.find(status.appId);
    if (sent != sent_.end() && !sent->second.open.empty()) {
      sent->second.open.pop_front();
      sent->second.overdue -= sent->second.overdue != 0 ? 1U : 0U;
    }
  } else if (status.notifyType == iosapp_def_::NOTIFYID_SESSIONSTATUS && status.status != 1) {
    giveUp(status.appId, message);
  } else if (status.notifyType == iosapp_def_::NOTIFYID_CONNECTSTATUS && status.connectStatus != 1) {
    for (const auto& entry : std::map(sent_)) {
      giveUp(entry.first, message);
    }
  }
}

// Session or link have ended: no result will come.
void Losses::giveUp(std::uint32_t app, const Message& message) {
  const auto sent = sent_.find(app);
  if (sent == sent_.end()) {
    return;
  }
  const std::size_t count = sent->second.open.size() - sent->second.overdue;
  if (count != 0) {
    const Said first = sent->second.open[sent->second.overdue];
    tell({LossKind::kWithoutResult, count, app, first.pid, std::nullopt, first.sequence, message.time});
  }
  sent_.erase(sent);
}

void Losses::look(const std::vector<Receiver>& receivers, const ChannelState& state, const IsThere& isThere,
                  std::uint64_t now) {
  findOverwritten(receivers, state, isThere);
  findNotifications(receivers, state, now);
  findOverdue(now);
  hasLooked_ = true;
}

void Losses::findOverwritten(const std::vector<Receiver>& receivers, const ChannelState& state,
                             const IsThere& isThere) {
  for (const Receiver& receiver : receivers) {
    std::optional<bool> isAlive;  // looked up where it matters only
    for (const Replaced& replaced : replaced_) {
      const bool hasRead = receiver.position == 0 || receiver.position > replaced.message.sequence;
      if (hasRead || !isMeant(receiver, replaced.ring, replaced.message.app, state)) {
        continue;
      }
      isAlive = isAlive ? isAlive : isThere(receiver);
      if (!*isAlive) {
        break;
      }
      tell({LossKind::kOverwritten, 1, replaced.message.app, receiver.pid, replaced.ring, replaced.message.sequence,
            replaced.message.time});
    }
  }
  replaced_.clear();
}

// A pid may come again, and so may a place.
void Losses::findNotifications(const std::vector<Receiver>& receivers, const ChannelState& state, std::uint64_t now) {
  std::map<std::uint32_t, Place> places;
  for (const Receiver& receiver : receivers) {
    const auto known = places_.find(receiver.pid);
    const bool isSame =
        known != places_.end() && known->second.startTime == receiver.startTime && known->second.lost <= receiver.lost;
    const bool hasPast = !hasLooked_ && earlier_ == Earlier::kDoesNotCount;
    const std::uint64_t before = isSame ? known->second.lost : hasPast ? receiver.lost : 0;
    if (receiver.lost != before) {
      const std::vector<std::uint32_t> apps = appsOf(state, receiver.pid);
      tell({LossKind::kNotifications, receiver.lost - before, apps.empty() ? 0 : apps.front(), receiver.pid,
            std::nullopt, receiver.position, now});
    }
    places[receiver.pid] = {receiver.startTime, receiver.lost};
  }
  places_ = std::move(places);
}

void Losses::findOverdue(std::uint64_t now) {
  for (auto& [app, sent] : sent_) {
    const std::size_t before = sent.overdue;
    while (sent.overdue < sent.open.size() && sent.open[sent.overdue].time <= now &&
           now - sent.open[sent.overdue].time >= kPatience) {
      ++sent.overdue;
    }
    if (sent.overdue != before) {
      const Said& first = sent.open[before];
      tell({LossKind::kWithoutResult, sent.overdue - before, app, first.pid, std::nullopt, first.sequence, now});
    }
  }
}

void Losses::addMissed(std::uint64_t count, std::uint64_t sequence, std::uint64_t now) {
  if (count != 0) {
    missed += count;
    found_.push_back({LossKind::kMissedByOnlooker, count, 0, 0, std::nullopt, sequence, now});
    forget();
  }
}

void Losses::forget() {
  rings_ = {};
  replaced_.clear();
  sent_.clear();
}

void Losses::beginAnew() {
  byApp.clear();
  byReceiver.clear();
  missed = 0;
  setBacks = 0;
  total_ = {};
  found_.clear();
  for (auto& entry : sent_) {
    entry.second.overdue = entry.second.open.size();  // what was sent before is nobody's concern any more
  }
}

void Losses::tell(const Loss& loss) {
  counterOf(total_, loss.kind) += loss.count;
  counterOf(byApp[isApp(loss.app) ? loss.app : 0], loss.kind) += loss.count;
  const bool isReceivers = loss.kind == LossKind::kOverwritten || loss.kind == LossKind::kNotifications;
  if (isReceivers && (byReceiver.size() < kMostReceivers || byReceiver.count(loss.pid) != 0)) {
    counterOf(byReceiver[loss.pid], loss.kind) += loss.count;
  }
  found_.push_back(loss);
}

}  // namespace inspect
