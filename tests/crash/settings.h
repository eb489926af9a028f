#pragma once

namespace crash {

// In /dev/shm. Processes of the sweep find it in their environment.
constexpr const char* kSettingsFolder = "crash-settings";

}  // namespace crash
