#include "bluez_sim/world.h"

#include <errno.h>
#include <sys/socket.h>

#include <algorithm>
#include <system_error>
#include <utility>

namespace bluez_sim {

std::string lowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return text;
}

std::string Phone::path() const {
  std::string node = "/dev_" + address;
  std::replace(node.begin(), node.end(), ':', '_');
  return "/org/bluez/" + adapter + node;
}

World::World(Loop& loop, Say say, int sendBuffer) : loop_(loop), say_(std::move(say)), sendBuffer_(sendBuffer) {}

void World::removeListener(WorldListener* listener) {
  listeners_.erase(std::remove(listeners_.begin(), listeners_.end(), listener), listeners_.end());
}

Adapter* World::findAdapter(const std::string& name) {
  const auto found = adapters_.find(name);
  return found == adapters_.end() ? nullptr : &found->second;
}

void World::addAdapter(const Adapter& adapter) {
  Adapter& added = adapters_[adapter.name] = adapter;
  tell(&WorldListener::onAdapterAdded, added);
}

void World::removeAdapter(const std::string& name) {
  std::vector<Phone*> itsPhones;
  for (auto& [address, phone] : phones_) {
    if (phone.adapter == name) {
      itsPhones.push_back(&phone);
    }
  }
  for (Phone* const phone : itsPhones) {
    removePhone(*phone);
  }
  tell(&WorldListener::onAdapterRemoved, adapters_.at(name));
  adapters_.erase(name);
}

void World::setPowered(Adapter& adapter, bool isPowered) {
  if (adapter.isPowered == isPowered) {
    return;
  }
  for (auto& [address, phone] : phones_) {
    if (phone.adapter == adapter.name) {
      setConnected(phone, false);
    }
  }
  adapter.isPowered = isPowered;
  tell(&WorldListener::onAdapterChanged, adapter, std::vector<std::string>{"Powered"});
}

Phone* World::findPhone(const std::string& address) {
  const auto found = phones_.find(address);
  return found == phones_.end() ? nullptr : &found->second;
}

Phone* World::findPhoneByPath(const std::string& path) {
  const auto found =
      std::find_if(phones_.begin(), phones_.end(), [&](const auto& entry) { return entry.second.path() == path; });
  return found == phones_.end() ? nullptr : &found->second;
}

Phone& World::addPhone(const Phone& phone) {
  Phone& added = phones_[phone.address] = phone;
  tell(&WorldListener::onPhoneAdded, added);
  return added;
}

void World::removePhone(Phone& phone) {
  setConnected(phone, false);
  tell(&WorldListener::onPhoneRemoved, phone);
  phones_.erase(std::string(phone.address));
}

void World::tellChanged(const Phone& phone, const std::vector<std::string>& properties) {
  tell(&WorldListener::onPhoneChanged, phone, properties);
}

void World::setConnected(Phone& phone, bool isConnected) {
  if (!isConnected) {
    putHandsFree(phone, false);
    dropLinks(phone, "", Drop::kReset);
  }
  if (phone.isConnected == isConnected) {
    return;
  }
  phone.isConnected = isConnected;
  phone.hasSearched = false;
  say("phone " + phone.address + " " + (isConnected ? "connected" : "disconnected"));
  if (phone.isResolved) {
    tellChanged(phone, {"Connected", "ServicesResolved"});
  } else {
    tellChanged(phone, {"Connected"});
  }
}

void World::setHandsFree(Phone& phone, bool isUp) {
  if (isUp) {
    setConnected(phone, true);
  }
  putHandsFree(phone, isUp);
}

void World::putHandsFree(Phone& phone, bool isUp) {
  if (phone.isHandsFreeUp == isUp) {
    return;
  }
  phone.isHandsFreeUp = isUp;
  say("hands-free " + phone.address + (isUp ? " up" : " down"));
  tell(&WorldListener::onHandsFreeChanged, phone);
}

std::shared_ptr<UniqueFd> World::openLink(Phone& phone, const std::string& uuid) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends) != 0) {
    throw std::system_error(errno, std::generic_category(), "a link");
  }
  auto nearEnd = std::make_shared<UniqueFd>(ends[0]);
  UniqueFd farEnd(ends[1]);
  for (const int end : ends) {  // as little as RFCOMM takes
    setsockopt(end, SOL_SOCKET, SO_SNDBUF, &sendBuffer_, sizeof sendBuffer_);
  }
  std::shared_ptr<Traffic>& traffic = phone.traffic[uuid];
  if (traffic == nullptr) {
    traffic = std::make_shared<Traffic>();
  }
  links_.push_back({&phone, uuid, nearEnd, nullptr});
  Link* const link = &links_.back();
  link->farEnd = std::make_unique<FarEnd>(loop_, std::move(farEnd), phone.mode, traffic,
                                          [this, link] { endLink(link, "head unit"); });
  say("link " + phone.address + " " + uuid + " up");
  link->farEnd->source(phone.sourceBytes);
  return nearEnd;
}

unsigned int World::dropLinks(const Phone& phone, const std::string& uuid, Drop how) {
  unsigned int count = 0;
  for (Link* const link : linksOf(phone, uuid)) {
    if (how == Drop::kReset && link->nearEnd != nullptr && *link->nearEnd) {
      // A phone that goes without having read everything: then the kernel resets the link.
      const char unread = 0;
      send(link->nearEnd->get(), &unread, 1, MSG_DONTWAIT | MSG_NOSIGNAL);
    }
    endLink(link, "phone");
    ++count;
  }
  return count;
}

std::vector<Link*> World::linksOf(const Phone& phone, const std::string& uuid) {
  std::vector<Link*> found;
  for (Link& link : links_) {
    if (link.phone == &phone && (uuid.empty() || link.uuid == uuid)) {
      found.push_back(&link);
    }
  }
  return found;
}

void World::setMode(Phone& phone, Mode mode) {
  phone.mode = mode;
  for (Link* const link : linksOf(phone)) {
    link->farEnd->setMode(mode);
  }
}

void World::endLink(const Link* link, const std::string& who) {
  const std::string line = "link " + link->phone->address + " " + link->uuid + " down by " + who;
  links_.remove_if([link](const Link& other) { return &other == link; });
  say(line);
}

}  // namespace bluez_sim
