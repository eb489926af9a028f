// `linkapp app`.
#pragma once

#include <string>
#include <vector>

namespace app {

int run(const std::vector<std::string>& arguments);

}  // namespace app
