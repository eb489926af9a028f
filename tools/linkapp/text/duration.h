// Times as people write them: 200ms, 5s, 1.5s, 2min.
#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace text {

using Duration = std::chrono::microseconds;

// None for anything else, and for more than a day.
std::optional<Duration> parseDuration(const std::string& text);

std::string toText(Duration duration);

}  // namespace text
