#include "tests/faults/held.h"

#include <dirent.h>

#include <fstream>
#include <string>

namespace faults {
namespace {

unsigned int entriesOf(const char* path) {
  unsigned int count = 0;
  DIR* const folder = opendir(path);
  if (folder == nullptr) {
    return 0;
  }
  while (readdir(folder) != nullptr) {
    ++count;
  }
  closedir(folder);
  return count - 2;  // "." and ".."
}

unsigned int sharedMappings() {
  unsigned int count = 0;
  std::ifstream file("/proc/self/maps");
  for (std::string line; std::getline(file, line);) {
    count += line.find(" /dev/shm/") != std::string::npos ? 1U : 0U;
  }
  return count;
}

}  // namespace

Held held() {
  return {entriesOf("/proc/self/fd") - 1, sharedMappings(), entriesOf("/proc/self/task"), liveAllocations()};
}

}  // namespace faults
