// Where it comes from which devices have a hands-free link. BlueZ itself does not know: a telephony service holds it.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "platform/bluez/back_off.h"
#include "platform/bluez/bus.h"

namespace vqbluez {

class HfpSource {
 public:
  // The D-Bus path of BlueZ's device, and whether it has a hands-free link now.
  using Report = std::function<void(const std::string& device, bool isConnected)>;

  virtual ~HfpSource() = default;

  // Follows the service on this bus from now on. Each device that has a link is reported, and each later change. A
  // service that is not there, or goes, is waited for; what it had counts as not connected.
  virtual void start(Bus& bus, Report report) = 0;

  // The bus is gone: everything that was connected is reported as not connected.
  virtual void stop() = 0;

  // What comes with time: a service that is there and does not tell its links is asked again.
  virtual void tick(Time now) = 0;
  virtual std::optional<Time> nextDue() const = 0;
};

}  // namespace vqbluez
