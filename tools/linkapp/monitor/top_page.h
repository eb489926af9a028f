// What `linkapp monitor --top` shows, as rows of text. Nothing of a terminal is in it.
#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <vector>

#include "monitor/stats.h"
#include "monitor/watch.h"

namespace monitor {

struct Row {
  enum class Style { kPlain, kTitle, kHead, kAlarm, kDim };
  std::string text;
  Style style = Style::kPlain;
};

// `figures` are those of the last stretch of time, `alarms` the last losses, the newest last. No row is wider than
// `width`, and there are no more than `height`; what does not fit is left out, and the last row says so.
std::vector<Row> topPage(const Figures& figures, const std::deque<std::string>& alarms, const std::string& problem,
                         Watch& watch, std::size_t width, std::size_t height);

}  // namespace monitor
