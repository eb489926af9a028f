// A scenario as it was read: processes, and the steps that are done with them. docs/scenarios.md has the format.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "command/command.h"
#include "talk/event.h"
#include "text/duration.h"

namespace scenario {

struct Place {
  std::size_t line = 0;
  std::size_t column = 0;
};

// FIELD=VALUE and its like, for a field of an event, of a reply or of a state.
struct Condition {
  enum class Operator { kEqual, kUnequal, kLess, kLessOrEqual, kGreater, kGreaterOrEqual, kContains };
  std::string field;  // with dots into what is nested: usb.status
  Operator op = Operator::kEqual;
  std::string value;
  bool isAny = false;  // a bare *: the field is there, whatever it holds
};

// What kind of process a scenario may start.
struct Kind {
  std::string name;
  std::vector<std::string> start;            // arguments of the tool; those of the file follow. Empty: any program
  const command::Table* commands = nullptr;  // null: not checked
  const std::vector<talk::EventKind>* events = nullptr;
  const std::vector<std::string>* stateFields = nullptr;
  bool speaksJson = true;    // false: its output lines are events "line", its input lines have no replies
  std::string program = {};  // beside the tool; empty: the tool itself
};

struct ProcessLine {
  std::string name;
  const Kind* kind = nullptr;
  std::vector<std::string> arguments;
  Place place;
};

struct Step {
  enum class Kind {
    kNote,     // `text`
    kStart,    // each of `processes`, until it is ready
    kStop,     // asks it to end, and waits for exit code 0
    kKill,     // SIGKILL
    kRestart,  // kStop and kStart
    kFreeze,   // SIGSTOP
    kThaw,     // SIGCONT
    kTell,     // `command` to the one process; its reply holds `conditions`
    kExpect,   // the one process tells `event` with `conditions`, behind what was expected before
    kWait,     // its state comes to hold `conditions`
    kForbid,   // from here on it must not tell `event` with `conditions`
    kAllow,    // lifts that
    kEnded,    // it ends by itself; `conditions` hold for its exit code or signal
  };
  Kind kind = Kind::kNote;
  Place place;
  std::string text;  // as the file has it
  std::vector<std::size_t> processes;
  std::string command;
  std::size_t commandColumn = 0;
  std::string event;
  std::vector<Condition> conditions;
  text::Duration within{};
};

struct Scenario {
  std::string file;
  std::vector<ProcessLine> processes;
  std::vector<Step> steps;
};

struct ParseMistake {
  Place place;
  std::string text;
};

// "${here}" and the like.
using Variables = std::vector<std::pair<std::string, std::string>>;

// False with the first mistake. `implied` are processes that the file need not declare.
bool parse(const std::string& source, const Variables& variables, const std::vector<ProcessLine>& implied,
           Scenario& scenario, ParseMistake& mistake);

// The kind that simulates Bluetooth; a scenario with such a process has a D-Bus of its own.
constexpr const char* kBluetoothKind = "bluetooth";

// The kinds that there are; null for none of this name.
const Kind* kindOf(const std::string& name);
std::vector<std::string> kindNames();

// Whether the fields of a JSON object hold every condition. Where not, `why` tells the first that fails.
bool holds(const std::string& json, const std::vector<Condition>& conditions, std::string* why = nullptr);

std::string toText(const Condition& condition);

}  // namespace scenario
