// Where settings and the numbers of Bluetooth devices lie: one folder for both, wherever it is looked for.
#pragma once

#include <string>

namespace platform {

// Empty where there is none for this user.
std::string stateFolder();

}  // namespace platform
