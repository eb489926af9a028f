// What can be told to a process of the tool: one table of commands, which the prompt, the scenario files, the control
// socket, the help texts and the completion all read.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <variant>
#include <vector>

#include "command/words.h"
#include "text/duration.h"
#include "text/fields.h"

namespace command {

enum class Type {
  kWord,      // one word
  kChoice,    // one of `choices`
  kNumber,    // from `least` to `most`
  kDuration,  // 200ms, 5s, 2min
  kBytes,     // hexadecimal digits, two per byte
  kAddress,   // aa:bb:cc:dd:ee:ff
  kFile,      // path of a file
  kRest,      // the rest of the line; the last argument only
};

struct Argument {
  std::string name;
  Type type = Type::kWord;
  bool isOptional = false;
  std::string keyword;  // not empty: given as "keyword VALUE" behind the plain ones, in any order; optional
  std::vector<std::string> choices;  // kChoice; of kWord what completion offers beside `source`
  std::int64_t least = 0;            // kNumber
  std::int64_t most = 0;
  std::string source;  // what completion asks the process for, such as "app"; empty = nothing
};

struct Command {
  std::string name;
  std::string group;    // heading in the help
  std::string purpose;  // one line, without a full stop
  std::vector<Argument> arguments;
  std::string example;
  std::string details;  // more for `help NAME`; may be empty
};

// One command as it was given: checked, with its arguments by name.
class Call {
 public:
  using Argument = std::variant<std::string, std::int64_t, text::Duration>;

  std::string name;
  std::map<std::string, Argument> arguments;

  bool has(const std::string& argument) const { return arguments.count(argument) != 0; }
  // Where it was not given: empty, 0, or the second parameter.
  std::string text(const std::string& argument, const std::string& otherwise = "") const;
  std::int64_t number(const std::string& argument, std::int64_t otherwise = 0) const;
  text::Duration duration(const std::string& argument, text::Duration otherwise = {}) const;
  std::vector<std::uint8_t> bytes(const std::string& argument) const;
};

// What a command gave: fields where it was done, else the reason. `column` is set where a word of the line is at fault.
struct Reply {
  bool isOk = true;
  text::Fields fields;
  std::string error;
  std::size_t column = 0;

  static Reply done(text::Fields fields = {}) { return {true, std::move(fields), "", 0}; }
  static Reply refused(std::string error) { return {false, {}, std::move(error), 0}; }
};

// Names that completion offers for a `source`.
using Names = std::function<std::vector<std::string>(const std::string& source)>;

// Paths that begin so; folders end with a slash. Hidden ones only where the dot was typed.
std::vector<std::string> filesBeginningWith(const std::string& beginning);

class Table {
 public:
  explicit Table(std::vector<Command> commands) : commands_(std::move(commands)) {}

  const std::vector<Command>& commands() const { return commands_; }
  const Command* find(const std::string& name) const;
  std::vector<std::string> names() const;

  // Checks the words of one line. `end` is the column behind it, where a missing argument is reported.
  bool parse(const std::vector<Word>& words, std::size_t end, Call& call, Mistake& mistake) const;
  // The same from the line itself.
  bool parse(const std::string& line, Call& call, Mistake& mistake) const;

  // What may stand at the end of `line`, whole words; those of the last, unfinished word's beginning.
  std::vector<std::string> complete(const std::string& line, const Names& names) const;

  // All commands in groups, and one with its arguments and example. Empty for an unknown one.
  std::string help() const;
  std::string help(const std::string& name) const;

 private:
  const std::vector<Command> commands_;
};

// "send APP TEXT [every DURATION]"
std::string usage(const Command& command);

// "usb or bluetooth", "a number from 1 to 4096", ...
std::string describe(const Argument& argument);

// The nearest of `known`, as "; did you mean 'plug'?", or empty where none is near.
std::string suggestion(const std::string& word, const std::vector<std::string>& known);

}  // namespace command
