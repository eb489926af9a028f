#include "benchmarks/idle/idle.h"

#include <stdio.h>
#include <unistd.h>

#include <stdexcept>

#include "benchmarks/idle/watch.h"
#include "benchmarks/support/clock.h"
#include "benchmarks/support/shared_page.h"
#include "benchmarks/support/stage.h"

namespace bench {
namespace {

constexpr useconds_t kGlance = 100000;  // between two looks
constexpr double kPatience = 20;        // seconds until something that should happen counts as never happening

struct Page {
  ProductStart start;
  Milestone askedToSpeak;
  Milestone heard;
  Crew crew;
  IdleFigures figures;
};

[[noreturn]] void sleepForEver() {
  for (;;) {
    pause();
  }
}

void beDeviceSide(const IdleJob& job, Page& page) {
  ProductServer server([](unsigned short /*session*/, const std::uint8_t* /*data*/, unsigned int /*size*/) {});
  page.crew.join();
  server.connect(page.start, job.clients + 1, job.clients);
  page.askedToSpeak.waitFor(1);
  server.announceConnection();
  sleepForEver();
}

void beApplication(unsigned int index, Page& page) {
  page.crew.join();
  const ProductClient client(
      page.start, index, [](const std::uint8_t* /*data*/, unsigned int /*size*/) {}, [&page] { page.heard.advance(); });
  sleepForEver();
}

// Looks every now and then. Looking does not wake anybody.
template <class Condition>
void waitUntil(const char* what, Condition condition) {
  const std::int64_t end = now() + static_cast<std::int64_t>(kPatience * 1e9);
  while (!condition()) {
    if (now() > end) {
      throw std::runtime_error(what);
    }
    usleep(kGlance);
  }
}

// Returns what everybody has done until then.
Tally waitForRest(const Crew& crew) {
  Tally latest = tallyOf(crew);
  waitUntil("the processes never come to rest", [&] {
    usleep(kGlance);
    const Tally before = latest;
    latest = tallyOf(crew);
    return activity(before, latest).empty();
  });
  return latest;
}

// So long as it takes, also where a signal comes in between.
double watchFor(unsigned int seconds) {
  const std::int64_t begin = now();
  for (unsigned int left = seconds; left != 0;) {
    left = sleep(left);
  }
  return static_cast<double>(now() - begin) / 1e9;
}

void watch(const IdleJob& job, Page& page) {
  page.start.ready.waitFor(job.clients);
  const Tally resting = waitForRest(page.crew);

  page.figures.seconds = watchFor(job.seconds);
  const Tally stillResting = tallyOf(page.crew);
  const Tally restless = activity(resting, stillResting);
  page.figures.switches = static_cast<double>(switchesIn(restless));
  page.figures.cpu = cpuMicrosecondsIn(restless);
  snprintf(page.figures.restless, sizeof page.figures.restless, "%s", describe(restless).c_str());

  const std::uint32_t heardBefore = page.heard.count();
  page.askedToSpeak.advance();
  waitUntil("a status message has not come to everybody",
            [&] { return page.heard.count() >= heardBefore + job.clients; });
  const Tally busy = activity(stillResting, waitForRest(page.crew));
  page.figures.messageSwitches = static_cast<double>(switchesIn(busy));
  page.figures.messageCpu = cpuMicrosecondsIn(busy);
  if (switchesIn(busy) <= job.clients || cpuMicrosecondsIn(busy) <= 0) {
    throw std::runtime_error("the watching is blind: " + std::to_string(job.clients) +
                             " processes have heard a message, and it saw" + describe(busy));
  }
}

}  // namespace

IdleFigures idleOf(const ProductKind& kind, const IdleJob& job) {
  SharedPage<Page> page;
  std::vector<Role> roles = {
      {"device side", job.placement.receiver, inEnvironment(kind, [&] { beDeviceSide(job, *page); }), true},
      {"observer", job.placement.receiver, [&] { watch(job, *page); }}};
  for (unsigned int i = 1; i <= job.clients; ++i) {
    roles.push_back(
        {"application", job.placement.sender, inEnvironment(kind, [&page, i] { beApplication(i, *page); }), true});
  }
  runOnStage([] {}, roles, job.seconds + 120);
  return page->figures;
}

}  // namespace bench
