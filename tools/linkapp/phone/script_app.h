// An app that answers as a text file says.
//
//   on open send "welcome"          when its session opens
//   on "ping" send "pong"           when exactly this message comes
//   on "ping" after 200ms send-hex 0001ff
//   on "bye" close
//   on any echo                     when a message comes that has no line of its own
//
// Lines of one trigger run in their order; a line with "after" does not hold up those behind it.
#pragma once

#include <string>
#include <vector>

#include "command/words.h"
#include "loop/errands.h"
#include "phone/app.h"
#include "text/duration.h"

namespace phone {

struct ScriptLine {
  enum class Trigger { kOpen, kText, kAny } trigger = Trigger::kOpen;
  std::string text;  // kText
  enum class Action { kSend, kEcho, kClose } action = Action::kSend;
  Bytes message;           // kSend
  text::Duration delay{};  // 0 = at once
};

// False with the mistake and the number of its line.
bool parseScript(const std::string& script, std::vector<ScriptLine>& lines, std::size_t& line,
                 command::Mistake& mistake);

Installed scriptApp(loop::Errands& errands, const std::string& name, std::vector<ScriptLine> lines);

}  // namespace phone
