// There and back through the product: sendDataFromHU, the server's observer, sendDataFromDevice, the client's observer.
// Observers send from within their calls, so that no thread hands over to another inside a process.
#include "benchmarks/roundtrip/round_trip.h"
#include "benchmarks/support/shared_page.h"
#include "benchmarks/support/stage.h"

namespace bench {
namespace {

struct Page {
  ProductStart start;
  Milestone done;
  Milestone counted;
  Crew crew;
  RoundTripFigures figures;
};

void answer(const ProductKind& kind, Page& page) {
  ProductServer* own = nullptr;
  ProductServer server(
      [&own](unsigned short session, const std::uint8_t* data, unsigned int size) { own->send(session, data, size); });
  own = &server;
  page.crew.join();
  server.connect(page.start, kind.apps == 1 ? 2 : 3, kind.apps);
  page.counted.waitFor(1);
}

void ask(const RoundTripJob& job, Page& page) {
  Stopwatch stopwatch(job);
  ProductClient* own = nullptr;
  ProductClient client(page.start, 1, [&](const std::uint8_t* data, unsigned int size) {
    stopwatch.end(data, size);
    if (stopwatch.isDone()) {
      page.done.advance();
    } else {
      own->send(stopwatch.begin(), job.bytes);
    }
  });
  own = &client;
  page.crew.join();
  page.start.ready.waitFor(1);
  const Usage before = page.crew.usage();
  client.send(stopwatch.begin(), job.bytes);
  page.done.waitFor(1);
  page.figures = stopwatch.figures(page.crew.usage() - before);
  page.counted.advance();
}

}  // namespace

RoundTripFigures roundTripOf(const ProductKind& kind, const RoundTripJob& job) {
  SharedPage<Page> page;
  std::vector<Role> roles = {{"device side", job.placement.receiver, inEnvironment(kind, [&] { answer(kind, *page); })},
                             {"application", job.placement.sender, inEnvironment(kind, [&] { ask(job, *page); })}};
  if (kind.apps > 1) {
    roles.push_back(idleApplications(kind, job.placement.sender, page->start, page->crew));
  }
  runOnStage([] {}, roles);
  return page->figures;
}

}  // namespace bench
