// Commands by lines on standard input. Answers begin with "= ", what happens stands in lines of its own; or both are
// JSON.
#pragma once

#include <functional>
#include <string>

#include "bluez_sim/commands.h"
#include "bluez_sim/loop.h"

namespace bluez_sim {

class Console {
 public:
  Console(Loop& loop, Commands& commands, bool isJson, std::function<void()> onEnd);
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  static void say(const std::string& line);

 private:
  void read();
  void readFileOn();
  void obey(const std::string& line);
  void answer(const std::string& command, const std::string& text) const;
  void refuse(const std::string& command, const std::string& reason) const;

  Loop& loop_;
  Commands& commands_;
  const bool isJson_;
  const std::function<void()> onEnd_;
  bool isFile_ = false;
  std::string rest_;
  Watch watch_;
};

}  // namespace bluez_sim
