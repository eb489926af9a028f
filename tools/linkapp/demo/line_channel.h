// How the demo's processes speak to the one that directs them: commands come as lines on standard input, reports go as
// lines to standard output.
#pragma once

#include <chrono>
#include <string>

namespace demo {

// What a process says: a word that the director waits for, and a text that people read. It carries the time at which
// it was made, so that reports of several processes can be put in order; their monotonic clocks are one.
struct Report {
  std::chrono::steady_clock::time_point time;
  std::string word;
  std::string text;
};

// Reports from any thread; lines stay whole.
void report(const std::string& word, const std::string& text);

// What a line of a process says; one that is no report becomes a "problem".
Report parseReport(const std::string& line);

struct Command {
  std::string word;
  std::string argument;  // the rest of the line
};

// The next command, or "quit" when the director is gone.
Command nextCommand();

}  // namespace demo
