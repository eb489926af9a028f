// Short ways to write the arguments of a table of commands.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "command/command.h"

namespace command {

inline Argument argument(Type type, std::string name) {
  Argument made;
  made.type = type;
  made.name = std::move(name);
  return made;
}

inline Argument choice(std::string name, std::vector<std::string> choices) {
  Argument made = argument(Type::kChoice, std::move(name));
  made.choices = std::move(choices);
  return made;
}

inline Argument number(std::string name, std::int64_t least, std::int64_t most) {
  Argument made = argument(Type::kNumber, std::move(name));
  made.least = least;
  made.most = most;
  return made;
}

inline Argument optional(Argument made) {
  made.isOptional = true;
  return made;
}

// Given as "keyword VALUE".
inline Argument after(std::string keyword, Argument made) {
  made.keyword = std::move(keyword);
  return made;
}

// With values that completion asks the process for.
inline Argument from(std::string source, Argument made) {
  made.source = std::move(source);
  return made;
}

}  // namespace command
