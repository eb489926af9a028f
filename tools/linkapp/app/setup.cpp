#include "app/setup.h"

#include <algorithm>

namespace app {

const std::vector<std::string>& partNames() {
  static const auto* const names = new std::vector<std::string>{"app", "device-status", "hands-free", "playback"};
  return *names;
}

const char* nameOf(Part part) {
  return partNames()[static_cast<std::size_t>(part)].c_str();
}

Part partOf(const std::string& name) {
  return static_cast<Part>(std::find(partNames().begin(), partNames().end(), name) - partNames().begin());
}

}  // namespace app
