#include <algorithm>
#include <cctype>

#include "command/command.h"

namespace command {
namespace {

std::string placeholder(const Argument& argument) {
  if (argument.type == Type::kChoice) {
    std::string all;
    for (const std::string& choice : argument.choices) {
      all += (all.empty() ? "" : "|") + choice;
    }
    return all;
  }
  std::string name = argument.name;
  std::transform(name.begin(), name.end(), name.begin(),
                 [](char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); });
  return argument.type == Type::kRest ? name + "..." : name;
}

std::string joined(const std::vector<std::string>& words, const std::string& last) {
  std::string all;
  for (std::size_t i = 0; i < words.size(); ++i) {
    all += (i == 0 ? "" : i + 1 == words.size() ? last : ", ") + words[i];
  }
  return all;
}

// Letters to change, add, drop, or swap with their neighbour.
std::size_t distance(const std::string& a, const std::string& b) {
  std::vector<std::vector<std::size_t>> rows(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) {
    for (std::size_t j = 0; j <= b.size(); ++j) {
      if (i == 0 || j == 0) {
        rows[i][j] = i + j;
        continue;
      }
      rows[i][j] =
          std::min({rows[i - 1][j] + 1, rows[i][j - 1] + 1, rows[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        rows[i][j] = std::min(rows[i][j], rows[i - 2][j - 2] + 1);
      }
    }
  }
  return rows[a.size()][b.size()];
}

}  // namespace

std::string usage(const Command& command) {
  std::string text = command.name;
  for (const Argument& argument : command.arguments) {
    const std::string shown = (argument.keyword.empty() ? "" : argument.keyword + " ") + placeholder(argument);
    text += argument.isOptional || !argument.keyword.empty() ? " [" + shown + "]" : " " + shown;
  }
  return text;
}

std::string describe(const Argument& argument) {
  switch (argument.type) {
    case Type::kChoice:
      return joined(argument.choices, " or ");
    case Type::kNumber:
      return "a number from " + std::to_string(argument.least) + " to " + std::to_string(argument.most);
    case Type::kDuration:
      return "a time such as 200ms, 5s or 2min";
    case Type::kBytes:
      return "bytes as hexadecimal digits, two for each";
    case Type::kAddress:
      return "a Bluetooth address such as 12:34:56:78:9a:bc";
    case Type::kFile:
      return "a file";
    case Type::kWord:
    case Type::kRest:
      break;
  }
  return "the " + argument.name;
}

std::string suggestion(const std::string& word, const std::vector<std::string>& known) {
  const auto nearest = std::min_element(known.begin(), known.end(), [&](const std::string& a, const std::string& b) {
    return distance(word, a) < distance(word, b);
  });
  const bool isNear = nearest != known.end() && distance(word, *nearest) <= std::max<std::size_t>(1, word.size() / 3);
  return isNear ? "; did you mean '" + *nearest + "'?" : "";
}

std::string Table::help() const {
  std::vector<std::string> groups;
  std::size_t width = 0;
  for (const Command& command : commands_) {
    if (std::count(groups.begin(), groups.end(), command.group) == 0) {
      groups.push_back(command.group);
    }
    width = std::max(width, command.name.size());
  }
  std::string all;
  for (const std::string& group : groups) {
    all += (all.empty() ? "" : "\n") + group + "\n";
    for (const Command& command : commands_) {
      if (command.group == group) {
        all += "  " + command.name + std::string(width + 2 - command.name.size(), ' ') + command.purpose + "\n";
      }
    }
  }
  return all + "\n`help COMMAND` tells more.\n";
}

std::string Table::help(const std::string& name) const {
  const Command* const command = find(name);
  if (command == nullptr) {
    return "";
  }
  std::string all = "usage: " + usage(*command) + "\n\n" + command->purpose + "\n";
  all += command->details.empty() ? "" : command->details + "\n";
  for (const Argument& argument : command->arguments) {
    all += "  " + placeholder(argument) + ": " + describe(argument) + "\n";
  }
  return all + (command->example.empty() ? "" : "\nexample: " + command->example + "\n");
}

}  // namespace command
