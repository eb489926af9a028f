// There and back over a link: both sides wait asleep in their main threads.
#include "benchmarks/roundtrip/round_trip.h"
#include "benchmarks/support/futex.h"
#include "benchmarks/support/shared_page.h"
#include "benchmarks/support/stage.h"

namespace bench {
namespace {

struct Page {
  Milestone open;
  Crew crew;
  RoundTripFigures figures;
};

void open(Link& link, Side side, Page& page) {
  link.open(side);
  page.crew.join();
  page.open.advance();
  page.open.waitFor(2);
}

void ask(Link& link, const RoundTripJob& job, Page& page) {
  open(link, Side::kClient, page);
  Stopwatch stopwatch(job);
  unsigned char buffer[kMaxMessage] = {};
  const Usage before = page.crew.usage();
  while (!stopwatch.isDone()) {
    link.send(stopwatch.begin(), job.bytes);
    link.flush();
    const std::size_t size = link.receive(buffer);
    stopwatch.end(buffer, size);
    if (stopwatch.isBurstOver() && job.afterBurst) {
      job.afterBurst(page.crew);
    }
  }
  page.figures = stopwatch.figures(page.crew.usage() - before);
}

void answer(Link& link, const RoundTripJob& job, Page& page) {
  open(link, Side::kServer, page);
  unsigned char buffer[kMaxMessage] = {};
  for (unsigned int i = 0; i < job.total(); ++i) {
    const std::size_t size = link.receive(buffer);
    link.send(buffer, size);
    link.flush();
  }
  // The client ends the measurement: what was sent last may need this process to get there.
  page.open.waitFor(3);
}

}  // namespace

RoundTripFigures roundTripOf(const LinkKind& kind, const RoundTripJob& job) {
  const std::unique_ptr<Link> link = kind.make();
  SharedPage<Page> page;
  runOnStage(
      [&] { link->prepare(job.placement.receiver); },
      {{"server", job.placement.receiver, [&] { answer(*link, job, *page); }}, {"client", job.placement.sender, [&] {
                                                                                  ask(*link, job, *page);
                                                                                  page->open.advance();
                                                                                }}});
  return page->figures;
}

}  // namespace bench
