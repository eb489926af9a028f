// The tool as a child process, told by lines and heard by lines.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "loop/lines.h"
#include "loop/loop.h"
#include "loop/process.h"
#include "loop/signals.h"

class ToolProcess final : public loop::Process::Listener {
 public:
  // `arguments` without the tool itself.
  ToolProcess(loop::Loop& loop, loop::Signals& signals, const std::vector<std::string>& arguments);

  void tell(const std::string& line) { process_.write(line + "\n"); }
  // Whether a line that holds all these parts comes behind the last that was awaited. A failure is reported.
  bool await(const std::vector<std::string>& parts);
  // The exit code, 128 + signal, or none after the deadline.
  std::optional<int> awaitEnd();
  void closeInput() { process_.closeInput(); }
  void signal(int number) { process_.signal(number); }
  const std::vector<std::string>& lines() const { return told_; }

  void onOutput(const char* data, std::size_t size) override;
  void onEnded(const loop::Ending& ending) override { ending_ = ending; }

 private:
  loop::Loop& loop_;
  std::vector<std::string> told_;
  std::size_t awaited_ = 0;
  loop::Lines lines_{std::size_t{1024} * 1024};
  std::optional<loop::Ending> ending_;
  loop::Process process_;
};

// Runs a program to its end: exit code and what it said.
struct Ran {
  std::optional<int> code;
  std::vector<std::string> lines;
};
Ran runProgram(loop::Loop& loop, loop::Signals& signals, const std::vector<std::string>& arguments);

// The deadline of everything here.
std::chrono::milliseconds patience();
