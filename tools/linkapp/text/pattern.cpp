#include "text/pattern.h"

namespace text {
namespace {

constexpr std::size_t kNumberBytes = 4;

std::uint8_t byteAt(std::uint32_t number, std::size_t place) {
  return place < kNumberBytes ? static_cast<std::uint8_t>(number >> (8 * (kNumberBytes - 1 - place)))
                              : static_cast<std::uint8_t>(std::size_t{number} * 31 + place * 7);
}

}  // namespace

std::vector<std::uint8_t> patternMessage(std::uint32_t number, std::size_t size) {
  std::vector<std::uint8_t> message(size);
  for (std::size_t i = 0; i < size; ++i) {
    message[i] = byteAt(number, i);
  }
  return message;
}

std::optional<std::uint32_t> patternNumber(const std::vector<std::uint8_t>& message) {
  if (message.size() < kNumberBytes) {
    return std::nullopt;
  }
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < kNumberBytes; ++i) {
    number = number << 8 | message[i];
  }
  return message == patternMessage(number, message.size()) ? std::optional<std::uint32_t>(number) : std::nullopt;
}

}  // namespace text
