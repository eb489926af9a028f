// What the doctor has found: in words, with what shows it, what follows from it, and what to do.
#pragma once

#include <string>
#include <vector>

namespace doctor {

enum class Level {
  kFault,      // something is not as it should be
  kNote,       // the way of the channel, or no trouble today; worth knowing
  kUnchecked,  // could not be looked at
};

struct Finding {
  Level level = Level::kFault;
  std::string what;
  std::string proof;        // what was seen
  std::string consequence;  // for whom, and how it shows
  std::string remedy;
  std::string check = {};  // that found it: its name in the table of checks
};

using Findings = std::vector<Finding>;

}  // namespace doctor
