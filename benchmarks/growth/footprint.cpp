#include "benchmarks/growth/footprint.h"

#include <sys/statvfs.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace bench {
namespace {

std::string folderOf(pid_t process) {
  return "/proc/" + std::to_string(process);
}

// The kernel counts these pages one by one here; what it says in "status" may be some hundred kilobytes late.
double residentOf(pid_t process) {
  std::ifstream file(folderOf(process) + "/smaps_rollup");
  for (std::string line; std::getline(file, line);) {
    if (line.rfind("Rss:", 0) == 0) {
      return std::stod(line.substr(4));
    }
  }
  throw std::runtime_error("cannot see the memory of a process");
}

double entriesIn(const std::string& folder) {
  double count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder)) {
    ++count;
  }
  return count;
}

double sharedMemory() {
  struct statvfs status = {};
  if (statvfs("/dev/shm", &status) != 0) {
    throw std::runtime_error("cannot see the shared memory");
  }
  return static_cast<double>(status.f_blocks - status.f_bfree) * static_cast<double>(status.f_frsize) / 1024;
}

std::string told(double more, const char* unit) {
  return more > 0 ? std::to_string(static_cast<long>(more)) + " " + unit + " more; " : std::string();
}

}  // namespace

Footprint footprintOf(const Crew& crew) {
  Footprint sum;
  sum.shared = sharedMemory();
  for (const pid_t process : crew.members()) {
    sum.resident += residentOf(process);
    sum.descriptors += entriesIn(folderOf(process) + "/fd");
    sum.threads += entriesIn(folderOf(process) + "/task");
  }
  return sum;
}

std::string growthIn(const Footprint& difference) {
  // A page now and then is code or stack that is needed for the first time. A byte that is lost with every tenth of an
  // hour's messages is more.
  constexpr double kNoise = 32;
  return told(difference.resident > kNoise ? difference.resident : 0, "kB of memory") +
         told(difference.shared, "kB of shared memory") + told(difference.descriptors, "open files") +
         told(difference.threads, "threads");
}

}  // namespace bench
