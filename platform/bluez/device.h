// What BlueZ tells of a remote device and of the adapter that knows it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vqbluez {

struct Device {
  std::string path;     // of the D-Bus object
  std::string adapter;  // the adapter's path
  std::string address;  // "AA:BB:CC:DD:EE:FF"
  std::string name;
  std::optional<std::uint16_t> vendor;  // none: the Device ID record is not known
  bool isPaired = false;
  bool isBlocked = false;
  bool isConnected = false;  // the connection below all links
  bool isResolved = false;   // its services are known, and so is whether it has a Device ID record
};

struct Adapter {
  std::string address;
  bool isPowered = false;
};

}  // namespace vqbluez
