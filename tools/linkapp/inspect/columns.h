// A table in columns, for people.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace inspect {

class Columns {
 public:
  // Numbers are aligned to the right.
  enum class Align { kLeft, kRight };
  struct Column {
    std::string title;
    Align align = Align::kLeft;
  };

  explicit Columns(std::vector<Column> columns) : columns_(std::move(columns)) {}

  // One cell per column; missing ones are empty.
  void add(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }
  bool isEmpty() const { return rows_.empty(); }

  // Each line begins with `indent` and has no blanks at its end. Titles come first, where a column has one.
  std::string text(const std::string& indent) const;

 private:
  std::string line(const std::vector<std::string>& cells, const std::vector<std::size_t>& widths) const;

  std::vector<Column> columns_;
  std::vector<std::vector<std::string>> rows_;
};

// Characters of a text in UTF-8.
std::size_t widthOf(const std::string& text);

// 1.2 s, 340 ms, 5 min: for people.
std::string ageText(std::uint64_t nanoseconds);

}  // namespace inspect
