// The text of a settings file: what is read of it, and what a change leaves of it.
#include "platform/inprocess/settings_text.h"

#include <cstdint>

#include "tests/fuzz/input.h"
#include "tests/fuzz/require.h"

namespace {

using fuzz::Input;

// The value once more, plainly: lines from the front, the first one of the key decides.
std::string withoutBlanks(std::string text) {
  const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
  while (!text.empty() && isBlank(text.front())) {
    text.erase(0, 1);
  }
  while (!text.empty() && isBlank(text.back())) {
    text.pop_back();
  }
  return text;
}

bool isNumber(const std::string& digits, unsigned int& value) {
  unsigned long long sum = 0;
  for (const char c : digits) {
    if (c < '0' || c > '9') {
      return false;
    }
    sum = sum * 10 + static_cast<unsigned long long>(c - '0');
    if (sum > 0xFFFFFFFFULL) {
      return false;
    }
  }
  value = static_cast<unsigned int>(sum);
  return !digits.empty();
}

std::optional<unsigned int> plainValue(const std::string& text, const std::string& key) {
  std::string line;
  for (std::size_t i = 0; i <= text.size(); ++i) {
    if (i < text.size() && text[i] != '\n') {
      line += text[i];
      continue;
    }
    const std::size_t sign = line.find('=');
    if (sign != std::string::npos && withoutBlanks(line.substr(0, sign)) == key) {
      unsigned int value = 0;
      return isNumber(withoutBlanks(line.substr(sign + 1)), value) ? std::optional<unsigned int>(value) : std::nullopt;
    }
    line.clear();
  }
  return std::nullopt;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                                                             std::size_t size) {
  Input input(data, size);
  const std::uint8_t shape = input.byte();
  const std::string key =
      shape < 200 ? std::string(1 + shape % 2, static_cast<char>('a' + shape / 2 % 2)) : input.text(8).c_str();
  const unsigned int value = input.number();
  const std::string text = input.rest();
  const std::string other = key + "x";

  fuzz::require(vqframework::settingsValue(text, key) == plainValue(text, key), "the value is that of the first line");
  if (!vqframework::isSettingsKey(key.c_str())) {
    return 0;
  }
  const std::string changed = vqframework::withSettingsValue(text, key, value);
  fuzz::require(vqframework::settingsValue(changed, key) == value, "what was set is what is read");
  fuzz::require(vqframework::withSettingsValue(changed, key, value) == changed, "the second time changes nothing");
  fuzz::require(plainValue(changed, other) == plainValue(text, other), "other keys keep their values");
  return 0;
}
