#include <algorithm>
#include <filesystem>
#include <system_error>

#include "command/command.h"

namespace command {
namespace {

std::vector<std::string> valuesOf(const Argument& argument, const std::string& beginning, const Names& names) {
  if (argument.type == Type::kFile) {
    return filesBeginningWith(beginning);
  }
  std::vector<std::string> values = argument.choices;
  if (!argument.source.empty() && names) {
    const std::vector<std::string> more = names(argument.source);
    values.insert(values.end(), more.begin(), more.end());
  }
  return values;
}

std::vector<std::string> openKeywords(const Command& command, const std::vector<Word>& words) {
  std::vector<std::string> keywords;
  for (const Argument& argument : command.arguments) {
    const bool isGiven = std::any_of(words.begin() + 1, words.end(),
                                     [&](const Word& word) { return !word.isQuoted && word.text == argument.keyword; });
    if (!argument.keyword.empty() && !isGiven) {
      keywords.push_back(argument.keyword);
    }
  }
  return keywords;
}

// What may follow the words of a command.
std::vector<std::string> followers(const Command& command, const std::vector<Word>& words, const std::string& beginning,
                                   const Names& names) {
  const Word& last = words.back();
  std::vector<const Argument*> plain;
  for (const Argument& argument : command.arguments) {
    if (!argument.keyword.empty() && words.size() > 1 && !last.isQuoted && last.text == argument.keyword) {
      return valuesOf(argument, beginning, names);
    }
    if (argument.keyword.empty()) {
      plain.push_back(&argument);
    }
  }
  const std::size_t given = words.size() - 1;
  if (given >= plain.size()) {
    return openKeywords(command, words);
  }
  std::vector<std::string> values = valuesOf(*plain[given], beginning, names);
  if (plain[given]->isOptional) {
    const std::vector<std::string> keywords = openKeywords(command, words);
    values.insert(values.end(), keywords.begin(), keywords.end());
  }
  return values;
}

}  // namespace

std::vector<std::string> filesBeginningWith(const std::string& beginning) {
  const std::size_t slash = beginning.rfind('/');
  const std::string folder = slash == std::string::npos ? "" : beginning.substr(0, slash + 1);
  std::vector<std::string> names;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder.empty() ? "." : folder, error)) {
    const std::string name = folder + entry.path().filename().string();
    const bool isHidden = entry.path().filename().string()[0] == '.' && beginning.size() == folder.size();
    if (name.compare(0, beginning.size(), beginning) == 0 && !isHidden) {
      names.push_back(name + (entry.is_directory(error) ? "/" : ""));
    }
  }
  return names;
}

std::vector<std::string> Table::names() const {
  std::vector<std::string> all;
  for (const Command& command : commands_) {
    all.push_back(command.name);
  }
  return all;
}

std::vector<std::string> Table::complete(const std::string& line, const Names& names) const {
  std::vector<Word> words;
  std::size_t end = 0;
  Mistake mistake;
  if (!splitWords(line, words, end, mistake)) {
    return {};
  }
  std::string beginning;
  if (!words.empty() && line.back() != ' ') {
    beginning = words.back().text;
    words.pop_back();
  }
  std::vector<std::string> candidates;
  if (words.empty()) {
    candidates = this->names();
  } else if (const Command* const command = find(words[0].text)) {
    candidates = followers(*command, words, beginning, names);
  }
  candidates.erase(std::remove_if(candidates.begin(), candidates.end(),
                                  [&](const std::string& c) { return c.compare(0, beginning.size(), beginning) != 0; }),
                   candidates.end());
  std::sort(candidates.begin(), candidates.end());
  candidates.erase(std::unique(candidates.begin(), candidates.end()), candidates.end());
  return candidates;
}

}  // namespace command
