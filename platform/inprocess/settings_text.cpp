#include "platform/inprocess/settings_text.h"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace vqframework {
namespace {

constexpr const char* kBlanks = " \t\r";

// Where a line's value stands in the text; the line break is not part of it.
struct Place {
  std::size_t begin;
  std::size_t end;
};

std::string trimmed(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(kBlanks);
  return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

std::optional<Place> findValue(const std::string& text, const std::string& key) {
  std::size_t begin = 0;
  while (begin < text.size()) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    // Within the line: a text without any sign would else be gone through once for each of its lines.
    const std::size_t length = std::string_view(text).substr(begin, end - begin).find('=');
    if (length != std::string_view::npos && trimmed(text.substr(begin, length)) == key) {
      return Place{begin + length + 1, end};
    }
    begin = end + 1;
  }
  return std::nullopt;
}

}  // namespace

bool isSettingsKey(const char* key) {
  const std::string name = key == nullptr ? "" : key;
  if (name.empty() || name.front() == '#' || name.front() == '[' || trimmed(name) != name) {
    return false;
  }
  for (const char c : name) {
    const unsigned char byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7F || c == '=') {
      return false;
    }
  }
  return true;
}

std::optional<unsigned int> settingsValue(const std::string& text, const std::string& key) {
  const std::optional<Place> place = findValue(text, key);
  if (!place) {
    return std::nullopt;
  }
  const std::string digits = trimmed(text.substr(place->begin, place->end - place->begin));
  unsigned int value = 0;
  const std::from_chars_result result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (result.ec != std::errc() || result.ptr != digits.data() + digits.size()) {
    return std::nullopt;
  }
  return value;
}

std::string withSettingsValue(const std::string& text, const std::string& key, unsigned int value) {
  const std::string number = std::to_string(value);
  const std::optional<Place> place = findValue(text, key);
  std::string result = text;
  if (place) {
    return result.replace(place->begin, place->end - place->begin, number);
  }
  // A last line that lost its end must not swallow the new one.
  if (!result.empty() && result.back() != '\n') {
    result += '\n';
  }
  return result + key + "=" + number + "\n";
}

}  // namespace vqframework
