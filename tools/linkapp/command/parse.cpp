#include <algorithm>
#include <cctype>
#include <charconv>
#include <optional>

#include "command/command.h"

namespace command {
namespace {

bool isHex(const std::string& text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; });
}

std::optional<std::int64_t> numberOf(const std::string& text) {
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size() ? std::optional<std::int64_t>(value) : std::nullopt;
}

bool isAddress(const std::string& text) {
  if (text.size() != 17) {
    return false;
  }
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (i % 3 == 2 ? text[i] != ':' : std::isxdigit(static_cast<unsigned char>(text[i])) == 0) {
      return false;
    }
  }
  return true;
}

// None where the word is not what the argument takes.
std::optional<Call::Argument> valueOf(const Argument& argument, const std::string& text) {
  const auto when = [&text](bool isRight) { return isRight ? std::optional<Call::Argument>(text) : std::nullopt; };
  switch (argument.type) {
    case Type::kChoice:
      return when(std::count(argument.choices.begin(), argument.choices.end(), text) != 0);
    case Type::kNumber: {
      const std::optional<std::int64_t> number = numberOf(text);
      return number && *number >= argument.least && *number <= argument.most ? std::optional<Call::Argument>(*number)
                                                                             : std::nullopt;
    }
    case Type::kDuration: {
      const std::optional<text::Duration> duration = text::parseDuration(text);
      return duration ? std::optional<Call::Argument>(*duration) : std::nullopt;
    }
    case Type::kBytes:
      return when(text.size() % 2 == 0 && isHex(text));
    case Type::kAddress:
      return when(isAddress(text));
    case Type::kWord:
    case Type::kFile:
      return when(!text.empty());
    case Type::kRest:
      break;
  }
  return text;
}

class Parser {
 public:
  Parser(const Command& command, const std::vector<Word>& words, std::size_t end, Call& call, Mistake& mistake)
      : command_(command), words_(words), end_(end), call_(call), mistake_(mistake) {}

  bool parse() {
    for (const Argument& argument : command_.arguments) {
      if (argument.keyword.empty() && !takePlain(argument)) {
        return false;
      }
    }
    while (at_ < words_.size()) {
      if (!takeKeyword()) {
        return false;
      }
    }
    return true;
  }

 private:
  bool takePlain(const Argument& argument) {
    const bool isMissing = at_ == words_.size() || keywordHere() != nullptr;
    if (isMissing) {
      return argument.isOptional || fail(here(), "expected " + describe(argument));
    }
    if (argument.type == Type::kRest) {
      takeRest(argument);
      return true;
    }
    return take(argument);
  }

  void takeRest(const Argument& argument) {
    std::string text = words_[at_].text;
    while (++at_ < words_.size()) {
      text += " " + words_[at_].text;
    }
    call_.arguments.emplace(argument.name, text);
  }

  bool takeKeyword() {
    const Argument* const argument = keywordHere();
    if (argument == nullptr) {
      return fail(here(), "'" + words_[at_].text + "' is too much; usage: " + usage(command_));
    }
    if (call_.has(argument->name)) {
      return fail(here(), "'" + argument->keyword + "' stands here twice");
    }
    ++at_;
    return at_ < words_.size() ? take(*argument) : fail(here(), "expected " + describe(*argument));
  }

  bool take(const Argument& argument) {
    const std::optional<Call::Argument> value = valueOf(argument, words_[at_].text);
    if (!value) {
      return fail(here(), "'" + words_[at_].text + "' is not " + describe(argument));
    }
    call_.arguments.emplace(argument.name, *value);
    ++at_;
    return true;
  }

  const Argument* keywordHere() const {
    if (words_[at_].isQuoted) {
      return nullptr;
    }
    for (const Argument& argument : command_.arguments) {
      if (!argument.keyword.empty() && argument.keyword == words_[at_].text) {
        return &argument;
      }
    }
    return nullptr;
  }

  std::size_t here() const { return at_ < words_.size() ? words_[at_].column : end_; }

  bool fail(std::size_t column, const std::string& text) {
    mistake_ = {column, text};
    return false;
  }

  const Command& command_;
  const std::vector<Word>& words_;
  const std::size_t end_;
  Call& call_;
  Mistake& mistake_;
  std::size_t at_ = 1;
};

}  // namespace

std::string Call::text(const std::string& argument, const std::string& otherwise) const {
  const auto found = arguments.find(argument);
  return found == arguments.end() ? otherwise : std::get<std::string>(found->second);
}

std::int64_t Call::number(const std::string& argument, std::int64_t otherwise) const {
  const auto found = arguments.find(argument);
  return found == arguments.end() ? otherwise : std::get<std::int64_t>(found->second);
}

text::Duration Call::duration(const std::string& argument, text::Duration otherwise) const {
  const auto found = arguments.find(argument);
  return found == arguments.end() ? otherwise : std::get<text::Duration>(found->second);
}

std::vector<std::uint8_t> Call::bytes(const std::string& argument) const {
  const std::string digits = text(argument);
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

const Command* Table::find(const std::string& name) const {
  const auto found = std::find_if(commands_.begin(), commands_.end(), [&](const Command& c) { return c.name == name; });
  return found == commands_.end() ? nullptr : &*found;
}

bool Table::parse(const std::vector<Word>& words, std::size_t end, Call& call, Mistake& mistake) const {
  if (words.empty()) {
    mistake = {end, "expected a command; `help` lists them"};
    return false;
  }
  const Command* const command = find(words[0].text);
  if (command == nullptr) {
    std::vector<std::string> known;
    for (const Command& candidate : commands_) {
      known.push_back(candidate.name);
    }
    mistake = {words[0].column, "unknown command '" + words[0].text + "'" + suggestion(words[0].text, known)};
    return false;
  }
  call.name = command->name;
  call.arguments.clear();
  return Parser(*command, words, end, call, mistake).parse();
}

bool Table::parse(const std::string& line, Call& call, Mistake& mistake) const {
  std::vector<Word> words;
  std::size_t end = 0;
  return splitWords(line, words, end, mistake) && parse(words, end, call, mistake);
}

}  // namespace command
