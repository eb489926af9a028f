// The device side of the channel: joins an accessory-protocol stack to an iOSAppCommonServer, and tells applications
// that come late what they have missed.
//
// The channel keeps no state for late joiners, so this class repeats it:
//   - every connection message is followed by the hands-free message, since the former reports a device as merely
//     connected even to an application whose session is open, and the latter sets that right without changing any list;
//   - when an application has registered: connection, hands-free link and playing app once more, but no sessions; and
//     the hands-free link again after 0.2, 1 and 5 seconds, for listeners that are set late;
//   - at its own start: disconnected, so that sessions left by a predecessor go.
//
// Threads: one, the errands' (see accessory_stack.h); what the channel delivers on its own thread is posted there.
// Lifetime: destroy it before the errands and the stack. One per process at a time: the server wants exactly one
// observer.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "LinkAppCommon/iOSAppCommonServer.h"
#include "VQFramework/Observer/VQObserver.h"
#include "loop/errands.h"
#include "phone/accessory_stack.h"
#include "phone/event.h"

namespace phone {

class DeviceSide final : public AccessoryListener {
 public:
  DeviceSide(loop::Errands& errands, AccessoryStack& stack, EventSink sink);
  ~DeviceSide() override;
  DeviceSide(const DeviceSide&) = delete;
  DeviceSide& operator=(const DeviceSide&) = delete;

  // Tells everybody the present state, as it is told when an application registers.
  void announce();

  const std::vector<HeadUnitApp>& apps() const { return apps_; }

  void onConnected(Link link, Generation generation) override;
  void onDisconnected() override;
  void onSessionOpened(unsigned int id, std::uint16_t session) override;
  void onSessionClosed(std::uint16_t session) override;
  void onData(std::uint16_t session, const std::vector<std::uint8_t>& data) override;
  void onSendOutcome(std::uint16_t session, SendOutcome outcome) override;
  void onHandsFree(bool isUp, const Address& address) override;
  void onPlaying(const std::string& app) override;

 private:
  // On the channel's delivery thread.
  unsigned int onServerUpdate(unsigned int id, void* data, unsigned int size);
  unsigned int onRegistryUpdate(unsigned int id, void* data, unsigned int size);
  void postLaunch(const iOSAppLaunchRequest& request);
  void postData(const iosapp_def_::CommData& received);
  void post(loop::Task task);

  void start();
  void readApps();
  void takeLaunch(const LaunchRequest& request);
  void takeData(std::uint16_t session, std::vector<std::uint8_t> data);
  void announceConnection();
  void announceHandsFree();
  void repeatHandsFree();
  bool isOpen(std::uint16_t session) const;

  loop::Errands& errands_;
  AccessoryStack& stack_;
  const EventSink sink_;
  // Tasks that were posted and not run yet find out by this whether the device side is still there.
  const std::shared_ptr<bool> isAlive_ = std::make_shared<bool>(true);

  bool isConnected_ = false;
  Link link_ = Link::kUsb;
  Generation generation_ = Generation::kIap2;
  bool isHandsFreeUp_ = false;
  Address handsFreeAddress_ = {};
  std::string playing_;
  std::vector<std::uint16_t> sessions_;
  std::vector<HeadUnitApp> apps_;
  std::vector<loop::TimerId> repeats_;

  iOSAppCommonServer server_;
  iOSAppCommonUtil* const registry_;
  VQObserver<DeviceSide> serverObserver_;
  VQObserver<DeviceSide> registryObserver_;
};

}  // namespace phone
