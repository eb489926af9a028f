// bench_roundtrip: how long does a message take there and back?
//
// Workload: a client sends, a server sends the same bytes back, one message under way; 1, 64, 1024 and 4096 bytes.
// Figures: p50, p99 and p99.9 of one round's trips, in microseconds; CPU and context switches of a trip, of all
// processes together.
// "20 apps": 19 more applications are registered; they live in one process and have nothing to do.
#include <algorithm>

#include "benchmarks/links/transports.h"
#include "benchmarks/roundtrip/round_trip.h"
#include "benchmarks/support/results.h"
#include "benchmarks/support/rounds.h"

namespace {

constexpr unsigned int kTrips = 5000;
constexpr unsigned int kFewestTrips = 20;

unsigned int tripsOf(const bench::Options& options, unsigned int slowness) {
  const double trips = kTrips * options.effort / slowness;
  return std::max(static_cast<unsigned int>(trips), kFewestTrips);
}

void measure(const bench::Options& options) {
  const bench::Transports<bench::LinkKind> transports(options, bench::linkKinds(), {1, 20});
  bench::Results results("bench_roundtrip", "bytes");
  bench::playRounds(options, {1, 64, 1024, 4096}, transports.size(), [&](const bench::Turn& turn) {
    const unsigned int trips = tripsOf(options, transports.slowness(turn.transport));
    const bench::RoundTripJob job = {turn.placement, turn.parameter, trips / 5, trips};
    const bench::RoundTripFigures figures = bench::named(transports.name(turn.transport), turn, [&] {
      return transports.visit(turn.transport, [&job](const auto& kind) { return bench::roundTripOf(kind, job); });
    });
    results.add({"round trip", turn.parameter, turn.placement.name, transports.name(turn.transport)},
                {{"p50_us", figures.p50},
                 {"p99_us", figures.p99},
                 {"p99.9_us", figures.p999},
                 {"cpu_us", figures.cpu},
                 {"switches", figures.switches}});
  });
  results.finish("p50_us", options, bench::linksLeftOut());
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Options options = bench::parseOptions(argc, argv, "Times messages there and back.");
  return bench::runProgram(argv, [&options] { measure(options); });
}
