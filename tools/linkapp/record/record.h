// `linkapp record`.
#pragma once

#include <string>
#include <vector>

#include "cli/manual.h"

namespace record {

const cli::Manual& manual();

int run(const std::vector<std::string>& arguments);

}  // namespace record
