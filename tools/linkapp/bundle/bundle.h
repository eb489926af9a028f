// `linkapp bundle`.
#pragma once

#include <string>
#include <vector>

#include "cli/manual.h"

namespace bundle {

const cli::Manual& manual();

int run(const std::vector<std::string>& arguments);

}  // namespace bundle
