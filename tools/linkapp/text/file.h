// Files that are read whole, and those that lines are kept in.
#pragma once

#include <fstream>
#include <string>

namespace text {

// False where it cannot be read to its end, as a folder cannot; errno says why. `content` receives what could be read.
bool readFile(const std::string& path, std::string& content);

// With the folders above it. Throws std::runtime_error with the folder and the reason.
void makeFolder(const std::string& path);

// A file to write to, empty or as it is; its folder is made where it is not there. Throws std::runtime_error with the
// path and the reason.
std::ofstream openLog(const std::string& path, bool isAnew);

}  // namespace text
