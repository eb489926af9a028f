// A terminal as a whole screen; as it was before at the end.
#pragma once

#include <vector>

#include "monitor/top_page.h"

namespace monitor {

class Screen {
 public:
  // Throws std::runtime_error where there is no terminal, or one that cannot do it.
  Screen();
  ~Screen();
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  std::size_t width() const;
  std::size_t height() const;
  void show(const std::vector<Row>& rows);

  enum class Key { kNone, kQuit, kResized, kOther };
  // Never waits.
  Key key();

 private:
  unsigned long attributesOf(Row::Style style) const;

  void* terminal_ = nullptr;  // curses' SCREEN
  bool isColoured_ = false;
};

}  // namespace monitor
