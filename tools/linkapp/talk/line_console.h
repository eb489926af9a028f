// A process of the tool driven by lines: commands on standard input, what happens on standard output.
//
// With JSON each line of output is an object with "event" or "reply"; every command is answered by one reply, in order,
// and the first event is "ready". Without it the lines are for people. On a terminal the line can be edited, with
// completion and history; what happens meanwhile is printed above it.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "command/command.h"
#include "loop/lines.h"
#include "loop/loop.h"
#include "talk/event.h"
#include "talk/line_editor.h"

namespace talk {

class LineConsole {
 public:
  struct Options {
    bool isJson = false;
    std::string prompt;             // "phone> "; this and what follows is for a terminal
    std::string process;            // whose history it is
    LineEditor::Complete complete;  // may be empty
  };
  using Obey = std::function<command::Reply(const std::vector<command::Word>& words, std::size_t end)>;

  // Shows the hub's events from now on. Input is read after listen().
  LineConsole(loop::Loop& loop, Hub& hub, const Options& options, Obey obey);
  ~LineConsole();
  LineConsole(const LineConsole&) = delete;
  LineConsole& operator=(const LineConsole&) = delete;

  // Reads `input` from now on; `onEnd` is called when it has ended.
  void listen(int input, std::function<void()> onEnd);
  // One line, as if it had been typed. False where it was refused.
  bool take(const std::string& line);

 private:
  void receive(int input);
  void receiveTyped(short events);
  void finish();
  void show(const Event& event);
  void show(const command::Reply& reply, const std::string& command);
  void print(const std::string& line);

  loop::Loop& loop_;
  Hub& hub_;
  const Options options_;
  const Obey obey_;
  const bool isColoured_;
  const Hub::Id hubId_;
  bool isShowingEvents_ = true;
  std::unique_ptr<LineEditor> editor_;  // on a terminal
  int input_ = -1;
  std::function<void()> onEnd_;
  loop::Lines lines_;
};

}  // namespace talk
