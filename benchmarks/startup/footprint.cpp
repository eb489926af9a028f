#include "benchmarks/startup/footprint.h"

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

namespace bench {
namespace {

double entriesOf(const char* folder) {
  const std::filesystem::directory_iterator entries(folder);
  return static_cast<double>(std::distance(begin(entries), end(entries)));
}

std::size_t objectsMapped() {
  std::ifstream file("/proc/self/maps");
  std::set<std::string> paths;
  for (std::string line; std::getline(file, line);) {
    const std::size_t path = line.find("/dev/shm/");
    if (path != std::string::npos) {
      paths.insert(line.substr(path));
    }
  }
  return paths.size();
}

}  // namespace

Footprint footprint() {
  Footprint result;
  std::ifstream file("/proc/self/smaps_rollup");
  std::string head;
  std::getline(file, head);
  double size = 0;
  for (std::string key, unit; file >> key >> size >> unit;) {
    if (key == "Private_Clean:" || key == "Private_Dirty:") {
      result.privateMemory += size;
    } else if (key == "Shared_Clean:" || key == "Shared_Dirty:") {
      result.sharedMemory += size;
    } else if (key == "Pss:") {
      result.fairShare = size;
    }
  }
  file.close();
  result.threads = entriesOf("/proc/self/task");
  result.descriptors = entriesOf("/proc/self/fd") - 1;  // without the one that looks
  result.objects = static_cast<double>(objectsMapped());
  return result;
}

}  // namespace bench
