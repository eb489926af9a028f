// `linkapp scenario`.
#pragma once

#include <string>
#include <vector>

#include "cli/manual.h"

namespace scenario {

const cli::Manual& manual();

int run(const std::vector<std::string>& arguments);

}  // namespace scenario
