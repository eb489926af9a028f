// Objects of the framework, locks and log, that this version refuses for what their first bytes say.
#pragma once

#include <string>
#include <vector>

namespace reset {

// Those that hold something else than they should, or are of another version. An object that is not whole yet is none
// of them: whoever attaches next makes it whole.
std::vector<std::string> refusedObjects();

// Sets the object to zero, where it is: whoever attaches next makes it whole. Nobody can be in the middle of that, and
// the object stays the one that everybody opens. Throws std::runtime_error with the reason.
void makeBlank(const std::string& object);

}  // namespace reset
