// `linkapp monitor`.
#pragma once

#include <string>
#include <vector>

#include "cli/manual.h"

namespace monitor {

const cli::Manual& manual();

int run(const std::vector<std::string>& words);

}  // namespace monitor
