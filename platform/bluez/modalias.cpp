#include "platform/bluez/modalias.h"

#include <charconv>
#include <cstddef>
#include <system_error>

namespace vqbluez {
namespace {

constexpr std::uint16_t kAppleOfBluetooth = 0x004C;
constexpr std::uint16_t kAppleOfUsb = 0x05AC;
constexpr std::size_t kVendorDigits = 4;

}  // namespace

std::optional<std::uint16_t> vendorOf(const std::string& modalias) {
  const std::size_t colon = modalias.find(":v");
  if (colon == std::string::npos || modalias.size() < colon + 2 + kVendorDigits) {
    return std::nullopt;
  }
  const std::string source = modalias.substr(0, colon);
  if (source != "bluetooth" && source != "usb") {
    return std::nullopt;
  }
  const char* const first = modalias.data() + colon + 2;
  std::uint16_t vendor = 0;
  const auto [end, error] = std::from_chars(first, first + kVendorDigits, vendor, 16);
  if (error != std::errc() || end != first + kVendorDigits) {
    return std::nullopt;
  }
  return vendor;
}

bool isApple(std::uint16_t vendor) {
  return vendor == kAppleOfBluetooth || vendor == kAppleOfUsb;
}

}  // namespace vqbluez
