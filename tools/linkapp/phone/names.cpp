// How phone and device side write what they know.
#include <cstdio>

#include "phone/simulated_phone.h"

namespace phone {
namespace {

std::string hex(std::uint8_t byte) {
  char digits[3];
  snprintf(digits, sizeof digits, "%02x", byte);
  return digits;
}

}  // namespace

const char* nameOf(Link link) {
  return link == Link::kUsb ? "usb" : "bluetooth";
}

const char* nameOf(Generation generation) {
  return generation == Generation::kIap1 ? "iap1" : "iap2";
}

std::string textOf(const Address& address) {
  std::string text;
  for (const std::uint8_t byte : address) {
    text += (text.empty() ? "" : ":") + hex(byte);
  }
  return text;
}

std::optional<Address> parseAddress(const std::string& text) {
  Address address = {};
  unsigned int parts[6] = {};
  int end = 0;
  if (sscanf(text.c_str(), "%2x:%2x:%2x:%2x:%2x:%2x%n", &parts[0], &parts[1], &parts[2], &parts[3], &parts[4],
             &parts[5], &end) != 6 ||
      static_cast<std::size_t>(end) != text.size()) {
    return std::nullopt;
  }
  for (std::size_t i = 0; i < address.size(); ++i) {
    address[i] = static_cast<std::uint8_t>(parts[i]);
  }
  return address;
}

}  // namespace phone
