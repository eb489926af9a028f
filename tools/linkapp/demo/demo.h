// `linkapp demo`: the main job of the system in one minute, with real processes and a simulated phone.
#pragma once

#include <string>
#include <vector>

namespace demo {

constexpr const char* kDeviceSideRole = "demo-device-side";
constexpr const char* kApplicationRole = "demo-application";
constexpr const char* kSppPhoneRole = "demo-spp-phone";

// The demo itself; the others are its processes.
int run(const std::vector<std::string>& arguments);
int runDeviceSide(const std::vector<std::string>& arguments);
int runApplication(const std::vector<std::string>& arguments);
int runSppPhone(const std::vector<std::string>& arguments);

}  // namespace demo
