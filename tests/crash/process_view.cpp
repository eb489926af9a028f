#include "tests/crash/process_view.h"

#include <dirent.h>
#include <time.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/wait_until.h"

namespace crash {
namespace {

std::string folderOf(pid_t process) {
  return "/proc/" + std::to_string(process) + "/task/";
}

std::string firstLine(const std::string& path) {
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  return line;
}

}  // namespace

std::vector<pid_t> threadsOf(pid_t process) {
  std::vector<pid_t> threads;
  DIR* const folder = opendir(folderOf(process).c_str());
  if (folder == nullptr) {
    return threads;
  }
  while (const dirent* const entry = readdir(folder)) {
    if (entry->d_name[0] != '.') {
      threads.push_back(static_cast<pid_t>(std::atol(entry->d_name)));
    }
  }
  closedir(folder);
  return threads;
}

unsigned int threadCountOf(pid_t process) {
  return static_cast<unsigned int>(threadsOf(process).size());
}

pid_t deliveryThreadOf(pid_t process) {
  for (const pid_t thread : threadsOf(process)) {
    if (firstLine(folderOf(process) + std::to_string(thread) + "/comm") == "vq-delivery") {
      return thread;
    }
  }
  return 0;
}

bool isAsleep(pid_t process, pid_t thread) {
  return firstLine(folderOf(process) + std::to_string(thread) + "/stat").find(") S ") != std::string::npos;
}

bool lookUntil(const std::function<bool()>& condition, double seconds) {
  constexpr long kFirstNap = 20000;
  constexpr long kLongestNap = 500000;  // looking costs what the others need
  const double end = test_support::monotonicSeconds() + seconds;
  for (timespec nap = {0, kFirstNap}; !condition(); nap.tv_nsec = std::min(nap.tv_nsec * 2, kLongestNap)) {
    if (test_support::monotonicSeconds() > end) {
      return false;
    }
    nanosleep(&nap, nullptr);
  }
  return true;
}

}  // namespace crash
