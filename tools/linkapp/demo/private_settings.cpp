#include "demo/private_settings.h"

#include <errno.h>
#include <stdlib.h>

#include <filesystem>
#include <system_error>

namespace demo {

PrivateSettings::PrivateSettings() : folder_("/dev/shm/linkapp-demo-XXXXXX") {
  if (mkdtemp(folder_.data()) == nullptr) {
    throw std::system_error(errno, std::generic_category(), folder_);
  }
  setenv("VQ_SETTINGS_DIR", folder_.c_str(), 1);
}

PrivateSettings::~PrivateSettings() {
  std::error_code ignored;  // there is nobody to tell
  std::filesystem::remove_all(folder_, ignored);
}

}  // namespace demo
