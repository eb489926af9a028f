// What the parts of the double tell each other.
#pragma once

#include <string>
#include <vector>

namespace vqfake {

std::vector<std::string> locksHeldByThisThread();  // names, outermost first

// The parts of reset().
void resetLog();
void resetNotifier();
void resetLocks();
void resetSettings();

}  // namespace vqfake
