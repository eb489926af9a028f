// Reads one scenario; parse() in scenario.h runs it.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "command/words.h"
#include "scenario/scenario.h"

namespace scenario {

class Parser {
 public:
  Parser(const std::string& source, const Variables& variables, const std::vector<ProcessLine>& implied,
         Scenario& scenario, ParseMistake& mistake);

  bool parse();

 private:
  using Words = std::vector<command::Word>;

  bool parseLines(std::size_t begin, std::size_t end);
  bool parseLine(std::size_t number);
  bool parseRepeat(std::size_t& number);
  bool findEnd(std::size_t begin, std::size_t& end);
  bool split(std::size_t number, Words& words);
  bool substitute(std::string& text, std::size_t column);

  bool parseStep();
  bool parseProcess();
  bool parseDeadline();
  bool parseNote();
  bool parseSeveral(Step::Kind kind);
  bool parseTell();
  bool parseExpect(Step::Kind kind);
  bool parseWait();
  bool parseAllow();
  bool parseEnded();

  bool takeProcess(std::size_t index, Step& step);
  bool takeConditions(std::size_t from, const std::vector<std::string>* fields, bool mayWait, Step& step);
  bool takeCondition(const command::Word& word, const std::vector<std::string>* fields, Step& step);
  bool checkCommand(const Kind& kind, const Words& words, std::size_t end);
  bool checkEvent(const Kind& kind, std::size_t index, const std::vector<std::string>*& fields);
  bool add(Step step);
  bool fail(std::size_t column, const std::string& text);
  std::size_t columnOf(std::size_t index) const { return index < words_.size() ? words_[index].column : end_; }
  std::string wordAt(std::size_t index) const { return index < words_.size() ? words_[index].text : ""; }
  const Kind& kindOf(const Step& step) const { return *scenario_.processes[step.processes[0]].kind; }

  std::vector<std::string> lines_;
  Variables variables_;
  std::size_t inside_ = 0;  // how many repeats
  std::size_t rounds_ = 0;
  Scenario& scenario_;
  ParseMistake& mistake_;
  text::Duration deadline_ = std::chrono::seconds(10);

  // The line at hand.
  std::size_t number_ = 0;  // from 0
  Words words_;
  std::size_t end_ = 1;
};

}  // namespace scenario
