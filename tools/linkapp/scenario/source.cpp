#include "scenario/source.h"

#include <errno.h>
#include <stdlib.h>

#include <filesystem>
#include <system_error>

#include "text/file.h"

namespace scenario {

TemporaryFolder::TemporaryFolder() {
  path_ = (std::filesystem::temp_directory_path() / "linkapp.XXXXXX").string();
  if (mkdtemp(path_.data()) == nullptr) {
    throw std::system_error(errno, std::generic_category(), path_);
  }
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string readScenario(const std::string& file, const TemporaryFolder& folder, const Variables& more,
                         const std::vector<ProcessLine>& implied, Scenario& scenario) {
  std::string source;
  if (!text::readFile(file, source)) {
    return file + ": cannot be read";
  }
  scenario.file = file;
  const std::filesystem::path here = std::filesystem::absolute(file).parent_path();
  Variables variables = {{"here", here.string()},
                         {"tmp", folder.path()},
                         {"linkapp", std::filesystem::read_symlink("/proc/self/exe").string()}};
  variables.insert(variables.end(), more.begin(), more.end());
  ParseMistake mistake;
  if (parse(source, variables, implied, scenario, mistake)) {
    return "";
  }
  return file + ":" + std::to_string(mistake.place.line) + ":" + std::to_string(mistake.place.column) + ": " +
         mistake.text;
}

}  // namespace scenario
