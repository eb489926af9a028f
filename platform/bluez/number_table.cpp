#include "platform/bluez/number_table.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <sstream>

namespace vqbluez {

NumberTable NumberTable::parse(const std::string& text) {
  NumberTable table;
  std::array<bool, kNumbers> isTaken{};
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    DeviceKey device;
    unsigned int number = kNumbers;
    Seconds lastSeen = 0;
    if (words >> device.first >> device.second >> number >> lastSeen && number < kNumbers && !isTaken[number] &&
        table.rows_.try_emplace(device, Row{static_cast<std::uint8_t>(number), lastSeen}).second) {
      isTaken[number] = true;
    }
  }
  return table;
}

std::string NumberTable::text() const {
  std::ostringstream text;
  for (const auto& [device, row] : rows_) {
    text << device.first << ' ' << device.second << ' ' << unsigned{row.number} << ' ' << row.lastSeen << '\n';
  }
  return text.str();
}

std::optional<std::uint8_t> NumberTable::find(const DeviceKey& device) const {
  const auto found = rows_.find(device);
  return found == rows_.end() ? std::nullopt : std::optional<std::uint8_t>(found->second.number);
}

std::optional<std::uint8_t> NumberTable::smallestFree() const {
  std::array<bool, kNumbers> isTaken{};
  for (const auto& [device, row] : rows_) {
    isTaken[row.number] = true;
  }
  for (std::size_t number = 0; number < kNumbers; ++number) {
    if (!isTaken[number]) {
      return static_cast<std::uint8_t>(number);
    }
  }
  return std::nullopt;
}

std::optional<std::uint8_t> NumberTable::give(const DeviceKey& device, const std::set<DeviceKey>& paired, Seconds now) {
  const auto known = rows_.find(device);
  if (known != rows_.end()) {
    return known->second.number;
  }
  std::optional<std::uint8_t> number = smallestFree();
  if (!number) {
    auto oldest = rows_.end();
    for (auto row = rows_.begin(); row != rows_.end(); ++row) {
      if (paired.count(row->first) == 0 && (oldest == rows_.end() || row->second.lastSeen < oldest->second.lastSeen)) {
        oldest = row;
      }
    }
    if (oldest == rows_.end()) {
      return std::nullopt;
    }
    number = oldest->second.number;
    rows_.erase(oldest);
  }
  rows_[device] = {*number, now};
  return number;
}

void NumberTable::keep(const DeviceKey& device, std::uint8_t number, Seconds now) {
  if (find(device) == number) {
    return;
  }
  rows_.erase(device);
  const auto other =
      std::find_if(rows_.begin(), rows_.end(), [&](const auto& row) { return row.second.number == number; });
  if (other != rows_.end()) {
    rows_.erase(other);
  }
  rows_[device] = {number, now};
}

bool NumberTable::see(const DeviceKey& device, Seconds now, Seconds grain) {
  const auto found = rows_.find(device);
  if (found == rows_.end() || found->second.lastSeen > now - grain) {  // a file may hold any time
    return false;
  }
  found->second.lastSeen = now;
  return true;
}

}  // namespace vqbluez
