#include "monitor/screen.h"

#include <clocale>
#include <cstdio>
#include <stdexcept>

#define NCURSES_NOMACROS 1
#include <ncursesw/curses.h>
#include <unistd.h>

#include "text/terminal.h"

namespace monitor {
namespace {

constexpr short kTitleColour = 1;
constexpr short kAlarmColour = 2;

}  // namespace

Screen::Screen() {
  if (isatty(STDIN_FILENO) != 1 || isatty(STDOUT_FILENO) != 1) {
    throw std::runtime_error("--top needs a terminal; without one, --stats tells the same in lines");
  }
  setlocale(LC_ALL, "");
  terminal_ = newterm(nullptr, stdout, stdin);
  if (terminal_ == nullptr) {
    throw std::runtime_error("--top cannot draw on this terminal; is TERM right?");
  }
  cbreak();
  noecho();
  nodelay(stdscr, true);
  keypad(stdscr, true);
  curs_set(0);
  isColoured_ = text::isColoured(STDOUT_FILENO) && has_colors();
  if (isColoured_) {
    start_color();
    use_default_colors();
    init_pair(kTitleColour, COLOR_CYAN, -1);
    init_pair(kAlarmColour, COLOR_RED, -1);
  }
}

Screen::~Screen() {
  endwin();
  delscreen(static_cast<SCREEN*>(terminal_));
}

std::size_t Screen::width() const {
  return static_cast<std::size_t>(getmaxx(stdscr));
}

std::size_t Screen::height() const {
  return static_cast<std::size_t>(getmaxy(stdscr));
}

unsigned long Screen::attributesOf(Row::Style style) const {
  const auto colour = [this](short pair) { return isColoured_ ? static_cast<unsigned long>(COLOR_PAIR(pair)) : 0UL; };
  switch (style) {
    case Row::Style::kTitle:
      return A_BOLD | colour(kTitleColour);
    case Row::Style::kHead:
      return A_REVERSE;
    case Row::Style::kAlarm:
      return A_BOLD | colour(kAlarmColour);
    case Row::Style::kDim:
      return A_DIM;
    default:
      return A_NORMAL;
  }
}

void Screen::show(const std::vector<Row>& rows) {
  werase(stdscr);
  int line = 0;
  for (const Row& row : rows) {
    const auto attributes = static_cast<attr_t>(attributesOf(row.style));
    wattr_on(stdscr, attributes, nullptr);
    mvwaddstr(stdscr, line, 0, row.text.c_str());
    wattr_off(stdscr, attributes, nullptr);
    ++line;
  }
  wrefresh(stdscr);
}

Screen::Key Screen::key() {
  switch (wgetch(stdscr)) {
    case ERR:
      return Key::kNone;
    case 'q':
    case 'Q':
      return Key::kQuit;
    case KEY_RESIZE:
      return Key::kResized;
    default:
      return Key::kOther;
  }
}

}  // namespace monitor
