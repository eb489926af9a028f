// The numbers of devices: the same over restarts, for all processes and for both classes of this library.
//
// They stand in the file "bt-devices" of the folder that also has the settings file in which such a number is stored:
// $VQ_SETTINGS_DIR, else the user's state folder, else /var/lib/vqframework. Writers take the folder's flock and put a
// new file over the old one. Where nothing can be written the numbers hold for this process only, and one line is
// logged.
// Threads: one at a time; any number of processes.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "platform/bluez/number_table.h"

namespace vqbluez {

class DeviceNumbers {
 public:
  // The folder as the environment says it now.
  DeviceNumbers();
  explicit DeviceNumbers(std::string folder) : folder_(std::move(folder)) {}

  // The number of a paired device, or of one that links anyway; it gets one where it has none. None when 255 other
  // devices are paired.
  std::optional<std::uint8_t> numberOf(const DeviceKey& device);

  // The device is paired no more: its number may go to another when all are given away, the longest unpaired first.
  void noteUnpaired(const DeviceKey& device);

 private:
  template <class Change>
  auto changeFile(Change change) -> decltype(change(std::declval<NumberTable&>()).first);
  void leaveFile(const NumberTable& table, const char* what, int error);

  const std::string folder_;
  std::map<DeviceKey, std::uint8_t> inUse_;
  std::optional<NumberTable> memory_;  // instead of a file that cannot be read or written
};

}  // namespace vqbluez
