// One run of `linkapp monitor`: looks, and tells what has come, until it is enough.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "loop/loop.h"
#include "monitor/bursts.h"
#include "monitor/filter.h"
#include "monitor/lines.h"
#include "monitor/screen.h"
#include "monitor/stats.h"
#include "monitor/watch.h"

namespace monitor {

enum class View { kLines, kStats, kTop };

struct Plan {
  Options watch;
  Filter filter;
  View view = View::kLines;
  Lines::Form form = Lines::Form::kPlain;
  std::chrono::microseconds period{std::chrono::seconds(1)};  // of stats and top
  std::optional<std::uint64_t> count;                         // messages, then it ends
  std::optional<std::chrono::microseconds> duration;
};

class Session {
 public:
  // Throws std::runtime_error where there is no screen to draw on.
  explicit Session(const Plan& plan);

  // The exit code.
  int run();

 private:
  void look();
  void take(const Turn& turn);
  void tell(const Turn& turn);
  void tellBursts(const std::vector<Burst>& bursts);
  void tellStats();
  void tellRest();
  void nextPeriod();
  void draw();
  void obeyKeys();
  void print(const std::string& text);
  void end(int code);
  bool isEnough() const { return plan_.count && shown_ >= *plan_.count; }

  const Plan plan_;
  loop::Loop loop_;
  Watch watch_;
  Lines lines_;
  Stats stats_;
  Bursts bursts_;
  std::unique_ptr<Screen> screen_;
  Figures figures_;
  std::deque<std::string> alarms_;
  std::string problem_;
  std::uint64_t shown_ = 0;
  std::uint64_t periodBegin_ = 0;  // of stats; 0 = the first one
  bool hasEnded_ = false;
  int code_ = 0;
};

}  // namespace monitor
