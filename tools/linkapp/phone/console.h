// Obeys the phone's commands. Prompt, scenario and control socket all end here.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "command/command.h"
#include "loop/loop.h"
#include "phone/device_side.h"
#include "phone/program_app.h"
#include "phone/simulated_phone.h"

namespace phone {

class Console {
 public:
  // `quit` is called for the command of that name.
  Console(loop::Loop& loop, SimulatedPhone& phone, DeviceSide& side, ProgramHost& programs, std::function<void()> quit);

  // "events" is left to whoever shows them: here it does nothing.
  command::Reply obey(const command::Call& call);
  // The same from words and from a line; mistakes become refusals with a column.
  command::Reply obey(const std::vector<command::Word>& words, std::size_t end);
  command::Reply obey(const std::string& line);

  // For completion: launch strings ("app"), those with an open session ("session"), commands ("command").
  std::vector<std::string> names(const std::string& source) const;

 private:
  using Handler = std::function<command::Reply(const command::Call& call)>;

  void addLinkHandlers();
  void addSessionHandlers();
  void addAnswerHandlers();
  void addAppHandlers();
  void addViewHandlers();
  command::Reply installScript(const command::Call& call);

  loop::Loop& loop_;
  SimulatedPhone& phone_;
  DeviceSide& side_;
  ProgramHost& programs_;
  const std::function<void()> quit_;
  std::map<std::string, Handler> handlers_;
};

}  // namespace phone
