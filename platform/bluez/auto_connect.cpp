#include "platform/bluez/auto_connect.h"

#include <algorithm>

namespace vqbluez {

bool AutoConnect::start(const LinkKey& link, Time now) {
  const auto [place, isNew] = wanted_.try_emplace(link);
  if (isNew) {
    place->second.due = now;
  }
  return isNew;
}

bool AutoConnect::stop(const LinkKey& link) {
  return wanted_.erase(link) != 0;
}

void AutoConnect::hurry(Wanted& wanted, Time now) {
  if (wanted.due) {
    wanted.due = std::min(*wanted.due, std::max(now, wanted.notBefore));
  }
}

void AutoConnect::wake(std::uint8_t device, Time now) {
  for (auto& [link, wanted] : wanted_) {
    if (link.device == device) {
      hurry(wanted, now);
    }
  }
}

void AutoConnect::wakeAll(Time now) {
  for (auto& [link, wanted] : wanted_) {
    hurry(wanted, now);
  }
}

void AutoConnect::linkUp(const LinkKey& link) {
  const auto found = wanted_.find(link);
  if (found != wanted_.end()) {
    found->second.due.reset();
    found->second.pause.reset();
  }
}

void AutoConnect::linkLost(const LinkKey& link, Time now) {
  failed(link, now);
}

void AutoConnect::failed(const LinkKey& link, Time now) {
  const auto found = wanted_.find(link);
  if (found != wanted_.end()) {
    found->second.notBefore = now + BackOff::kFirst;
    found->second.due = now + found->second.pause.next();
  }
}

std::vector<LinkKey> AutoConnect::takeDue(Time now) {
  std::vector<LinkKey> links;
  for (auto& [link, wanted] : wanted_) {
    if (wanted.due && *wanted.due <= now) {
      wanted.due.reset();
      links.push_back(link);
    }
  }
  return links;
}

std::optional<Time> AutoConnect::nextDue() const {
  std::optional<Time> first;
  for (const auto& [link, wanted] : wanted_) {
    if (wanted.due && (!first || *wanted.due < *first)) {
      first = wanted.due;
    }
  }
  return first;
}

}  // namespace vqbluez
