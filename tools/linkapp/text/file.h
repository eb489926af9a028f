// Files that are read whole.
#pragma once

#include <string>

namespace text {

// False where it cannot be read to its end, as a folder cannot; errno says why. `content` receives what could be read.
bool readFile(const std::string& path, std::string& content);

}  // namespace text
