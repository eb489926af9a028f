// `linkapp reset`.
#pragma once

#include <string>
#include <vector>

#include "cli/manual.h"

namespace reset {

const cli::Manual& manual();

int run(const std::vector<std::string>& arguments);

}  // namespace reset
