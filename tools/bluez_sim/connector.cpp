#include "bluez_sim/connector.h"

#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <utility>

#include "bluez_sim/async_call.h"
#include "bluez_sim/bluez_errors.h"

namespace bluez_sim {
namespace {

constexpr std::uint64_t kAnswerTimeoutUs = 25'000'000;  // as long as bluetoothd waits
constexpr const char* kProfileInterface = "org.bluez.Profile1";

bool isListed(const Phone& phone, const std::string& uuid) {
  return std::any_of(phone.uuids.begin(), phone.uuids.end(),
                     [&](const std::string& listed) { return lowerCase(listed) == lowerCase(uuid); });
}

MessagePtr newProfileCall(sd_bus& bus, const std::string& owner, const std::string& path, const char* method,
                          const Phone& phone) {
  sd_bus_message* raw = nullptr;
  check(sd_bus_message_new_method_call(&bus, &raw, owner.c_str(), path.c_str(), kProfileInterface, method), method);
  MessagePtr message = adopt(raw);
  check(sd_bus_message_append_basic(raw, 'o', phone.path().c_str()), method);
  return message;
}

}  // namespace

Connector::Connector(Loop& loop, sd_bus& bus, World& world, const Profiles& profiles)
    : loop_(loop), bus_(bus), world_(world), profiles_(profiles) {}

Connector::~Connector() {
  while (!services_.empty()) {
    forget(&services_.front());
  }
}

void Connector::connectProfile(const Call& call, Phone& phone, const std::string& uuid) {
  if (pending_.count(phone.address) != 0) {
    throw inProgress();
  }
  const Adapter* const adapter = world_.findAdapter(phone.adapter);
  if (adapter == nullptr || !adapter->isPowered) {
    throw notReady();
  }
  const std::string expanded = expandUuid(uuid);
  if (findService(phone, expanded) != nullptr) {
    call.succeed();
    return;
  }
  const Profile* const profile = profiles_.find(expanded);
  // Services that the phone opened after they were searched are not known until the ACL link was down once.
  const bool isKnown = isListed(phone, expanded) || !(phone.isConnected && phone.hasSearched);
  if (profile == nullptr || !profile->isClient || !isKnown) {
    throw profileUnavailable();
  }
  world_.say("connect " + phone.address + " " + expanded);
  Pending& pending = pending_.emplace(phone.address, Pending{call, expanded, Watch()}).first->second;
  if (!phone.isHolding) {
    const std::string address = phone.address;
    pending.timer = loop_.after(phone.delay, [this, address] { answerFromPhone(address); });
  }
}

void Connector::releaseHeld(const Phone& phone) {
  const auto found = pending_.find(phone.address);
  if (found != pending_.end()) {
    const std::string address = phone.address;
    found->second.timer = loop_.after(0, [this, address] { answerFromPhone(address); });
  }
}

void Connector::answerFromPhone(const std::string& address) {
  Phone* const phone = world_.findPhone(address);
  const auto found = pending_.find(address);
  if (phone == nullptr || found == pending_.end()) {
    return;
  }
  const std::string uuid = found->second.uuid;
  const Profile* const profile = profiles_.find(uuid);
  const auto isOffered = [&] {
    search(*phone);
    return isListed(*phone, uuid);
  };
  DbusError error;
  if (!phone->isInRange) {
    error = connectFailed("page-timeout");
  } else if (profile == nullptr || !isOffered()) {
    error = profileUnavailable();
  } else if (!phone->refusals.empty()) {
    error = connectFailed(phone->refusals.front());
    phone->refusals.pop_front();
  } else if (phone->services.count(lowerCase(uuid)) == 0) {
    error = connectFailed("not-supported");  // listed, but its record is gone
  } else {
    openService(*phone, *profile, [this, address](bool isAccepted) {
      const DbusError refused = connectFailed("refused");
      finish(address, isAccepted ? nullptr : &refused);
    });
    return;
  }
  finish(address, &error);
}

// Once for an ACL link.
void Connector::search(Phone& phone) {
  world_.setConnected(phone, true);
  if (phone.hasSearched) {
    return;
  }
  phone.hasSearched = true;
  std::vector<std::string> changed;
  for (const std::string& service : phone.services) {
    if (!isListed(phone, service)) {
      phone.uuids.push_back(service);
      changed = {"UUIDs"};
    }
  }
  if (!phone.isResolved) {
    phone.isResolved = true;
    changed.push_back("ServicesResolved");
  }
  if (!changed.empty()) {
    world_.tellChanged(phone, changed);
  }
}

void Connector::openService(Phone& phone, const Profile& profile, Result onResult) {
  const MessagePtr message = newProfileCall(bus_, profile.owner, profile.path, "NewConnection", phone);
  const std::shared_ptr<UniqueFd> nearEnd = world_.openLink(phone, profile.uuid);
  check(sd_bus_message_append(message.get(), "h", nearEnd->get()), "handing out a link");
  append(*message, Properties());

  services_.push_back({phone.address, profile.uuid, profile.owner, profile.path, nearEnd, Watch()});
  Service* const service = &services_.back();
  service->hangUp = loop_.watch(nearEnd->get(), 0, [this, service](std::uint32_t) { forget(service); });
  const std::weak_ptr<int> alive = alive_;
  callAsync(bus_, *message, kAnswerTimeoutUs, [this, alive, nearEnd, onResult](sd_bus_message& reply) {
    if (alive.expired()) {
      return;
    }
    const bool isAccepted = sd_bus_message_is_method_error(&reply, nullptr) == 0;
    if (!isAccepted) {
      world_.say(std::string("NewConnection refused: ") + sd_bus_message_get_error(&reply)->name);
      shutdown(nearEnd->get(), SHUT_RDWR);
    }
    onResult(isAccepted);
  });
}

void Connector::finish(const std::string& address, const DbusError* error) {
  const auto found = pending_.find(address);
  if (found == pending_.end()) {
    return;  // cancelled
  }
  const Call call = found->second.call;
  pending_.erase(found);
  if (error == nullptr) {
    call.succeed();
  } else {
    world_.say("connect " + address + " failed: " + error->text);
    call.fail(*error);
  }
}

void Connector::cancel(const Phone& phone, const DbusError& error) {
  finish(phone.address, &error);
}

std::string Connector::connectFromPhone(Phone& phone, const std::string& uuid) {
  const Adapter* const adapter = world_.findAdapter(phone.adapter);
  if (adapter == nullptr || !adapter->isPowered || !phone.isInRange) {
    return "page-timeout";
  }
  if (phone.isBlocked) {
    return "the phone is blocked";
  }
  const Profile* const profile = profiles_.find(uuid);
  if (profile == nullptr) {
    return "no such service is registered";
  }
  if (!profile->isListening) {
    return "nothing listens: the profile was registered without Channel, or as a client";
  }
  world_.setConnected(phone, true);
  if (profile->needsAuthorization && !phone.isTrusted) {
    return "refused: the phone is not trusted, and there is no agent to ask";
  }
  openService(phone, *profile, [](bool) {});
  return "";
}

void Connector::disconnectProfile(const Call& call, Phone& phone, const std::string& uuid) {
  const std::string expanded = expandUuid(uuid);
  if (profiles_.find(expanded) == nullptr) {
    throw invalidArguments();
  }
  const auto pending = pending_.find(phone.address);
  if (pending != pending_.end() && pending->second.uuid == expanded) {
    cancel(phone, connectFailed("aborted-by-local"));
  }
  const Service* const service = findService(phone, expanded);
  if (service == nullptr) {
    call.succeed();
    return;
  }
  requestDisconnection(*service, [call] { call.succeed(); });
}

void Connector::disconnect(const Call& call, Phone& phone) {
  if (!phone.isConnected) {
    throw notConnected();
  }
  cancel(phone, connectFailed("canceled"));
  const std::weak_ptr<int> alive = alive_;
  const auto unanswered = std::make_shared<unsigned int>(1);
  const std::string address = phone.address;
  const auto onAnswer = [this, alive, unanswered, address, call] {
    if (--*unanswered > 0 || alive.expired()) {
      return;
    }
    if (Phone* const left = world_.findPhone(address)) {
      world_.setConnected(*left, false);
    }
    call.succeed();
  };
  for (const Service& service : services_) {
    if (service.address == phone.address) {
      ++*unanswered;
      requestDisconnection(service, onAnswer);
    }
  }
  onAnswer();
}

// The owner is to end the link; after its answer bluetoothd does.
void Connector::requestDisconnection(const Service& service, std::function<void()> onAnswer) {
  const Phone* const phone = world_.findPhone(service.address);
  if (phone == nullptr) {
    onAnswer();
    return;
  }
  const MessagePtr message = newProfileCall(bus_, service.owner, service.path, "RequestDisconnection", *phone);
  const std::shared_ptr<UniqueFd> nearEnd = service.nearEnd;
  callAsync(bus_, *message, kAnswerTimeoutUs, [nearEnd, onAnswer](sd_bus_message&) {
    if (*nearEnd) {
      shutdown(nearEnd->get(), SHUT_RDWR);
    }
    onAnswer();
  });
}

Connector::Service* Connector::findService(const Phone& phone, const std::string& uuid) {
  const auto found = std::find_if(services_.begin(), services_.end(), [&](const Service& service) {
    return service.address == phone.address && service.uuid == uuid;
  });
  return found == services_.end() ? nullptr : &*found;
}

// The watch ends before its descriptor is closed: the head unit's duplicate would keep it going.
void Connector::forget(const Service* service) {
  const std::shared_ptr<UniqueFd> nearEnd = service->nearEnd;
  services_.remove_if([service](const Service& other) { return &other == service; });
  nearEnd->reset();
}

void Connector::dropOwner(const std::string& owner) {
  for (auto service = services_.begin(); service != services_.end();) {
    const auto next = std::next(service);
    if (service->owner == owner) {
      forget(&*service);
    }
    service = next;
  }
}

}  // namespace bluez_sim
