// Manual pages, as man reads them.
#pragma once

#include <string>
#include <vector>

#include "cli/manual.h"

namespace cli {

// linkapp-NAME.1
std::string manPage(const Manual& manual);

// linkapp.1, which names them all.
std::string manPage(const std::vector<const Manual*>& manuals);

}  // namespace cli
