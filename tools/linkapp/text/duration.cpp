#include "text/duration.h"

#include <cctype>
#include <cstdint>
#include <utility>

namespace text {
namespace {

constexpr std::pair<const char*, std::int64_t> kUnits[] = {
    {"us", 1}, {"ms", 1000}, {"s", 1000 * 1000}, {"min", 60 * 1000 * 1000}};
constexpr std::int64_t kMost = std::int64_t{24} * 60 * 60 * 1000 * 1000;

bool isDigit(char character) {
  return std::isdigit(static_cast<unsigned char>(character)) != 0;
}

}  // namespace

std::optional<Duration> parseDuration(const std::string& text) {
  std::size_t at = 0;
  std::int64_t whole = 0;
  while (at < text.size() && isDigit(text[at]) && whole <= kMost) {
    whole = whole * 10 + (text[at++] - '0');
  }
  if (at == 0 || whole > kMost) {
    return std::nullopt;
  }
  std::int64_t fraction = 0;
  std::int64_t divisor = 1;
  if (at < text.size() && text[at] == '.') {
    const std::size_t begin = ++at;
    while (at < text.size() && isDigit(text[at]) && divisor < std::int64_t{1000} * 1000) {
      fraction = fraction * 10 + (text[at++] - '0');
      divisor *= 10;
    }
    if (at == begin) {
      return std::nullopt;
    }
  }
  for (const auto& [name, microseconds] : kUnits) {
    if (text.compare(at, std::string::npos, name) == 0) {
      const std::int64_t count = whole > kMost / microseconds ? kMost + 1 : whole * microseconds;
      const std::int64_t rest = fraction * microseconds / divisor;
      return count + rest > kMost ? std::nullopt : std::optional<Duration>(count + rest);
    }
  }
  return std::nullopt;
}

std::string toText(Duration duration) {
  const std::int64_t count = duration.count();
  for (const auto& [name, microseconds] : {kUnits[3], kUnits[2], kUnits[1]}) {
    if (count != 0 && count % microseconds == 0) {
      return std::to_string(count / microseconds) + name;
    }
  }
  return std::to_string(count) + "us";
}

}  // namespace text
