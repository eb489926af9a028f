#include "command/words.h"

#include <cctype>

#include "text/fields.h"

namespace command {
namespace {

// Of a character of several bytes the first alone.
bool beginsCharacter(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
}

bool isBlank(char character) {
  return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

int hexDigit(char character) {
  const int lower = std::tolower(static_cast<unsigned char>(character));
  return lower >= '0' && lower <= '9' ? lower - '0' : lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

class Splitter {
 public:
  explicit Splitter(const std::string& line) : line_(line) {}

  bool split(std::vector<Word>& words, Mistake& mistake) {
    for (skipBlanks(); at_ < line_.size() && line_[at_] != '#'; skipBlanks()) {
      Word word;
      word.column = column();
      if (!readWord(word)) {
        mistake = mistake_;
        return false;
      }
      words.push_back(word);
    }
    return true;
  }

 private:
  // Goes on from where it was asked last: a long line has many words.
  std::size_t column() {
    for (; counted_ < at_; ++counted_) {
      characters_ += beginsCharacter(line_[counted_]) ? 1U : 0U;
    }
    return characters_ + 1;
  }

  void skipBlanks() {
    while (at_ < line_.size() && isBlank(line_[at_])) {
      ++at_;
    }
  }

  bool readWord(Word& word) {
    while (at_ < line_.size() && !isBlank(line_[at_])) {
      if (line_[at_] == '"') {
        word.isQuoted = true;
        if (!readQuoted(word.text)) {
          return false;
        }
      } else {
        word.text += line_[at_++];
      }
    }
    return true;
  }

  bool readQuoted(std::string& text) {
    const std::size_t begin = column();
    for (++at_; at_ < line_.size() && line_[at_] != '"';) {
      if (line_[at_] == '\\') {
        if (!readEscape(text)) {
          return false;
        }
      } else {
        text += line_[at_++];
      }
    }
    if (at_ == line_.size()) {
      mistake_ = {begin, "the quotes that open here do not end on this line"};
      return false;
    }
    ++at_;
    return true;
  }

  bool readEscape(std::string& text) {
    const char kind = at_ + 1 < line_.size() ? line_[at_ + 1] : '\0';
    const std::string known = "\"\\ntr";
    const std::size_t index = known.find(kind);
    if (kind != '\0' && index != std::string::npos) {
      text += "\"\\\n\t\r"[index];
      at_ += 2;
      return true;
    }
    const int high = at_ + 2 < line_.size() ? hexDigit(line_[at_ + 2]) : -1;
    const int low = at_ + 3 < line_.size() ? hexDigit(line_[at_ + 3]) : -1;
    if (kind == 'x' && high >= 0 && low >= 0) {
      text += static_cast<char>(high * 16 + low);
      at_ += 4;
      return true;
    }
    mistake_ = {column(), R"(unknown escape; expected \" \\ \n \t \r or \xHH)"};
    return false;
  }

  const std::string& line_;
  std::size_t at_ = 0;
  std::size_t counted_ = 0;     // bytes before `at_`
  std::size_t characters_ = 0;  // in these
  Mistake mistake_;
};

}  // namespace

std::size_t countCharacters(const std::string& text) {
  std::size_t count = 0;
  for (const char character : text) {
    count += beginsCharacter(character) ? 1U : 0U;
  }
  return count;
}

std::string joined(const std::vector<Word>& words) {
  std::string line;
  for (const Word& word : words) {
    const std::string text = text::quoted(word.text);
    // What was quoted stays so, since it is no keyword.
    line += (line.empty() ? "" : " ") + (word.isQuoted && text[0] != '"' ? "\"" + text + "\"" : text);
  }
  return line;
}

bool splitWords(const std::string& line, std::vector<Word>& words, std::size_t& end, Mistake& mistake) {
  end = countCharacters(line) + 1;
  return Splitter(line).split(words, mistake);
}

}  // namespace command
