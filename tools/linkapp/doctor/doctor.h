// `linkapp doctor`.
#pragma once

#include <string>
#include <vector>

#include "cli/manual.h"

namespace doctor {

const cli::Manual& manual();

int run(const std::vector<std::string>& arguments);

}  // namespace doctor
