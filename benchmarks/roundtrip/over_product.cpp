// There and back through the product: sendDataFromHU, the server's observer, sendDataFromDevice, the client's observer.
// Observers send from within their calls, so that no thread hands over to another inside a process. The main thread
// begins each burst, since the delivery thread has to rest between two of them.
#include "benchmarks/roundtrip/round_trip.h"
#include "benchmarks/support/shared_page.h"
#include "benchmarks/support/stage.h"

namespace bench {
namespace {

struct Page {
  ProductStart start;
  Milestone bursts;
  Milestone counted;
  Crew crew;
  RoundTripFigures figures;
};

void answer(const ProductKind& kind, std::uint32_t processes, Page& page) {
  ProductServer* own = nullptr;
  ProductServer server(
      [&own](unsigned short session, const std::uint8_t* data, unsigned int size) { own->send(session, data, size); });
  own = &server;
  page.crew.join();
  server.connect(page.start, processes, kind.apps);
  page.counted.waitFor(1);
}

void ask(const ProductKind& kind, const RoundTripJob& job, Page& page) {
  const auto idle = idleClients(2, kind.idle == IdleApps::kWithTheTalker ? kind.apps : 1);
  Stopwatch stopwatch(job);
  ProductClient* own = nullptr;
  ProductClient client(page.start, 1, [&](const std::uint8_t* data, unsigned int size) {
    stopwatch.end(data, size);
    if (stopwatch.isBurstOver()) {
      page.bursts.advance();
    } else {
      own->send(stopwatch.begin(), job.bytes);
    }
  });
  own = &client;
  page.crew.join();
  page.start.ready.waitFor(1);
  const Usage before = page.crew.usage();
  for (std::uint32_t burst = 1; !stopwatch.isDone(); ++burst) {
    client.send(stopwatch.begin(), job.bytes);
    page.bursts.waitFor(burst);
    if (job.afterBurst) {
      job.afterBurst(page.crew);
    }
  }
  page.figures = stopwatch.figures(page.crew.usage() - before);
  page.counted.advance();
}

}  // namespace

RoundTripFigures roundTripOf(const ProductKind& kind, const RoundTripJob& job) {
  SharedPage<Page> page;
  std::vector<Role> roles = idleProcesses(kind, job.placement.sender, page->start, page->crew);
  const auto processes = static_cast<std::uint32_t>(roles.size() + 2);
  roles.push_back(
      {"device side", job.placement.receiver, inEnvironment(kind, [&] { answer(kind, processes, *page); })});
  roles.push_back({"application", job.placement.sender, inEnvironment(kind, [&] { ask(kind, job, *page); })});
  runOnStage([] {}, roles);
  return page->figures;
}

}  // namespace bench
