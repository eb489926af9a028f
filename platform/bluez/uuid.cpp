#include "platform/bluez/uuid.h"

#include <cstddef>

namespace vqbluez {
namespace {

constexpr const char* kBaseTail = "00001000800000805f9b34fb";
constexpr std::size_t kDigits = 32;
constexpr std::size_t kLength = 36;

bool isDashPlace(std::size_t place) {
  return place == 8 || place == 13 || place == 18 || place == 23;
}

// The digit in lower case; 0 where it is none.
char lowerDigit(char c) {
  if ((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f')) {
    return c;
  }
  return c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : '\0';
}

// Digits alone; empty where something else stands in `text`.
std::string digitsOf(const std::string& text) {
  const bool hasDashes = text.size() == kLength;
  std::string digits;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (hasDashes && isDashPlace(i)) {
      if (text[i] != '-') {
        return "";
      }
      continue;
    }
    const char digit = lowerDigit(text[i]);
    if (digit == '\0') {
      return "";
    }
    digits += digit;
  }
  return digits;
}

}  // namespace

std::optional<std::string> canonicalUuid(const std::string& text) {
  std::string digits = digitsOf(text);
  if (digits.size() == 4) {
    digits.insert(0, "0000");
  }
  if (digits.size() == 8) {
    digits += kBaseTail;
  }
  if (digits.size() != kDigits) {
    return std::nullopt;
  }
  std::string uuid;
  for (const char digit : digits) {
    if (isDashPlace(uuid.size())) {
      uuid += '-';
    }
    uuid += digit;
  }
  return uuid;
}

}  // namespace vqbluez
