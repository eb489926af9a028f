// Which device has which 8-bit number: the table that the number file holds, as text and in memory.
//
// One line per device: adapter's address, device's address, number, time at which it was last known to be paired.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

namespace vqbluez {

// Adapter's address and device's address.
using DeviceKey = std::pair<std::string, std::string>;

class NumberTable {
 public:
  using Seconds = std::int64_t;  // since the epoch

  static constexpr unsigned int kNumbers = 255;  // 0 to 254; 255 means no device

  // Lines that make no sense, and a second line for a device or a number, count as none.
  static NumberTable parse(const std::string& text);
  std::string text() const;

  std::optional<std::uint8_t> find(const DeviceKey& device) const;

  // The device's number; it gets the smallest free one where it has none. When none is free it takes over that of the
  // device that has been unpaired longest; those in `paired` keep theirs. None when all are needed.
  std::optional<std::uint8_t> give(const DeviceKey& device, const std::set<DeviceKey>& paired, Seconds now);

  // The device has this number, whatever the table said: no other device does.
  void keep(const DeviceKey& device, std::uint8_t number, Seconds now);

  // Notes that the device was paired until now. True when the table has changed by more than `grain`.
  bool see(const DeviceKey& device, Seconds now, Seconds grain);

 private:
  struct Row {
    std::uint8_t number;
    Seconds lastSeen;
  };

  std::optional<std::uint8_t> smallestFree() const;

  std::map<DeviceKey, Row> rows_;
};

}  // namespace vqbluez
