// What may follow on the command line.
#pragma once

#include <string>
#include <vector>

#include "cli/manual.h"

namespace cli {

// Candidates for the last of these words behind "linkapp", which may be empty. None where a file may stand: the shell
// knows files.
std::vector<std::string> complete(const std::vector<const Manual*>& manuals, const std::vector<std::string>& words);

// The script that makes a shell ask; empty for a shell that is not known.
std::string completionScript(const std::string& shell);
const std::vector<std::string>& shells();

}  // namespace cli
