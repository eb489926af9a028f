// Everything behind both exported classes: the bus, BlueZ, the links, the hands-free source, and their notices.
//
// A bus that is not there or goes is tried again, with pauses up to a minute. Its links stay open meanwhile.
// Threads: one at a time, so each user holds one lock around it. It calls no observer: notices are taken out of the
// outbox by whoever runs the loop.
#pragma once

#include <poll.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/bluez/back_off.h"
#include "platform/bluez/bluez_objects.h"
#include "platform/bluez/bus.h"
#include "platform/bluez/device_book.h"
#include "platform/bluez/hands_free.h"
#include "platform/bluez/hfp_source.h"
#include "platform/bluez/outbox.h"
#include "platform/bluez/spp_service.h"

namespace vqbluez {

class Bluetooth final : private BluezListener {
 public:
  explicit Bluetooth(std::unique_ptr<HfpSource> handsFreeSource);
  ~Bluetooth() override;
  Bluetooth(const Bluetooth&) = delete;
  Bluetooth& operator=(const Bluetooth&) = delete;

  // Opens the bus and waits a moment for BlueZ to tell its objects, so that the first operation finds them.
  void start();
  // Ends all links and the connection to the bus.
  void stop();

  bool isReady() const { return bluez_.isReady(); }
  SppService& spp() { return spp_; }
  Outbox& outbox() { return outbox_; }

  void tellSppList() { devices_.tellSppList(); }
  // What a new observer of the manager has to know: notices 24, 12 and 15.
  void tellManagerState();

  // One round of the loop is: watch what these say, as long as the last says; then serve.
  struct Watch {
    std::vector<pollfd> sockets;
    std::vector<std::uint64_t> links;  // behind the sockets; 0 = the bus
    int milliseconds = -1;             // negative: no limit
  };
  void addTo(Watch& watch);
  void serve(const Watch& watch);

 private:
  void onBluezReady() override;
  void onBluezGone() override;
  void onAdaptersChanged() override;
  void onDeviceChanged(const Device& device, const Device* before, bool servicesChanged) override;
  void onDeviceRemoved(const Device& device) override;

  void openBus(Time now);
  void closeBus();
  void processBus();

  // The bus is the last, so that it goes first: what it calls is still whole then.
  Outbox outbox_;
  BluezObjects bluez_{*this};
  DeviceBook devices_{bluez_, outbox_};
  SppService spp_{bluez_, devices_, outbox_};
  HandsFree handsFree_{devices_, outbox_};
  const std::unique_ptr<HfpSource> handsFreeSource_;
  BackOff busPause_;
  std::optional<Time> busDue_;  // when the bus is tried again
  int busError_ = 0;            // as logged last
  bool busHasMore_ = false;
  std::unique_ptr<Bus> bus_;
};

}  // namespace vqbluez
