#include "tests/unit/reference/log_access.h"

#include <dirent.h>
#include <gtest/gtest.h>
#include <stdio.h>

#include <cstdlib>
#include <fstream>

#include "tests/conformance/worker.h"
#include "tests/support/shm_files.h"
#include "tests/support/wait_until.h"

using test_support::shmFile;
using test_support::waitUntil;
using vqframework::kGroupCount;
using vqframework::kMessageLogName;
using vqframework::MessageLog;
using vqframework::MessageLogObject;

namespace log_access {
namespace {

constexpr std::uint32_t kEveryGroup = (1U << kGroupCount) - 1;

std::string aside() {
  return shmFile(std::string(kMessageLogName) + ".aside");
}

}  // namespace

MessageLog& log() {
  return *MessageLog::get();
}

MessageLogObject& object() {
  return log().object();
}

bool add(VQSharedMemNotifier& notifier, conformance::Recorder& recorder, const std::vector<unsigned int>& ids) {
  return notifier.AddObserver(recorder.observer(), ids.data(), static_cast<unsigned int>(ids.size()));
}

bool notify(VQSharedMemNotifier& notifier, unsigned int id, const std::string& payload) {
  return notifier.NotifyDataUpdate(id, payload.data(), static_cast<unsigned int>(payload.size()));
}

std::uint32_t sleepingGroups() {
  return object().sleepers & kEveryGroup;
}

std::uint32_t sleeperCount() {
  return object().sleepers >> kGroupCount;
}

std::uint32_t owedGroups() {
  return static_cast<std::uint32_t>(object().owed) & kEveryGroup;
}

std::vector<long> deliveryThreads() {
  std::vector<long> found;
  DIR* const folder = opendir("/proc/self/task");
  while (const dirent* const entry = readdir(folder)) {
    std::ifstream file(std::string("/proc/self/task/") + entry->d_name + "/comm");
    std::string name;
    std::getline(file, name);
    if (name == "vq-delivery") {
      found.push_back(std::atol(entry->d_name));
    }
  }
  closedir(folder);
  return found;
}

bool isDeliveryAsleepFor(unsigned int id) {
  return waitUntil([id] {
    const std::vector<long> threads = deliveryThreads();
    return threads.size() == 1 && (sleepingGroups() & MessageLog::groupOf(id)) != 0 &&
           conformance::isAsleep(threads[0]);
  });
}

LogOutOfTheWay::LogOutOfTheWay() : wasThere_(rename(shmFile(kMessageLogName).c_str(), aside().c_str()) == 0) {}

LogOutOfTheWay::~LogOutOfTheWay() {
  test_support::removeShm(kMessageLogName);
  if (wasThere_) {
    EXPECT_EQ(rename(aside().c_str(), shmFile(kMessageLogName).c_str()), 0);
  }
}

}  // namespace log_access
