// How the demo's processes speak to the one that directs them: commands come as lines on standard input, reports go as
// lines to standard output.
//
// A report is a word that the director waits for, and behind it what people read: "session-open session 101 is open".
#pragma once

#include <string>

namespace demo {

// Reports from any thread; lines stay whole.
void report(const std::string& word, const std::string& text);

// The next command, or "quit" when the director is gone.
std::string nextCommand();

// Splits "word rest of the line".
struct Line {
  std::string word;
  std::string rest;
};
Line splitLine(const std::string& line);

}  // namespace demo
