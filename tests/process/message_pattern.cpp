#include "tests/process/message_pattern.h"

#include <cstdlib>
#include <sstream>

std::vector<std::uint8_t> patternBytes(std::uint32_t size, std::uint32_t seed) {
  std::vector<std::uint8_t> bytes(size);
  for (std::uint32_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<std::uint8_t>((seed + i) * 2654435761U >> 24);
  }
  return bytes;
}

std::string describe(const std::uint8_t* data, std::size_t size) {
  std::uint32_t hash = 2166136261U;
  for (std::size_t i = 0; i < size; ++i) {
    hash = (hash ^ data[i]) * 16777619U;
  }
  return std::to_string(size) + ":" + std::to_string(hash);
}

std::string describe(const std::vector<std::uint8_t>& bytes) {
  return describe(bytes.data(), bytes.size());
}

std::string describePattern(std::uint32_t size, std::uint32_t seed) {
  return describe(patternBytes(size, seed));
}

std::string toHex(const void* data, std::size_t size) {
  constexpr const char* kDigits = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < size; ++i) {
    const unsigned int byte = static_cast<const std::uint8_t*>(data)[i];
    text += kDigits[byte / 16];
    text += kDigits[byte % 16];
  }
  return text;
}

std::vector<std::uint8_t> fromHex(const std::string& text) {
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
    bytes.push_back(static_cast<std::uint8_t>(std::strtoul(text.substr(i, 2).c_str(), nullptr, 16)));
  }
  return bytes;
}

std::vector<std::string> wordsOf(const std::string& line) {
  std::istringstream stream(line);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) {
    words.push_back(word);
  }
  return words;
}

std::uint32_t numberOf(const std::string& word) {
  return static_cast<std::uint32_t>(std::strtoul(word.c_str(), nullptr, 0));
}
