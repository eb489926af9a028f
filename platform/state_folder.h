// Where settings and the numbers of Bluetooth devices lie: one folder for both, wherever it is looked for.
#pragma once

#include <functional>
#include <string>

namespace platform {

// Empty where there is none for this user.
std::string stateFolder();
// Where a process with this environment looks. What is not set is empty.
std::string stateFolder(const std::function<std::string(const char* name)>& environment, bool isRoot);

}  // namespace platform
