// `linkapp man` and `linkapp completion`.
#pragma once

#include <string>
#include <vector>

#include "cli/manual.h"

namespace cli {

// Of the subcommands that have one; the pages and scripts are about these.
using Manuals = std::vector<const Manual*>;

const Manual& manManual();
int runMan(const Manuals& manuals, const std::vector<std::string>& arguments);

const Manual& completionManual();
int runCompletion(const Manuals& manuals, const std::vector<std::string>& arguments);

// `linkapp --complete WORDS...`, for the scripts.
int runComplete(const Manuals& manuals, const std::vector<std::string>& words);

}  // namespace cli
