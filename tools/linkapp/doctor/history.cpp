#include "doctor/history.h"

#include <algorithm>

#include "inspect/log_reader.h"
#include "platform/reference/message_log_layout.h"

namespace doctor {
namespace {

using inspect::Message;
using inspect::Said;

// Whoever may write the log may name any number of senders.
constexpr std::size_t kMostDeviceSides = 64;
constexpr std::uint32_t kSessionOpened = 1;

void addDeviceSide(const Said& said, History& history) {
  const auto known = std::find_if(history.deviceSides.begin(), history.deviceSides.end(),
                                  [&said](const DeviceSide& side) { return side.process.pid == said.pid; });
  if (known != history.deviceSides.end()) {
    known->last = said;
  } else if (history.deviceSides.size() < kMostDeviceSides) {
    DeviceSide side;
    side.process.pid = said.pid;
    side.first = said;
    side.last = said;
    history.deviceSides.push_back(side);
  }
}

void addStatus(const iosapp_def_::ConnectStatusNotify& status, const Said& said, History& history) {
  switch (status.notifyType) {
    case iosapp_def_::NOTIFYID_CONNECTSTATUS: {
      inspect::ChannelState::Link link;
      link.said = said;
      link.device = status.deviceId;
      link.connectStatus = status.connectStatus;
      link.connectType = status.connectType;
      link.iapType = status.iapType;
      history.links.push_back(link);
      break;
    }
    case iosapp_def_::NOTIFYID_SESSIONSTATUS:
      history.sessions.push_back({status.appId, status.status == kSessionOpened, said});
      break;
    case iosapp_def_::NOTIFYID_SENDRESULT:
      history.results.push_back({status.appId, status.sendResult, said});
      break;
    case iosapp_def_::NOTIFYID_BTHFSTATUS:
    case iosapp_def_::NOTIFYID_PLAYBACKAPPINFO:
      break;
    default:
      return;  // a launch request, or nothing that is known
  }
  addDeviceSide(said, history);
}

void add(const Message& message, History& history) {
  const Said said = {message.sequence, message.time, message.pid};
  if (message.isForNobody) {
    return;
  }
  if (const auto status = connectStatusOf(message)) {
    addStatus(*status, said, history);
  } else if (const auto announcement = announcementOf(message)) {
    const RingMessage ring = {announcement->deviceId, announcement->appId, announcement->slotIndex, said};
    if (message.id == inspect::kIdFromDevice) {
      history.fromDevice.push_back(ring);
      addDeviceSide(said, history);
    } else {
      history.fromHU.push_back(ring);
    }
  }
}

bool isResult(const Message& message) {
  const auto status = message.isForNobody ? std::nullopt : connectStatusOf(message);
  return status && status->notifyType == iosapp_def_::NOTIFYID_SENDRESULT;
}

void addWhatCameSince(const inspect::Place& place, const inspect::Snapshot& snapshot, History& history) {
  const inspect::LogReader log(place.folder);
  if (!log.isUsable()) {
    return;
  }
  for (const inspect::Receiver& receiver : inspect::readLog(log).receivers) {
    history.positions[receiver.pid] = receiver.position;
  }
  std::vector<Message> messages;
  log.read(snapshot.log.head, log.head(), vqframework::kSlotCount, messages);
  for (const Message& message : messages) {
    if (isResult(message)) {
      add(message, history);
    }
  }
}

}  // namespace

History readHistory(const inspect::Place& place, const inspect::Snapshot& snapshot) {
  History history;
  history.isComplete = snapshot.log.problem.empty() && snapshot.backlogBegin == 0 && snapshot.backlogDamaged == 0;
  for (const Message& message : snapshot.messages) {
    add(message, history);
  }
  addWhatCameSince(place, snapshot, history);
  for (DeviceSide& side : history.deviceSides) {
    side.process = inspect::readProcess(place.proc, side.process.pid);
    side.isGone = hasEndedSince(side.process, side.last.time);
  }
  return history;
}

}  // namespace doctor
