#include "platform/bluez/connector.h"

#include <algorithm>

namespace vqbluez {
namespace {

constexpr const char* kService = "org.bluez";
constexpr const char* kDevice = "org.bluez.Device1";
constexpr std::chrono::seconds kAnswerLimit{60};  // paging, pairing questions and a service search lie in between
constexpr std::chrono::milliseconds kRest{1500};
constexpr unsigned int kMostRests = 10;

bool isBusy(const Reply& reply) {
  return reply.errorName == "org.bluez.Error.InProgress" || reply.errorText == "br-connection-busy";
}

}  // namespace

void Connector::request(const LinkKey& link, const std::string& device) {
  const auto [place, isNew] = tries_.try_emplace(link);
  Try& attempt = place->second;
  if (isNew) {
    attempt.device = device;
    beginNext(device);
  } else if (attempt.isCancelled || attempt.isUp) {
    attempt.isWantedAgain = true;  // BlueZ still has to answer for the former link
  }
}

bool Connector::isPending(const LinkKey& link) const {
  const auto found = tries_.find(link);
  return found != tries_.end() && found->second.isPending();
}

bool Connector::isCancelled(const LinkKey& link) const {
  const auto found = tries_.find(link);
  return found != tries_.end() && found->second.isCancelled;
}

bool Connector::cancel(const LinkKey& link) {
  const auto found = tries_.find(link);
  if (found == tries_.end() || !found->second.isPending()) {
    return false;
  }
  Try& attempt = found->second;
  if (attempt.state != State::kCalling) {
    tries_.erase(found);
    return true;
  }
  attempt.isWantedAgain = false;
  if (!attempt.isCancelled && !attempt.isUp) {
    attempt.isCancelled = true;
    const Message message =
        bus_ == nullptr ? nullptr : bus_->newCall(kService, attempt.device, kDevice, "DisconnectProfile");
    if (message != nullptr) {
      sd_bus_message_append(message.get(), "s", link.uuid.c_str());
      bus_->sendOnly(message);
    }
  }
  return true;
}

void Connector::cancelAll() {
  for (auto attempt = tries_.begin(); attempt != tries_.end();) {
    cancel((attempt++)->first);
  }
}

void Connector::linkUp(const LinkKey& link) {
  const auto found = tries_.find(link);
  if (found == tries_.end()) {
    return;
  }
  if (found->second.state == State::kCalling) {
    found->second.isUp = true;
    found->second.isWantedAgain = false;
  } else {
    tries_.erase(found);  // the device was faster
  }
}

void Connector::beginNext(const std::string& device) {
  auto next = tries_.end();
  for (auto attempt = tries_.begin(); attempt != tries_.end(); ++attempt) {
    if (attempt->second.device != device) {
      continue;
    }
    if (attempt->second.state == State::kCalling) {
      return;
    }
    if (attempt->second.state == State::kQueued && next == tries_.end()) {
      next = attempt;
    }
  }
  if (next != tries_.end()) {
    call(next->first, next->second);
  }
}

void Connector::call(const LinkKey& link, Try& attempt) {
  attempt.state = State::kCalling;
  attempt.serial = ++serial_;
  const Message message =
      bus_ == nullptr ? nullptr : bus_->newCall(kService, attempt.device, kDevice, "ConnectProfile");
  if (message == nullptr) {
    return;  // the bus is gone: failAll comes
  }
  sd_bus_message_append(message.get(), "s", link.uuid.c_str());
  const unsigned int serial = attempt.serial;
  bus_->send(message, kAnswerLimit, [this, link, serial](const Reply& reply) { onAnswer(link, serial, reply); });
}

void Connector::onAnswer(const LinkKey& link, unsigned int serial, const Reply& reply) {
  const auto found = tries_.find(link);
  if (found == tries_.end() || found->second.serial != serial || found->second.state != State::kCalling) {
    return;
  }
  Try& attempt = found->second;
  const std::string device = attempt.device;
  if (attempt.isWantedAgain) {
    attempt = Try{};
    attempt.device = device;
  } else if (attempt.isUp || attempt.isCancelled) {
    tries_.erase(found);
  } else if ((reply.isOk() || isBusy(reply)) && attempt.rests < kMostRests) {
    ++attempt.rests;
    attempt.state = State::kResting;
    attempt.restsUntil = Clock::now() + kRest;
  } else {
    fail(link, reply.isOk() ? "BlueZ says it is up, but there is no link" : reply.text());
  }
  beginNext(device);
}

void Connector::fail(const LinkKey& link, const std::string& why) {
  // It may lie in what is erased.
  const LinkKey failed = link;  // NOLINT(performance-unnecessary-copy-initialization)
  tries_.erase(failed);
  failure_(failed, why);
}

void Connector::failAll(const std::string& why) {
  std::map<LinkKey, Try> tries;
  tries.swap(tries_);
  for (const auto& [link, attempt] : tries) {
    if (attempt.isPending()) {
      failure_(link, why);
    }
  }
}

void Connector::tick(Time now) {
  std::vector<std::string> rested;
  for (auto& [link, attempt] : tries_) {
    if (attempt.state == State::kResting && attempt.restsUntil <= now) {
      attempt.state = State::kQueued;
      rested.push_back(attempt.device);
    }
  }
  for (const std::string& device : rested) {
    beginNext(device);
  }
}

std::optional<Time> Connector::nextDue() const {
  std::optional<Time> due;
  for (const auto& [link, attempt] : tries_) {
    if (attempt.state == State::kResting && (!due || attempt.restsUntil < *due)) {
      due = attempt.restsUntil;
    }
  }
  return due;
}

}  // namespace vqbluez
