// What the demo shows: a timeline while it runs, and a summary at the end.
#pragma once

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

namespace demo {

// One application's exchange, in its own words.
struct Exchange {
  std::string app;
  unsigned int sent = 0;
  unsigned int echoed = 0;
  unsigned int corrupted = 0;
  double medianUs = 0;
  double percentile99Us = 0;
};

class Timeline {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // Coloured where `out` is a terminal and nobody has asked for none.
  explicit Timeline(FILE* out);
  void say(const std::string& who, const std::string& text, Time time = std::chrono::steady_clock::now()) const;
  double secondsAt(Time time) const;

 private:
  FILE* const out_;
  const bool isColoured_;
  const Time start_ = std::chrono::steady_clock::now();
};

struct Summary {
  std::vector<Exchange> exchanges;
  std::vector<std::string> problems;
  unsigned int wanted = 0;  // messages that each application was to send
  double seconds = 0;

  // Every message was sent, came back, and was the same.
  bool isComplete() const;
};

void printTable(const Summary& summary);
void printJson(const Summary& summary);

}  // namespace demo
