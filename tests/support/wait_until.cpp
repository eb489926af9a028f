#include "tests/support/wait_until.h"

#include <time.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

namespace test_support {

double slownessOfTool() noexcept {
  const char* const given = getenv("LINKAPP_TEST_SLOWNESS");
  return given == nullptr ? 1 : std::max(1.0, strtod(given, nullptr));
}

unsigned int roundsUnderTool(unsigned int rounds) noexcept {
  const char* const given = getenv("LINKAPP_TEST_ROUNDS");
  return given == nullptr ? rounds : static_cast<unsigned int>(rounds * strtoul(given, nullptr, 10) / 100);
}

double monotonicSeconds() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

bool waitUntil(const std::function<bool()>& condition, double seconds) {
  const double end = monotonicSeconds() + seconds;
  while (!condition()) {
    if (monotonicSeconds() > end) {
      return condition();
    }
    const timespec nap = {0, 1000000};
    nanosleep(&nap, nullptr);
  }
  return true;
}

bool isAsleep(long thread) {
  std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
  const std::string stat((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const std::size_t name = stat.rfind(") ");
  return name != std::string::npos && stat[name + 2] == 'S';
}

}  // namespace test_support
