// The operations of VQSBtApps and what becomes of them: services, links, messages, and their notices 3, 4 and 5.
//
// Notices carry a UUID as the application wrote it last; everything inside uses the canonical form.
// Threads: one at a time. No operation waits for a remote device.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/bluez/auto_connect.h"
#include "platform/bluez/connector.h"
#include "platform/bluez/device_book.h"
#include "platform/bluez/outbox.h"
#include "platform/bluez/profiles.h"
#include "platform/bluez/spp_links.h"

namespace vqbluez {

class SppService final : private ProfileListener {
 public:
  SppService(const BluezObjects& bluez, DeviceBook& devices, Outbox& outbox);

  // As in VQSBtApps.
  bool isRegisteredUuid(const std::string& uuid) const;
  bool registerUuid(const std::string& uuid);
  bool unregisterUuid(const std::string& uuid);
  bool registerWaitUuid(const std::vector<std::string>& uuids);
  bool connect(std::uint8_t device, const std::string& uuid);
  bool disconnect(std::uint8_t device, const std::string& uuid);
  bool startAutoConnect(std::uint8_t device, const std::string& uuid);
  bool stopAutoConnect(std::uint8_t device, const std::string& uuid);
  bool sendData(std::uint8_t device, const std::string& uuid, const unsigned char* data, std::size_t size);

  // Ends all links, and takes all services back.
  void endAll();

  void busStarted(Bus& bus);
  void busGone();
  void bluezReady();
  void bluezGone();
  // The device, or with none any device, may be there now.
  void deviceMayBeThere(std::optional<std::uint8_t> device);

  const SppLinks& links() const { return links_; }
  // What poll has found on a link's socket.
  void serve(std::uint64_t linkId, short found);

  void tick(Time now);
  std::optional<Time> nextDue() const;

 private:
  bool onNewConnection(const std::string& uuid, const std::string& device, platform::Descriptor socket) override;
  void onDisconnection(const std::string& uuid, const std::string& device) override;
  void onConnectFailed(const LinkKey& key, const std::string& why);

  std::optional<LinkKey> target(std::uint8_t device, const std::string& uuid, const char* operation);
  void tryNow(const LinkKey& key, Time now);
  void receive(SppLink& link);
  void transmit(SppLink& link);
  void closeLink(const LinkKey& key);
  void tellNewLinks();
  void tellState(const LinkKey& key, bool isUp);
  void tellResults(const LinkKey& key, unsigned int count, bool isSent);
  std::string spelling(const std::string& canonical) const;

  const BluezObjects& bluez_;
  DeviceBook& devices_;
  Outbox& outbox_;
  Bus* bus_ = nullptr;
  Profiles profiles_;
  Connector connector_;
  AutoConnect auto_;
  SppLinks links_;
  std::set<LinkKey> asked_;                      // connect() was accepted, its outcome was not told yet
  std::map<std::string, std::string> spelling_;  // canonical, as the application wrote it
};

}  // namespace vqbluez
