// A line of words, as prompt, scenario files and control socket read it.
//
// Blanks separate words. "Quotes" keep blanks together and know \" \\ \n \t \r and \xHH. A # at a word's start begins a
// comment.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace command {

struct Word {
  std::string text;
  std::size_t column = 1;  // of its first character; characters, not bytes
  bool isQuoted = false;   // some of it stood in quotes: it is no keyword
};

struct Mistake {
  std::size_t column = 1;
  std::string text;  // what was found and what was expected
};

// False with the mistake where quotes do not end or an escape is unknown. `end` receives the column behind the line.
bool splitWords(const std::string& line, std::vector<Word>& words, std::size_t& end, Mistake& mistake);

// The words as one line that splits into the same words.
std::string joined(const std::vector<Word>& words);

// Characters of the text, those of several bytes counted once.
std::size_t countCharacters(const std::string& text);

}  // namespace command
