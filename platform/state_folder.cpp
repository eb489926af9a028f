#include "platform/state_folder.h"

#include <stdlib.h>
#include <unistd.h>

namespace platform {

std::string stateFolder(const std::function<std::string(const char* name)>& environment, bool isRoot) {
  std::string chosen = environment("VQ_SETTINGS_DIR");
  if (!chosen.empty()) {
    return chosen;
  }
  const std::string state = environment("XDG_STATE_HOME");
  if (!state.empty() && state.front() == '/') {
    return state + "/vqframework";
  }
  const std::string home = environment("HOME");
  if (!home.empty()) {
    return home + "/.local/state/vqframework";
  }
  return isRoot ? "/var/lib/vqframework" : "";
}

std::string stateFolder() {
  const auto environment = [](const char* name) {
    const char* const value = getenv(name);
    return std::string(value == nullptr ? "" : value);
  };
  return stateFolder(environment, geteuid() == 0);
}

}  // namespace platform
