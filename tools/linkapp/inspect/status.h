// `linkapp status`.
#pragma once

#include <string>
#include <vector>

#include "cli/manual.h"

namespace inspect {

const cli::Manual& statusManual();

int runStatus(const std::vector<std::string>& arguments);

}  // namespace inspect
