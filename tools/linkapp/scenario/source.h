// A scenario file on disk, with the folder that its processes may write to.
#pragma once

#include <string>
#include <vector>

#include "scenario/scenario.h"

namespace scenario {

// A folder below the one for temporary files, removed with what is in it.
class TemporaryFolder {
 public:
  TemporaryFolder();  // throws std::system_error
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// Reads and parses. Variables: ${here} the file's folder, ${tmp} the temporary folder, ${linkapp} this program.
// `more` are the user's own. Empty, or FILE:LINE:COLUMN: with what is wrong.
std::string readScenario(const std::string& file, const TemporaryFolder& folder, const Variables& more,
                         const std::vector<ProcessLine>& implied, Scenario& scenario);

}  // namespace scenario
