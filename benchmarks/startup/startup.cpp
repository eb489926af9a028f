#include "benchmarks/startup/startup.h"

#include <errno.h>
#include <sched.h>
#include <string.h>
#include <sys/mount.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "LinkAppCommon/iOSAppCommonLocalMem_AppInfo.h"
#include "benchmarks/support/clock.h"
#include "benchmarks/support/stage.h"

namespace bench {
namespace {

constexpr unsigned int kMostWaits = 10000;  // of a millisecond

std::string appName(unsigned int app) {
  return "app" + std::to_string(app);
}

std::string launchString(unsigned int app) {
  return "launch." + appName(app);
}

void bePresent(unsigned int app, StartupPage& page) {
  const iOSAppCommonClient client("", appName(app), launchString(app));
  page.up.advance();
  page.over.waitFor(1);
}

// The stage hides /tmp, where this program or its libraries may lie.
void showTmp() {
  if (unshare(CLONE_NEWNS) != 0 || umount2("/tmp", MNT_DETACH) != 0) {
    throw std::runtime_error(std::string("cannot show /tmp: ") + strerror(errno));
  }
}

[[noreturn]] void becomeMeasured(int descriptor) {
  showTmp();
  const std::string number = std::to_string(descriptor);
  execl("/proc/self/exe", "bench_startup", "--measured", number.c_str(), nullptr);
  throw std::runtime_error(std::string("cannot start this program again: ") + strerror(errno));
}

template <class Act>
void measure(StartupPage& page, Act act) {
  if (page.job.isWatched) {
    letWatch(page.watched, page.watch);
  }
  page.watched.isCounting = true;
  const std::int64_t begin = now();
  act();
  page.microseconds = static_cast<double>(now() - begin) / 1000;
  page.watched.isCounting = false;
}

bool isAsleep(const std::filesystem::path& thread) {
  std::ifstream file(thread / "stat");
  std::string line;
  std::getline(file, line);
  const std::size_t name = line.rfind(") ");
  return name != std::string::npos && line.compare(name + 2, 1, "S") == 0;
}

// The threads that the product has started have memory of their own, once they have run.
void waitUntilOthersSleep() {
  const std::filesystem::path own = "/proc/self/task/" + std::to_string(getpid());
  for (unsigned int waits = 0; waits < kMostWaits; ++waits) {
    bool areAsleep = true;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
      areAsleep = areAsleep && (thread.path() == own || isAsleep(thread.path()));
    }
    if (areAsleep) {
      return;
    }
    usleep(1000);
  }
  throw std::runtime_error("a thread of the product does not come to rest");
}

void registerApp(StartupPage& page) {
  const unsigned int app = page.job.present + 1;
  iOSAppCommonLocalMem_AppInfo table;
  std::atomic<std::uint32_t> appId{0};
  measure(page, [&] { table.registAppInfo("", appName(app), launchString(app), appId); });
  if (appId != app) {
    throw std::runtime_error("registered as " + std::to_string(appId));
  }
}

void makeClient(StartupPage& page) {
  const std::string name = appName(page.job.present + 1);
  const std::string launch = launchString(page.job.present + 1);
  std::unique_ptr<iOSAppCommonClient> client;
  footprint();  // what looking needs is there from now on
  page.before = footprint();
  measure(page, [&] { client = std::make_unique<iOSAppCommonClient>("", name, launch); });
  waitUntilOthersSleep();
  page.after = footprint();
}

}  // namespace

void startMeasured(StartupPage& page) {
  if (page.job.isRegistration) {
    registerApp(page);
  } else {
    makeClient(page);
  }
  page.over.advance();
}

void runStartup(const StartupJob& job, int processor, int watcher, StartupPage& page, int descriptor) {
  page.job = job;
  std::vector<Role> roles;
  for (unsigned int app = 1; app <= job.present; ++app) {
    roles.push_back({"client", processor, [app, &page] { bePresent(app, page); }});
  }
  roles.push_back({"measured", processor, [&page, descriptor] {
                     page.up.waitFor(page.job.present);
                     becomeMeasured(descriptor);
                   }});
  if (job.isWatched) {
    roles.push_back({"watcher", watcher, [&page] { watchCalls({&page.watched}, page.watch); }});
  }
  runOnStage([] {}, roles);
}

}  // namespace bench
