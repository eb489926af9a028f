#include "benchmarks/support/machine.h"

#include <sys/utsname.h>
#include <time.h>
#include <unistd.h>

#include <fstream>

namespace bench {
namespace {

// What /proc/cpuinfo says first about `key`.
std::string processorFact(const std::string& key) {
  std::ifstream file("/proc/cpuinfo");
  for (std::string line; std::getline(file, line);) {
    const std::size_t colon = line.find(": ");
    if (line.rfind(key, 0) == 0 && colon != std::string::npos) {
      return line.substr(colon + 2);
    }
  }
  return "";
}

}  // namespace

std::string machine() {
  utsname system = {};
  uname(&system);
  const bool isVirtual = (" " + processorFact("flags") + " ").find(" hypervisor ") != std::string::npos;
  std::string processor = processorFact("model name");
  if (processor.empty()) {
    processor = system.machine;
  }
  return processor + ", " + std::to_string(sysconf(_SC_NPROCESSORS_ONLN)) + " processors" +
         (isVirtual ? " of a virtual machine" : "") + ", " + system.sysname + " " + system.release;
}

std::string buildOfThis() {
#ifdef __clang__
  const std::string compiler = std::string("Clang ") + __clang_version__;
#else
  const std::string compiler = std::string("GCC ") + __VERSION__;
#endif
  return compiler + ", " BENCH_BUILD_TYPE;
}

std::string today() {
  const time_t seconds = time(nullptr);
  tm parts = {};
  gmtime_r(&seconds, &parts);
  char text[16];
  strftime(text, sizeof text, "%Y-%m-%d", &parts);
  return text;
}

}  // namespace bench
