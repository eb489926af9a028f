// What a head-unit application is made of.
#pragma once

#include <string>
#include <vector>

namespace app {

// The listeners that an application may have. Each stands for an object of the library with a client of its own, all
// but the first without an entry in the registration table.
enum class Part {
  kApp,           // VQSLinkAppOperator: messages, send results and device status
  kDeviceStatus,  // VQSLinkAppDeviceStatus alone
  kHandsFree,     // LinkAppHfpWrapper
  kPlayback,      // LinkAppiOSPlaybackInfo
};

const char* nameOf(Part part);
const std::vector<std::string>& partNames();
Part partOf(const std::string& name);  // one of partNames()

struct Setup {
  std::string name = "app";
  std::string launchString = "com.example.app";
  std::string iap1Name;
  std::string sppUuid;  // empty = no side for Bluetooth SPP
  std::vector<Part> parts = {Part::kApp, Part::kHandsFree, Part::kPlayback};
  bool isLaunching = false;   // launches its app whenever an iPhone has been connected
  bool isLinkingSpp = false;  // links every phone with Bluetooth SPP that is there
};

}  // namespace app
