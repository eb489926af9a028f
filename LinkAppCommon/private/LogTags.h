// LogTags: for whose objects a module's diagnostics are switched on.
//
// A build that looks into one application makes the two differ and gives the first that application's name. They are
// empty otherwise, and nobody is chosen.
#pragma once

#include <string_view>

struct LogTags {
  std::string_view first;
  std::string_view second;

  constexpr bool choose(std::string_view name) const { return first != second && first == name; }
};
