#include "tests/storm/footprint.h"

#include <malloc.h>
#include <sys/stat.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "tests/support/shm_files.h"
#include "tests/support/wait_until.h"

namespace storm {
namespace {

constexpr const char* kShm = "/dev/shm/";

std::uint64_t entriesIn(const std::string& folder) {
  std::uint64_t count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder)) {
    ++count;
  }
  return count;
}

std::uint64_t numberIn(const std::string& line) {
  return std::stoull(line.substr(line.find(':') + 1));
}

// From the line that opens a mapping's description.
bool isProgramOrLibrary(const std::string& line) {
  const std::size_t path = line.find('/');
  return path != std::string::npos && line.compare(path, strlen(kShm), kShm) != 0;
}

}  // namespace

Footprint footprintOf(const std::string& name, pid_t pid) {
  const std::string folder = "/proc/" + std::to_string(pid);
  Footprint footprint;
  footprint.name = name;
  // Not "status": what stands there may be some hundred kilobytes late.
  std::ifstream file(folder + "/smaps");
  bool isOfProgram = false;
  for (std::string line; std::getline(file, line);) {
    const std::string field = line.substr(0, line.find_first_of(": "));
    if (field.find('-') != std::string::npos) {
      isOfProgram = isProgramOrLibrary(line);
    } else if (field == "Rss") {
      footprint.memoryKib += isOfProgram ? 0 : numberIn(line);
    } else if (field == "Anonymous") {
      footprint.memoryKib += isOfProgram ? numberIn(line) : 0;
      footprint.privateKib += numberIn(line);
    }
  }
  if (footprint.memoryKib == 0) {
    throw std::runtime_error("cannot see the memory of " + name);
  }
  footprint.descriptors = entriesIn(folder + "/fd");
  footprint.threads = entriesIn(folder + "/task");
  return footprint;
}

SharedObjects sharedObjects() {
  SharedObjects objects;
  for (const std::string& name : test_support::shmNames()) {
    struct stat status = {};
    if (stat(test_support::shmFile(name).c_str(), &status) == 0) {
      ++objects.count;
      objects.bytes += static_cast<std::uint64_t>(status.st_size);
      objects.blocks += static_cast<std::uint64_t>(status.st_blocks);
    }
  }
  return objects;
}

std::uint64_t heapInUse() {
  if (test_support::kSlowness > 1) {
    return 0;  // a sanitizer's heap
  }
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

}  // namespace storm
