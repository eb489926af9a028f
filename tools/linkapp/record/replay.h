// `linkapp replay`.
#pragma once

#include <string>
#include <vector>

#include "cli/manual.h"

namespace record {

const cli::Manual& replayManual();

int runReplay(const std::vector<std::string>& arguments);

}  // namespace record
