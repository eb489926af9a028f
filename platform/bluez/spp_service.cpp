#include "platform/bluez/spp_service.h"

#include <errno.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "platform/bluez/log.h"
#include "platform/bluez/uuid.h"

namespace vqbluez {
namespace {

// A UUID that is none is a mistake of the application's, worth a line each time.
std::optional<std::string> canonicalOrLog(const std::string& uuid, const char* operation) {
  std::optional<std::string> canonical = canonicalUuid(uuid);
  if (!canonical) {
    logLine("%s: \"%s\" is no UUID", operation, uuid.c_str());
  }
  return canonical;
}

}  // namespace

SppService::SppService(const BluezObjects& bluez, DeviceBook& devices, Outbox& outbox)
    : bluez_(bluez),
      devices_(devices),
      outbox_(outbox),
      profiles_(bluez, *this),
      connector_([this](const LinkKey& key, const std::string& why) { onConnectFailed(key, why); }) {}

std::string SppService::spelling(const std::string& canonical) const {
  const auto found = spelling_.find(canonical);
  return found == spelling_.end() ? canonical : found->second;
}

bool SppService::isRegisteredUuid(const std::string& uuid) const {
  const auto canonical = canonicalUuid(uuid);
  return canonical && profiles_.has(*canonical);
}

bool SppService::registerUuid(const std::string& uuid) {
  const auto canonical = canonicalOrLog(uuid, "registerUuid");
  if (!bluez_.isReady() || !canonical || !profiles_.add(*canonical)) {
    return false;
  }
  spelling_[*canonical] = uuid;
  return true;
}

bool SppService::unregisterUuid(const std::string& uuid) {
  const auto canonical = canonicalUuid(uuid);
  return canonical && profiles_.remove(*canonical);
}

// Where one is refused, those that were new are taken back: false changes nothing.
bool SppService::registerWaitUuid(const std::vector<std::string>& uuids) {
  if (!bluez_.isReady()) {
    return false;
  }
  std::vector<std::string> added;
  for (const std::string& uuid : uuids) {
    const bool wasThere = isRegisteredUuid(uuid);
    if (!registerUuid(uuid)) {
      std::for_each(added.begin(), added.end(), [this](const std::string& other) { unregisterUuid(other); });
      return false;
    }
    if (!wasThere) {
      added.push_back(uuid);
    }
  }
  return true;
}

// The link that connecting is about; none, with a line in the log, where the device or the service cannot be used.
std::optional<LinkKey> SppService::target(std::uint8_t device, const std::string& uuid, const char* operation) {
  const auto canonical = canonicalOrLog(uuid, operation);
  if (!bluez_.isReady() || !canonical) {
    return std::nullopt;
  }
  if (!profiles_.has(*canonical)) {
    logLine("%s: the service %s is not registered", operation, uuid.c_str());
    return std::nullopt;
  }
  if (devices_.device(device) == nullptr) {
    logLine("%s: there is no device %u", operation, unsigned{device});
    return std::nullopt;
  }
  spelling_[*canonical] = uuid;
  return LinkKey{device, *canonical};
}

bool SppService::connect(std::uint8_t device, const std::string& uuid) {
  const auto key = target(device, uuid, "connectSpp");
  if (!key) {
    return false;
  }
  const Device& remote = *devices_.device(device);
  if (!devices_.isPowered(remote)) {
    logLine("connectSpp: the Bluetooth adapter is off");
    return false;
  }
  if (links_.find(*key) != nullptr) {
    tellState(*key, true);
    return true;
  }
  asked_.insert(*key);
  connector_.request(*key, remote.path);
  return true;
}

// Also after the service was taken back: BlueZ would refuse then, and leave the link up.
bool SppService::disconnect(std::uint8_t device, const std::string& uuid) {
  const auto canonical = canonicalUuid(uuid);
  if (!canonical) {
    return false;
  }
  const LinkKey key{device, *canonical};
  const SppLink* const link = links_.find(key);
  if (link != nullptr) {
    const Message courtesy =
        bus_ == nullptr ? nullptr : bus_->newCall("org.bluez", link->device, "org.bluez.Device1", "DisconnectProfile");
    closeLink(key);
    if (courtesy != nullptr && profiles_.has(*canonical) && bluez_.isReady()) {
      sd_bus_message_append(courtesy.get(), "s", canonical->c_str());
      bus_->sendOnly(courtesy);
    }
    return true;
  }
  const bool wasPending = connector_.cancel(key);
  asked_.erase(key);
  if (wasPending) {
    auto_.failed(key, Clock::now());
  }
  if (!wasPending && (!bluez_.isReady() || !devices_.isKnown(device))) {
    return false;
  }
  tellState(key, false);
  return true;
}

bool SppService::startAutoConnect(std::uint8_t device, const std::string& uuid) {
  const auto key = target(device, uuid, "startAutoConnectSpp");
  if (!key) {
    return false;
  }
  if (auto_.start(*key, Clock::now()) && links_.find(*key) != nullptr) {
    auto_.linkUp(*key);
  }
  return true;
}

bool SppService::stopAutoConnect(std::uint8_t device, const std::string& uuid) {
  const auto canonical = canonicalUuid(uuid);
  const bool wasWanted = canonical && auto_.stop({device, *canonical});
  return disconnect(device, uuid) || wasWanted;
}

bool SppService::sendData(std::uint8_t device, const std::string& uuid, const unsigned char* data, std::size_t size) {
  const auto canonical = canonicalUuid(uuid);
  SppLink* const link = canonical ? links_.find({device, *canonical}) : nullptr;
  return link != nullptr && data != nullptr && size != 0 && link->queue.push(data, size);
}

void SppService::endAll() {
  auto_.clear();
  connector_.cancelAll();
  asked_.clear();
  while (!links_.all().empty()) {
    closeLink(LinkKey(links_.all().front()->key));
  }
  profiles_.removeAll();
  spelling_.clear();
}

void SppService::busStarted(Bus& bus) {
  bus_ = &bus;
  profiles_.start(bus);
  connector_.start(bus);
}

void SppService::busGone() {
  bus_ = nullptr;
  profiles_.stop();
  connector_.stop();
  connector_.failAll("the bus is gone");
}

void SppService::bluezReady() {
  profiles_.registerAgain();
  auto_.wakeAll(Clock::now());
}

// Links stay: their sockets outlive even a killed BlueZ.
void SppService::bluezGone() {
  connector_.failAll("BlueZ is gone");
}

void SppService::deviceMayBeThere(std::optional<std::uint8_t> device) {
  if (device) {
    auto_.wake(*device, Clock::now());
  } else {
    auto_.wakeAll(Clock::now());
  }
}

bool SppService::onNewConnection(const std::string& uuid, const std::string& device, platform::Descriptor socket) {
  const auto number = devices_.numberForLink(device);
  if (!number) {
    logLine("a link of an unknown device is refused: %s", device.c_str());
    return false;
  }
  const LinkKey key{*number, uuid};
  if (connector_.isCancelled(key)) {
    return false;
  }
  devices_.linkOpened(*number);  // first: a device that is not paired is forgotten with its last link
  closeLink(key);                // BlueZ lets a device that lost its link come again before it notices
  links_.open(key, device, std::move(socket));
  asked_.erase(key);
  connector_.linkUp(key);
  auto_.linkUp(key);
  tellNewLinks();
  return true;
}

void SppService::onDisconnection(const std::string& uuid, const std::string& device) {
  const auto number = devices_.numberOf(device);
  if (number) {
    closeLink({*number, uuid});
  }
}

void SppService::onConnectFailed(const LinkKey& key, const std::string& why) {
  logLine("device %u, service %s: no link: %s", unsigned{key.device}, key.uuid.c_str(), why.c_str());
  auto_.failed(key, Clock::now());
  if (asked_.erase(key) != 0) {
    tellState(key, false);
  }
}

void SppService::serve(std::uint64_t linkId, short found) {
  SppLink* link = links_.find(linkId);
  if (link != nullptr && (found & (POLLIN | POLLHUP | POLLERR | POLLNVAL)) != 0) {
    receive(*link);
    link = links_.find(linkId);
  }
  if (link != nullptr && (found & POLLOUT) != 0) {
    transmit(*link);
  }
}

void SppService::receive(SppLink& link) {
  unsigned char buffer[16384];
  const ssize_t count = read(link.socket.get(), buffer, sizeof buffer);
  if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
    return;
  }
  if (count <= 0) {
    closeLink(LinkKey(link.key));
    return;
  }
  VQSBtAppsNtf::SppReceivedData record;
  record.deviceId = link.key.device;
  record.uuid = spelling(link.key.uuid);
  record.data = VQBinary(buffer, static_cast<unsigned int>(count));
  outbox_.put(record);
}

void SppService::transmit(SppLink& link) {
  const int socket = link.socket.get();
  const auto progress = link.queue.writeTo([socket](const unsigned char* data, std::size_t size) {
    return send(socket, data, size, MSG_NOSIGNAL | MSG_DONTWAIT);
  });
  tellResults(link.key, progress.sent, true);
  if (progress.error != 0) {
    closeLink(LinkKey(link.key));
  }
}

void SppService::closeLink(const LinkKey& key) {
  const std::unique_ptr<SppLink> link = links_.close(key);
  if (link == nullptr) {
    return;
  }
  tellResults(key, link->queue.drop(), false);
  tellState(key, false);
  auto_.linkLost(key, Clock::now());
  devices_.linkClosed(key.device);
}

// The product drops news of a link whose device it has not seen in the device list, so they wait for each other.
void SppService::tellNewLinks() {
  for (const auto& link : links_.all()) {
    if (!link->isTold && devices_.isListed(link->key.device)) {
      link->isTold = true;
      tellState(link->key, true);
    }
  }
}

void SppService::tellState(const LinkKey& key, bool isUp) {
  VQSBtAppsNtf::SppConnectionState record;
  record.deviceId = key.device;
  record.uuid = spelling(key.uuid);
  record.state = isUp ? 1 : 0;
  outbox_.put(record);
}

void SppService::tellResults(const LinkKey& key, unsigned int count, bool isSent) {
  for (unsigned int i = 0; i < count; ++i) {
    VQSBtAppsNtf::SppDataSendResult record;
    record.deviceId = key.device;
    record.uuid = spelling(key.uuid);
    record.result = isSent;
    outbox_.put(record);
  }
}

void SppService::tryNow(const LinkKey& key, Time now) {
  const Device* const device = devices_.device(key.device);
  if (links_.find(key) != nullptr) {
    auto_.linkUp(key);
  } else if (bluez_.isReady() && profiles_.has(key.uuid) && device != nullptr && devices_.isPowered(*device)) {
    connector_.request(key, device->path);
  } else {
    auto_.failed(key, now);
  }
}

void SppService::tick(Time now) {
  tellNewLinks();
  connector_.tick(now);
  for (const LinkKey& key : auto_.takeDue(now)) {
    tryNow(key, now);
  }
}

std::optional<Time> SppService::nextDue() const {
  const auto resting = connector_.nextDue();
  const auto wanted = auto_.nextDue();
  return !resting || (wanted && *wanted < *resting) ? wanted : resting;
}

}  // namespace vqbluez
