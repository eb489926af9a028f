#include "demo/simulation.h"

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>
#include <system_error>

namespace demo {
namespace {

constexpr const char* kSimulation = "linkapp-bluez-sim";

bool isInPath(const std::string& program) {
  const char* const path = getenv("PATH");
  std::istringstream folders(path == nullptr ? "" : path);
  for (std::string folder; std::getline(folders, folder, ':');) {
    if (access((folder + "/" + program).c_str(), X_OK) == 0) {
      return true;
    }
  }
  return false;
}

}  // namespace

// Beside this program, or where the build leaves it.
Simulation findSimulation() {
  std::error_code error;
  const std::filesystem::path folder = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
  for (const auto& candidate : {folder / kSimulation, folder.parent_path() / "bluez_sim" / kSimulation}) {
    if (access(candidate.c_str(), X_OK) == 0) {
      if (isInPath("dbus-daemon")) {
        return {candidate, ""};
      }
      return {"", "dbus-daemon is not installed"};
    }
  }
  return {"", std::string(kSimulation) + " is not there"};
}

}  // namespace demo
