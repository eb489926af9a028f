// Command lines taken apart.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace bluez_sim {

// What is wrong with a command, for whoever gave it.
class CommandError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

using Words = std::vector<std::string>;

// As scenario files have them: separated by blanks; quotes keep blanks together, as in name="My Phone", and know
// escapes. Throws CommandError.
Words splitWords(const std::string& line);

std::vector<std::string> splitList(const std::string& text);  // "a,b"; an empty text is an empty list
// "KEY=VALUE". Throws CommandError.
std::pair<std::string, std::string> splitSetting(const std::string& word);

// These throw CommandError that names the word.
std::string parseAddress(const std::string& word);  // in upper case
std::uint64_t parseNumber(const std::string& word);
bool parseFlag(const std::string& word);  // yes or no, up or down, on or off, in or out

}  // namespace bluez_sim
