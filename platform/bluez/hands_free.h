// Notice 15 of the Bluetooth manager: which devices have a hands-free link.
//
// The source names devices by path, observers know them by number. A link of a device that has no number yet is told
// when it gets one.
// Threads: one at a time.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "platform/bluez/device_book.h"
#include "platform/bluez/outbox.h"

namespace vqbluez {

class HandsFree {
 public:
  HandsFree(const DeviceBook& devices, Outbox& outbox) : devices_(devices), outbox_(outbox) {}

  // As HfpSource::Report.
  void report(const std::string& device, bool isConnected);

  // Devices may have got their numbers.
  void tellNew();

  // One notice per device that has a link.
  void tellAll();

 private:
  void tell(std::uint8_t number, bool isConnected);

  const DeviceBook& devices_;
  Outbox& outbox_;
  std::map<std::string, std::optional<std::uint8_t>> connected_;  // path, and the number it was told with
};

}  // namespace vqbluez
