// `linkapp why`.
#pragma once

#include <string>
#include <vector>

#include "cli/manual.h"

namespace why {

const cli::Manual& manual();

int run(const std::vector<std::string>& arguments);

}  // namespace why
