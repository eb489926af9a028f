// The vendor in a device's Modalias.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vqbluez {

// "bluetooth:v004CpD..." and "usb:v05ACp..." name the vendor of the device's Device ID record; other texts give none.
std::optional<std::uint16_t> vendorOf(const std::string& modalias);

// Whether the product takes the device for an iPhone, which it does not follow over SPP.
bool isApple(std::uint16_t vendor);

}  // namespace vqbluez
