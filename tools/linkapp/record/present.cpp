#include "record/present.h"

#include <algorithm>
#include <variant>

namespace record {
namespace {

// Those that have ended go, the oldest first. One that lives would be told anew with each of its messages, and its end
// never; where there are more than anybody has, it goes too.
constexpr std::size_t kMostProcesses = 64;
constexpr std::size_t kMostLiving = 1024;
constexpr std::size_t kMostReceivers = 64;

}  // namespace

void Present::add(const Entry& entry) {
  if (const auto* const process = std::get_if<ProcessSeen>(&entry)) {
    processes_[process->pid] = *process;
    forgetOldest();
  } else if (const auto* const app = std::get_if<AppSeen>(&entry)) {
    apps_[app->place] = *app;
  } else if (const auto* const receiver = std::get_if<ReceiverSeen>(&entry)) {
    if (receiver->isGone) {
      receivers_.erase(receiver->pid);
    } else if (receivers_.size() < kMostReceivers || receivers_.count(receiver->pid) != 0) {
      receivers_[receiver->pid] = *receiver;
    }
  } else if (const auto* const message = std::get_if<MessageSeen>(&entry)) {
    addMessage(*message);
  } else if (const auto* const gap = std::get_if<Gap>(&entry)) {
    if (gap->kind == Gap::Kind::kNewLog) {
      said_.clear();  // sequence numbers begin anew
    }
  }
}

void Present::forgetOldest() {
  while (processes_.size() > kMostProcesses) {
    auto oldest = processes_.begin();
    for (auto process = processes_.begin(); process != processes_.end(); ++process) {
      const bool isMoreGone = process->second.isGone() && !oldest->second.isGone();
      const bool isAsGone = process->second.isGone() == oldest->second.isGone();
      if (isMoreGone || (isAsGone && process->second.time < oldest->second.time)) {
        oldest = process;
      }
    }
    if (!oldest->second.isGone() && processes_.size() <= kMostLiving) {
      return;
    }
    processes_.erase(oldest);
  }
}

void Present::addMessage(const MessageSeen& seen) {
  if (const auto place = registeredPlaceOf(seen.message)) {
    forgetApp(*place + 1);
    return;
  }
  const auto status = connectStatusOf(seen.message);
  if (!status || status->appId > iOSAppInfoList::kEntryCount ||
      status->notifyType > iosapp_def_::NOTIFYID_PLAYBACKAPPINFO) {
    return;
  }
  const std::uint32_t kind = status->notifyType;
  if (kind == iosapp_def_::NOTIFYID_SENDRESULT) {
    return;
  }
  if (kind == iosapp_def_::NOTIFYID_CONNECTSTATUS && status->connectStatus != 1) {
    for (auto one = said_.begin(); one != said_.end();) {
      const bool isOver = one->first.first == iosapp_def_::NOTIFYID_SESSIONSTATUS ||
                          one->first.first == iosapp_def_::NOTIFYID_APPLAUNCH;
      one = isOver ? said_.erase(one) : std::next(one);
    }
  }
  const bool isAboutApp = kind == iosapp_def_::NOTIFYID_SESSIONSTATUS || kind == iosapp_def_::NOTIFYID_APPLAUNCH;
  MessageSeen& kept = said_[{kind, isAboutApp ? status->appId : 0}];
  kept = seen;
  kept.isBefore = true;
}

void Present::forgetApp(std::uint32_t appId) {
  said_.erase({iosapp_def_::NOTIFYID_SESSIONSTATUS, appId});
  said_.erase({iosapp_def_::NOTIFYID_APPLAUNCH, appId});
}

std::vector<Entry> Present::entries() const {
  std::vector<Entry> all;
  for (const bool isGone : {false, true}) {
    for (const auto& entry : processes_) {
      if (entry.second.isGone() == isGone) {
        all.emplace_back(entry.second);
      }
    }
  }
  for (const auto& entry : apps_) {
    all.emplace_back(entry.second);
  }
  for (const auto& entry : receivers_) {
    all.emplace_back(entry.second);
  }
  std::vector<MessageSeen> said;
  for (const auto& entry : said_) {
    said.push_back(entry.second);
  }
  std::sort(said.begin(), said.end(),
            [](const auto& a, const auto& b) { return a.message.sequence < b.message.sequence; });
  all.insert(all.end(), said.begin(), said.end());
  return all;
}

}  // namespace record
