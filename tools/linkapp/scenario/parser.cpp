#include "scenario/parser.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace scenario {
namespace {

using command::Word;

constexpr std::size_t kMostSteps = 100000;
constexpr std::int64_t kMostRounds = 10000;
constexpr std::size_t kMostRoundsInAll = 100000;
constexpr std::size_t kMostInside = 16;

struct NamedStep {
  const char* word;
  Step::Kind kind;
};
constexpr NamedStep kSeveral[] = {{"start", Step::Kind::kStart},   {"stop", Step::Kind::kStop},
                                  {"kill", Step::Kind::kKill},     {"restart", Step::Kind::kRestart},
                                  {"freeze", Step::Kind::kFreeze}, {"thaw", Step::Kind::kThaw}};

const std::vector<std::string>& stepWords() {
  static const auto* const words =
      new std::vector<std::string>{"process", "deadline", "note", "repeat", "end",  "start",  "stop",  "kill",
                                   "restart", "freeze",   "thaw", "expect", "wait", "forbid", "allow", "ended"};
  return *words;
}

std::vector<std::string> linesOf(const std::string& source) {
  std::vector<std::string> lines;
  for (std::size_t begin = 0; begin < source.size();) {
    const std::size_t end = std::min(source.find('\n', begin), source.size());
    lines.push_back(source.substr(begin, end - begin));
    begin = end + 1;
  }
  return lines;
}

std::string trimmed(const std::string& line) {
  const std::size_t begin = line.find_first_not_of(" \t\r");
  const std::size_t end = line.find_last_not_of(" \t\r");
  return begin == std::string::npos ? "" : line.substr(begin, end - begin + 1);
}

bool isName(const std::string& text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
  });
}

std::string list(const std::vector<std::string>& words) {
  std::string all;
  for (const std::string& word : words) {
    all += (all.empty() ? "" : ", ") + word;
  }
  return all;
}

// The operator that stands first, longer ones before their beginnings.
struct OperatorText {
  const char* text;
  Condition::Operator op;
};
constexpr OperatorText kOperators[] = {{"!=", Condition::Operator::kUnequal},
                                       {"<=", Condition::Operator::kLessOrEqual},
                                       {">=", Condition::Operator::kGreaterOrEqual},
                                       {"=", Condition::Operator::kEqual},
                                       {"<", Condition::Operator::kLess},
                                       {">", Condition::Operator::kGreater},
                                       {"~", Condition::Operator::kContains}};

}  // namespace

Parser::Parser(const std::string& source, const Variables& variables, const std::vector<ProcessLine>& implied,
               Scenario& scenario, ParseMistake& mistake)
    : lines_(linesOf(source)), variables_(variables), scenario_(scenario), mistake_(mistake) {
  scenario_.processes = implied;
}

bool Parser::parse() {
  return parseLines(0, lines_.size());
}

// NOLINTNEXTLINE(misc-no-recursion): repeats stand in repeats, so many at most
bool Parser::parseLines(std::size_t begin, std::size_t end) {
  for (std::size_t number = begin; number < end; ++number) {
    Words words;
    if (!split(number, words)) {
      return false;
    }
    const bool isRepeat = !words.empty() && words[0].text == "repeat" && !words[0].isQuoted;
    if (isRepeat ? !parseRepeat(number) : !parseLine(number)) {
      return false;
    }
  }
  return true;
}

bool Parser::split(std::size_t number, Words& words) {
  number_ = number;
  command::Mistake mistake;
  if (!command::splitWords(lines_[number], words, end_, mistake)) {
    return fail(mistake.column, mistake.text);
  }
  return true;
}

bool Parser::parseLine(std::size_t number) {
  words_.clear();
  if (!split(number, words_)) {
    return false;
  }
  for (Word& word : words_) {
    if (!substitute(word.text, word.column)) {
      return false;
    }
  }
  return words_.empty() || parseStep();
}

// ${name}, in quotes too.
bool Parser::substitute(std::string& text, std::size_t column) {
  for (std::size_t at = text.find("${"); at != std::string::npos; at = text.find("${", at)) {
    const std::size_t end = text.find('}', at);
    const std::string name = end == std::string::npos ? "" : text.substr(at + 2, end - at - 2);
    // The innermost `repeat` comes last.
    const auto found =
        std::find_if(variables_.rbegin(), variables_.rend(), [&](const auto& v) { return v.first == name; });
    if (found == variables_.rend()) {
      std::vector<std::string> known;
      for (const auto& variable : variables_) {
        known.push_back("${" + variable.first + "}");
      }
      return fail(column, "'" + text + "' has a variable that is not known here; expected one of " + list(known));
    }
    text.replace(at, end - at + 1, found->second);
    at += found->second.size();
  }
  return true;
}

bool Parser::findEnd(std::size_t begin, std::size_t& end) {
  const std::size_t repeat = number_;
  int depth = 1;
  for (end = begin; end < lines_.size(); ++end) {
    Words words;
    if (!split(end, words)) {
      return false;
    }
    const std::string first = words.empty() ? "" : words[0].text;
    depth += first == "repeat" ? 1 : first == "end" ? -1 : 0;
    if (depth == 0) {
      return true;
    }
  }
  number_ = repeat;
  return fail(1, "this 'repeat' has no 'end'");
}

// NOLINTNEXTLINE(misc-no-recursion): as above
bool Parser::parseRepeat(std::size_t& number) {
  words_.clear();
  if (!split(number, words_)) {
    return false;
  }
  char* rest = nullptr;
  const std::string count = wordAt(1);
  const long rounds = strtol(count.c_str(), &rest, 10);
  if (count.empty() || *rest != '\0' || rounds < 1 || rounds > kMostRounds) {
    return fail(columnOf(1), "expected how often, a number from 1 to " + std::to_string(kMostRounds));
  }
  if (words_.size() > 2) {
    return fail(columnOf(2), "'" + wordAt(2) + "' is too much; usage: repeat NUMBER");
  }
  if (inside_ > kMostInside) {
    return fail(columnOf(0), "a 'repeat' in more than " + std::to_string(kMostInside) + " others");
  }
  std::size_t end = 0;
  const std::size_t begin = number + 1;
  if (!findEnd(begin, end)) {
    return false;
  }
  ++inside_;
  for (long round = 1; round <= rounds; ++round) {
    if (++rounds_ > kMostRoundsInAll) {
      number_ = begin - 1;
      return fail(1, "more than " + std::to_string(kMostRoundsInAll) + " rounds");
    }
    variables_.emplace_back("n", std::to_string(round));
    const bool isGood = parseLines(begin, end);
    variables_.pop_back();
    if (!isGood) {
      return false;
    }
  }
  --inside_;
  number = end;
  return true;
}

bool Parser::parseStep() {
  const std::string first = words_[0].text;
  if (first.size() > 1 && first.back() == ':') {
    return parseTell();
  }
  for (const NamedStep& several : kSeveral) {
    if (first == several.word) {
      return parseSeveral(several.kind);
    }
  }
  if (first == "process") {
    return parseProcess();
  }
  if (first == "deadline") {
    return parseDeadline();
  }
  if (first == "note") {
    return parseNote();
  }
  if (first == "expect" || first == "forbid") {
    return parseExpect(first == "expect" ? Step::Kind::kExpect : Step::Kind::kForbid);
  }
  if (first == "wait") {
    return parseWait();
  }
  if (first == "allow") {
    return parseAllow();
  }
  if (first == "ended") {
    return parseEnded();
  }
  if (first == "end") {
    return fail(columnOf(0), "this 'end' belongs to no 'repeat'");
  }
  const std::string hint = command::suggestion(first, stepWords());
  return fail(columnOf(0),
              "unknown word '" + first + "'" +
                  (hint.empty() ? "; expected a step (" + list(stepWords()) + ") or 'NAME: COMMAND'" : hint));
}

bool Parser::parseProcess() {
  ProcessLine process;
  process.name = wordAt(1);
  process.place = {number_ + 1, columnOf(1)};
  if (!isName(process.name)) {
    return fail(columnOf(1), "expected a name of letters, digits, - and _; usage: process NAME = KIND ARGUMENTS...");
  }
  if (wordAt(2) != "=") {
    return fail(columnOf(2), "expected '='; usage: process NAME = KIND ARGUMENTS...");
  }
  process.kind = scenario::kindOf(wordAt(3));
  if (process.kind == nullptr) {
    return fail(columnOf(3), "expected a kind of process: " + list(kindNames()));
  }
  for (std::size_t i = 4; i < words_.size(); ++i) {
    process.arguments.push_back(words_[i].text);
  }
  if (process.kind->start.empty() && process.arguments.empty()) {
    return fail(columnOf(4), "expected a program");
  }
  for (ProcessLine& known : scenario_.processes) {
    if (known.name == process.name) {
      if (known.place.line != 0) {
        return fail(columnOf(1),
                    "there is a process '" + process.name + "' already, in line " + std::to_string(known.place.line));
      }
      known = process;
      return true;
    }
  }
  scenario_.processes.push_back(process);
  return true;
}

bool Parser::parseDeadline() {
  const std::optional<text::Duration> deadline = text::parseDuration(wordAt(1));
  if (!deadline) {
    return fail(columnOf(1), "expected a time such as 200ms, 5s or 2min");
  }
  deadline_ = *deadline;
  return words_.size() == 2 || fail(columnOf(2), "'" + wordAt(2) + "' is too much; usage: deadline TIME");
}

bool Parser::parseNote() {
  Step step;
  step.kind = Step::Kind::kNote;
  return add(step);
}

bool Parser::parseSeveral(Step::Kind kind) {
  if (words_.size() < 2) {
    return fail(end_, "expected the name of a process");
  }
  Step step;
  step.kind = kind;
  for (std::size_t i = 1; i < words_.size(); ++i) {
    if (!takeProcess(i, step)) {
      return false;
    }
  }
  return add(step);
}

// NAME: COMMAND... [-> CONDITION... [within TIME]]
bool Parser::parseTell() {
  Step step;
  step.kind = Step::Kind::kTell;
  words_[0].text.pop_back();
  if (!takeProcess(0, step)) {
    return false;
  }
  const auto arrow =
      std::find_if(words_.begin(), words_.end(), [](const Word& w) { return !w.isQuoted && w.text == "->"; });
  const Words command(words_.begin() + 1, arrow);
  const auto behind = static_cast<std::size_t>(arrow - words_.begin());
  if (command.empty()) {
    return fail(columnOf(1), "expected a command for " + words_[0].text);
  }
  if (!checkCommand(kindOf(step), command, columnOf(behind))) {
    return false;
  }
  if (kindOf(step).speaksJson) {
    step.command = command::joined(command);
  } else {  // as it stands
    step.command = trimmed(lines_[number_].substr(lines_[number_].find(':') + 1));
    if (!substitute(step.command, command[0].column)) {
      return false;
    }
  }
  step.commandColumn = command[0].column;
  if (arrow == words_.end()) {
    return add(step);
  }
  if (!kindOf(step).speaksJson) {
    return fail(arrow->column, "a program that was started with 'run' gives no replies");
  }
  if (behind + 1 == words_.size()) {
    return fail(end_, "expected FIELD=VALUE");
  }
  return takeConditions(behind + 1, nullptr, true, step) && add(step);
}

bool Parser::parseExpect(Step::Kind kind) {
  Step step;
  step.kind = kind;
  if (!takeProcess(1, step)) {
    return false;
  }
  const std::vector<std::string>* fields = nullptr;
  if (!checkEvent(kindOf(step), 2, fields)) {
    return false;
  }
  step.event = wordAt(2);
  return takeConditions(3, fields, kind == Step::Kind::kExpect, step) && add(step);
}

bool Parser::parseWait() {
  Step step;
  step.kind = Step::Kind::kWait;
  if (!takeProcess(1, step)) {
    return false;
  }
  if (!kindOf(step).speaksJson) {
    return fail(columnOf(1), "a program that was started with 'run' has no state to wait for");
  }
  if (words_.size() < 3) {
    return fail(end_, "expected FIELD=VALUE");
  }
  return takeConditions(2, kindOf(step).stateFields, true, step) && add(step);
}

bool Parser::parseAllow() {
  Step step;
  step.kind = Step::Kind::kAllow;
  if (!takeProcess(1, step)) {
    return false;
  }
  return words_.size() == 2 ? add(step) : fail(columnOf(2), "'" + wordAt(2) + "' is too much; usage: allow NAME");
}

bool Parser::parseEnded() {
  static const auto* const fields = new std::vector<std::string>{"code", "signal"};
  Step step;
  step.kind = Step::Kind::kEnded;
  return takeProcess(1, step) && takeConditions(2, fields, true, step) && add(step);
}

bool Parser::takeProcess(std::size_t index, Step& step) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < scenario_.processes.size(); ++i) {
    if (scenario_.processes[i].name == wordAt(index)) {
      step.processes.push_back(i);
      return true;
    }
    names.push_back(scenario_.processes[i].name);
  }
  if (index >= words_.size()) {
    return fail(end_, "expected the name of a process");
  }
  const std::string hint = command::suggestion(wordAt(index), names);
  return fail(columnOf(index), "there is no process '" + wordAt(index) + "'" +
                                   (hint.empty() ? "; 'process NAME = KIND' makes one" : hint));
}

bool Parser::takeConditions(std::size_t from, const std::vector<std::string>* fields, bool mayWait, Step& step) {
  step.within = deadline_;
  for (std::size_t i = from; i < words_.size(); ++i) {
    if (mayWait && words_[i].text == "within" && !words_[i].isQuoted) {
      const std::optional<text::Duration> within = text::parseDuration(wordAt(i + 1));
      if (!within) {
        return fail(columnOf(i + 1), "expected a time such as 200ms, 5s or 2min");
      }
      step.within = *within;
      return i + 2 >= words_.size() || fail(columnOf(i + 2), "'" + wordAt(i + 2) + "' is too much");
    }
    if (!takeCondition(words_[i], fields, step)) {
      return false;
    }
  }
  return true;
}

bool Parser::takeCondition(const Word& word, const std::vector<std::string>* fields, Step& step) {
  const std::size_t at = word.text.find_first_of("=!<>~");
  Condition condition;
  const OperatorText* op = nullptr;
  for (const OperatorText& candidate : kOperators) {
    if (op == nullptr && at != std::string::npos &&
        word.text.compare(at, std::char_traits<char>::length(candidate.text), candidate.text) == 0) {
      op = &candidate;
    }
  }
  if (op == nullptr || at == 0) {
    return fail(word.column, "expected FIELD=VALUE (or != < <= > >= ~) instead of '" + word.text + "'");
  }
  condition.field = word.text.substr(0, at);
  condition.op = op->op;
  condition.value = word.text.substr(at + std::char_traits<char>::length(op->text));
  condition.isAny = condition.value == "*" && !word.isQuoted;
  const std::string outer = condition.field.substr(0, condition.field.find('.'));
  const auto isField = [fields](const std::string& name) {
    return std::count(fields->begin(), fields->end(), name) != 0;
  };
  if (fields != nullptr && !isField(condition.field) && !isField(outer)) {
    return fail(word.column, "there is no field '" + outer + "' here" + command::suggestion(outer, *fields) +
                                 "; expected one of " + list(*fields));
  }
  step.conditions.push_back(condition);
  return true;
}

bool Parser::checkCommand(const Kind& kind, const Words& words, std::size_t end) {
  command::Call call;
  command::Mistake mistake;
  if (kind.commands != nullptr && !kind.commands->parse(words, end, call, mistake)) {
    return fail(mistake.column, mistake.text);
  }
  return true;
}

bool Parser::checkEvent(const Kind& kind, std::size_t index, const std::vector<std::string>*& fields) {
  if (index >= words_.size()) {
    return fail(end_, "expected the name of an event");
  }
  if (kind.events == nullptr) {
    return true;
  }
  std::vector<std::string> names;
  for (const talk::EventKind& event : *kind.events) {
    if (event.name == wordAt(index)) {
      fields = &event.fields;
      return true;
    }
    names.push_back(event.name);
  }
  return fail(columnOf(index), "'" + wordAt(index) + "' never comes from a process of kind " + kind.name +
                                   command::suggestion(wordAt(index), names) + "; expected one of " + list(names));
}

bool Parser::add(Step step) {
  if (scenario_.steps.size() == kMostSteps) {
    return fail(columnOf(0), "more than " + std::to_string(kMostSteps) + " steps");
  }
  step.place = {number_ + 1, columnOf(0)};
  step.text = trimmed(lines_[number_]);
  if (step.within.count() == 0) {
    step.within = deadline_;
  }
  scenario_.steps.push_back(std::move(step));
  return true;
}

bool Parser::fail(std::size_t column, const std::string& text) {
  mistake_ = {{number_ + 1, column}, text};
  return false;
}

bool parse(const std::string& source, const Variables& variables, const std::vector<ProcessLine>& implied,
           Scenario& scenario, ParseMistake& mistake) {
  return Parser(source, variables, implied, scenario, mistake).parse();
}

}  // namespace scenario
