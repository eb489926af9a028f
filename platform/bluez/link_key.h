// What names a link: a device and one of its services.
#pragma once

#include <cstdint>
#include <string>
#include <tuple>

namespace vqbluez {

struct LinkKey {
  std::uint8_t device;
  std::string uuid;  // canonical

  friend bool operator<(const LinkKey& a, const LinkKey& b) {
    return std::tie(a.device, a.uuid) < std::tie(b.device, b.uuid);
  }
  friend bool operator==(const LinkKey& a, const LinkKey& b) { return a.device == b.device && a.uuid == b.uuid; }
};

}  // namespace vqbluez
