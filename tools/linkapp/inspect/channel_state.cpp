#include "inspect/channel_state.h"

#include <algorithm>

namespace inspect {
namespace {

using iosapp_def_::ConnectStatusNotify;

constexpr std::size_t kMostSenders = 256;
constexpr std::uint32_t kSessionOpened = 1;

void closeSession(AppTraffic& app) {
  app.isSessionOpen = false;
  app.unanswered += app.open;
  app.open = 0;
}

}  // namespace

AppTraffic* ChannelState::app(std::uint32_t appId) {
  if (appId == 0 || appId > iOSAppInfoList::kEntryCount) {
    ++strange;
    return nullptr;
  }
  return &apps[appId];
}

void ChannelState::add(const Message& message) {
  if (message.isForNobody) {
    return;
  }
  ++messages;
  const Said said = {message.sequence, message.time, message.pid};
  const auto sender = senders.find(message.pid);
  if (sender != senders.end() || senders.size() < kMostSenders) {
    senders[message.pid].last = said;
    ++senders[message.pid].messages;
  }
  if (const auto status = connectStatusOf(message)) {
    addStatus(*status, said);
  } else if (const auto announcement = announcementOf(message)) {
    addAnnouncement(*announcement, said, message.id == kIdFromHU);
  } else if (const auto place = registeredPlaceOf(message)) {
    AppTraffic* const entry = *place < iOSAppInfoList::kEntryCount ? app(*place + 1) : app(0);
    if (entry != nullptr) {
      *entry = {};  // the place was free: what was said of it before was said of another app
      entry->registered = said;
      entry->owner = said;
    }
  }
}

void ChannelState::addStatus(const ConnectStatusNotify& status, const Said& said) {
  switch (status.notifyType) {
    case iosapp_def_::NOTIFYID_APPLAUNCH:
      if (AppTraffic* const entry = app(status.appId)) {
        ++entry->launches;
        entry->launchMethod = status.launchMethod;
        entry->lastLaunch = said;
        entry->owner = said;
      }
      return;
    case iosapp_def_::NOTIFYID_CONNECTSTATUS:
      addConnectStatus(status, said);
      break;
    case iosapp_def_::NOTIFYID_SESSIONSTATUS:
      addSession(status, said);
      break;
    case iosapp_def_::NOTIFYID_SENDRESULT:
      addResult(status, said);
      break;
    case iosapp_def_::NOTIFYID_BTHFSTATUS:
      handsFree = {said, status.btConnected, addressText(status.btAddress)};
      break;
    case iosapp_def_::NOTIFYID_PLAYBACKAPPINFO: {
      const auto* const end = std::find(status.playbackAppName, std::end(status.playbackAppName), '\0');
      playback = {said, std::string(status.playbackAppName, end)};
      break;
    }
    default:
      ++strange;
      return;
  }
  deviceSide = said;
}

// Sessions go with the link.
void ChannelState::addConnectStatus(const ConnectStatusNotify& status, const Said& said) {
  link = {said, status.deviceId, status.connectStatus, status.connectType, status.iapType};
  if (!link->isConnected()) {
    for (auto& entry : apps) {
      closeSession(entry.second);
    }
  }
}

void ChannelState::addSession(const ConnectStatusNotify& status, const Said& said) {
  if (AppTraffic* const entry = app(status.appId)) {
    entry->session = said;
    if (status.status == kSessionOpened) {
      entry->isSessionOpen = true;
    } else {
      closeSession(*entry);
    }
  }
}

void ChannelState::addResult(const ConnectStatusNotify& status, const Said& said) {
  if (AppTraffic* const entry = app(status.appId)) {
    ++entry->results;
    entry->failures += status.sendResult != iosapp_def_::SENDRESULT_SUCCESS ? 1U : 0U;
    entry->open -= entry->open != 0 ? 1U : 0U;
    entry->lastResult = said;
  }
}

void ChannelState::addAnnouncement(const iOSAppCommonDataNotify& announcement, const Said& said, bool isFromHU) {
  const std::size_t ring = isFromHU ? 0 : 1;
  ++ringMessages[ring];
  lastSlot[ring] = announcement.slotIndex;
  if (!isFromHU) {
    deviceSide = said;
  }
  AppTraffic* const entry = app(announcement.appId);
  if (entry == nullptr) {
    return;
  }
  if (isFromHU) {
    ++entry->sent;
    ++entry->open;
    entry->lastSent = said;
    entry->owner = said;
  } else {
    ++entry->received;
    entry->lastReceived = said;
  }
}

}  // namespace inspect
