// JSON as far as results need it.
#pragma once

#include <string>
#include <vector>

namespace bench {

std::string quoted(const std::string& text);
std::string list(const std::vector<double>& values);
std::string list(const std::vector<std::string>& texts);

}  // namespace bench
