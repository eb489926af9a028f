#include "inspect/columns.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

namespace inspect {
namespace {

constexpr std::size_t kGap = 2;

}  // namespace

std::size_t widthOf(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char character) { return (static_cast<unsigned char>(character) & 0xC0) != 0x80; }));
}

std::string Columns::line(const std::vector<std::string>& cells, const std::vector<std::size_t>& widths) const {
  std::string all;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const std::string cell = i < cells.size() ? cells[i] : "";
    const std::string filling(widths[i] - widthOf(cell), ' ');
    const std::string gap(i == 0 ? 0 : kGap, ' ');
    all += gap + (columns_[i].align == Align::kRight ? filling + cell : cell + filling);
  }
  all.erase(all.find_last_not_of(' ') + 1);
  return all;
}

std::string Columns::text(const std::string& indent) const {
  std::vector<std::string> titles;
  std::vector<std::size_t> widths;
  bool hasTitles = false;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    titles.push_back(columns_[i].title);
    hasTitles = hasTitles || !columns_[i].title.empty();
    std::size_t width = widthOf(columns_[i].title);
    for (const std::vector<std::string>& row : rows_) {
      width = std::max(width, i < row.size() ? widthOf(row[i]) : 0);
    }
    widths.push_back(width);
  }
  std::string all = hasTitles ? indent + line(titles, widths) + "\n" : "";
  for (const std::vector<std::string>& row : rows_) {
    all += indent + line(row, widths) + "\n";
  }
  return all;
}

std::string ageText(std::uint64_t nanoseconds) {
  const std::uint64_t milliseconds = nanoseconds / 1'000'000;
  char text[32];
  if (milliseconds < 1000) {
    snprintf(text, sizeof text, "%u ms", static_cast<unsigned int>(milliseconds));
  } else if (milliseconds < 60'000) {
    snprintf(text, sizeof text, "%.1f s", static_cast<double>(milliseconds) / 1000);
  } else if (milliseconds < std::uint64_t{120} * 60'000) {
    snprintf(text, sizeof text, "%u min", static_cast<unsigned int>(milliseconds / 60'000));
  } else {
    snprintf(text, sizeof text, "%llu h", static_cast<unsigned long long>(milliseconds / 3'600'000));
  }
  return text;
}

}  // namespace inspect
