// A folder of the demo's own for the framework's settings, so that it touches no user's.
#pragma once

#include <string>

namespace demo {

class PrivateSettings {
 public:
  // Makes it in /dev/shm, which is the demo's own as a rule: then nothing is left even where the demo is killed. The
  // processes that are started afterwards find it in their environment. Throws std::system_error.
  PrivateSettings();
  ~PrivateSettings();
  PrivateSettings(const PrivateSettings&) = delete;
  PrivateSettings& operator=(const PrivateSettings&) = delete;

 private:
  std::string folder_;
};

}  // namespace demo
