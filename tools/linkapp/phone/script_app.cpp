#include "phone/script_app.h"

#include <algorithm>
#include <utility>

#include "command/arguments.h"

namespace phone {
namespace {

using command::Mistake;
using command::Word;

// The actions are commands of their own, so that they are checked as all others are.
const command::Table& actions() {
  static const auto* const table = new command::Table({
      {"send", "", "", {command::argument(command::Type::kRest, "text")}, "", ""},
      {"send-hex", "", "", {command::argument(command::Type::kBytes, "bytes")}, "", ""},
      {"echo", "", "", {}, "", ""},
      {"close", "", "", {}, "", ""},
  });
  return *table;
}

bool parseLine(const std::vector<Word>& words, std::size_t end, ScriptLine& line, Mistake& mistake) {
  const auto at = [&](std::size_t index) { return index < words.size() ? words[index] : Word{"", end, false}; };
  if (at(0).text != "on") {
    mistake = {at(0).column, "expected 'on'"};
    return false;
  }
  const Word trigger = at(1);
  if (trigger.isQuoted) {
    line.trigger = ScriptLine::Trigger::kText;
    line.text = trigger.text;
  } else if (trigger.text == "open" || trigger.text == "any") {
    line.trigger = trigger.text == "open" ? ScriptLine::Trigger::kOpen : ScriptLine::Trigger::kAny;
  } else {
    mistake = {trigger.column, "expected open, any, or a message in quotes"};
    return false;
  }
  std::size_t next = 2;
  if (at(next).text == "after" && !at(next).isQuoted) {
    const std::optional<text::Duration> delay = text::parseDuration(at(next + 1).text);
    if (!delay) {
      mistake = {at(next + 1).column, "expected a time such as 200ms, 5s or 2min"};
      return false;
    }
    line.delay = *delay;
    next += 2;
  }
  if (next >= words.size()) {
    mistake = {end, "expected send, send-hex, echo or close"};
    return false;
  }
  command::Call call;
  if (!actions().parse({words.begin() + static_cast<std::ptrdiff_t>(next), words.end()}, end, call, mistake)) {
    return false;
  }
  if (call.name == "close") {
    line.action = ScriptLine::Action::kClose;
  } else if (call.name == "echo") {
    line.action = ScriptLine::Action::kEcho;
  } else if (call.name == "send-hex") {
    line.message = call.bytes("bytes");
  } else {
    const std::string text = call.text("text");
    line.message.assign(text.begin(), text.end());
  }
  return true;
}

class ScriptApp final : public App {
 public:
  ScriptApp(Session& session, loop::Errands& errands, const std::vector<ScriptLine>& lines)
      : session_(session), errands_(errands), lines_(lines) {}
  ~ScriptApp() override {
    for (const loop::TimerId timer : timers_) {
      errands_.cancel(timer);
    }
  }
  ScriptApp(const ScriptApp&) = delete;
  ScriptApp& operator=(const ScriptApp&) = delete;

  void onOpened() override {
    run([](const ScriptLine& line) { return line.trigger == ScriptLine::Trigger::kOpen; }, {});
  }

  bool onMessage(const Bytes& message) override {
    const std::string text(message.begin(), message.end());
    const auto isFor = [&text](const ScriptLine& line) {
      return line.trigger == ScriptLine::Trigger::kText && line.text == text;
    };
    if (std::any_of(lines_.begin(), lines_.end(), isFor)) {
      run(isFor, message);
    } else {
      run([](const ScriptLine& line) { return line.trigger == ScriptLine::Trigger::kAny; }, message);
    }
    return true;
  }

 private:
  template <class Condition>
  void run(const Condition& isFor, const Bytes& message) {
    for (const ScriptLine& line : lines_) {
      if (!isFor(line)) {
        continue;
      }
      if (line.delay.count() == 0) {
        act(line, message);
      } else {
        timers_.push_back(errands_.after(line.delay, [this, &line, message] { act(line, message); }));
      }
    }
  }

  void act(const ScriptLine& line, const Bytes& message) {
    switch (line.action) {
      case ScriptLine::Action::kSend:
        session_.send(line.message);
        break;
      case ScriptLine::Action::kEcho:
        session_.send(message);
        break;
      case ScriptLine::Action::kClose:
        session_.close();
        break;
    }
  }

  Session& session_;
  loop::Errands& errands_;
  const std::vector<ScriptLine> lines_;
  std::vector<loop::TimerId> timers_;
};

}  // namespace

bool parseScript(const std::string& script, std::vector<ScriptLine>& lines, std::size_t& line, Mistake& mistake) {
  line = 0;
  for (std::size_t begin = 0; begin < script.size();) {
    const std::size_t end = std::min(script.find('\n', begin), script.size());
    ++line;
    std::vector<Word> words;
    std::size_t endColumn = 0;
    if (!command::splitWords(script.substr(begin, end - begin), words, endColumn, mistake)) {
      return false;
    }
    if (!words.empty()) {
      lines.emplace_back();
      if (!parseLine(words, endColumn, lines.back(), mistake)) {
        return false;
      }
    }
    begin = end + 1;
  }
  return true;
}

Installed scriptApp(loop::Errands& errands, const std::string& name, std::vector<ScriptLine> lines) {
  return {"script " + name, [&errands, lines = std::move(lines)](Session& session) {
            return std::make_unique<ScriptApp>(session, errands, lines);
          }};
}

}  // namespace phone
