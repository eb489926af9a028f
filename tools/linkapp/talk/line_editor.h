// The line at a terminal: editing, history, completion; what happens meanwhile is printed above it.
//
// Wraps libedit. One per process at a time. Threads: one.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace talk {

class LineEditor {
 public:
  // Whole words that may stand at the end of `line`, in place of its last, unfinished one.
  using Complete = std::function<std::vector<std::string>(const std::string& line)>;

  // Shows the prompt. `historyFile` is read now and written at the end; empty = none.
  LineEditor(std::string prompt, std::string historyFile, Complete complete);
  // Gives the terminal back as it was.
  ~LineEditor();
  LineEditor(const LineEditor&) = delete;
  LineEditor& operator=(const LineEditor&) = delete;

  enum class Input { kNothing, kLine, kEnd };
  // Takes what was typed. After kLine and kEnd the terminal is as ever, until resume().
  Input read(std::string& line);
  void resume();

  // Around whatever is printed while the prompt stands there.
  void hide();
  void show();

 private:
  struct State;
  const std::unique_ptr<State> state_;
};

// Where a process of this name keeps its history; empty where there is no home. Makes the folder.
std::string historyFileFor(const std::string& process);

}  // namespace talk
