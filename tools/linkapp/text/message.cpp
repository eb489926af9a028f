#include "text/message.h"

#include <cstdio>

namespace text {
namespace {

constexpr std::size_t kLongestShownText = 200;
constexpr std::size_t kShownBytes = 16;

bool isReadable(const std::vector<std::uint8_t>& message) {
  for (const std::uint8_t byte : message) {
    if (byte < 0x20 || byte == 0x7F) {
      return false;
    }
  }
  return !message.empty() && message.size() <= kLongestShownText;
}

}  // namespace

Fields messageFields(const std::vector<std::uint8_t>& message) {
  Fields fields = {{"size", message.size()}};
  if (isReadable(message)) {
    fields.push_back({"text", std::string(message.begin(), message.end())});
    return fields;
  }
  std::string head;
  for (std::size_t i = 0; i < message.size() && i < kShownBytes; ++i) {
    char digits[3];
    snprintf(digits, sizeof digits, "%02x", message[i]);
    head += digits;
  }
  fields.push_back({"head", head});
  return fields;
}

}  // namespace text
