// `linkapp phone`.
#pragma once

#include <string>
#include <vector>

namespace phone {

int run(const std::vector<std::string>& arguments);

}  // namespace phone
