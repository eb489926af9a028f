#include "bluez_sim/words.h"

#include <algorithm>
#include <cctype>

#include "command/words.h"

namespace bluez_sim {

Words splitWords(const std::string& line) {
  std::vector<command::Word> read;
  std::size_t end = 0;
  command::Mistake mistake;
  if (!command::splitWords(line, read, end, mistake)) {
    throw CommandError("column " + std::to_string(mistake.column) + ": " + mistake.text);
  }
  Words words;
  for (const command::Word& word : read) {
    words.push_back(word.text);
  }
  return words;
}

std::vector<std::string> splitList(const std::string& text) {
  std::vector<std::string> parts;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find(',', begin), text.size());
    if (end > begin) {
      parts.push_back(text.substr(begin, end - begin));
    }
    begin = end + 1;
  }
  return parts;
}

std::pair<std::string, std::string> splitSetting(const std::string& word) {
  const std::size_t equals = word.find('=');
  if (equals == std::string::npos) {
    throw CommandError("'" + word + "' is not KEY=VALUE");
  }
  return {word.substr(0, equals), word.substr(equals + 1)};
}

std::string parseAddress(const std::string& word) {
  std::string address;
  bool isGood = word.size() == 17;
  for (std::size_t i = 0; i < word.size() && isGood; ++i) {
    const auto c = static_cast<unsigned char>(word[i]);
    isGood = i % 3 == 2 ? c == ':' : std::isxdigit(c) != 0;
    address += static_cast<char>(std::toupper(c));
  }
  if (!isGood) {
    throw CommandError("'" + word + "' is no address like 00:AA:02:00:00:01");
  }
  return address;
}

std::uint64_t parseNumber(const std::string& word) {
  if (word.empty() || word.size() > 18 || word.find_first_not_of("0123456789") != std::string::npos) {
    throw CommandError("'" + word + "' is no number");
  }
  return std::stoull(word);
}

bool parseFlag(const std::string& word) {
  for (const char* const yes : {"yes", "up", "on", "in"}) {
    if (word == yes) {
      return true;
    }
  }
  for (const char* const no : {"no", "down", "off", "out"}) {
    if (word == no) {
      return false;
    }
  }
  throw CommandError("'" + word + "' is neither yes nor no (up, down, on, off, in, out)");
}

}  // namespace bluez_sim
