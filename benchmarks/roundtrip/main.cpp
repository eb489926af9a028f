// bench_roundtrip: how long does a message take there and back?
//
// Workloads: a client sends, a server sends the same bytes back, one message under way.
//   round trip   one after the other; 1, 64, 1024 and 4096 bytes
//   burst        30 of 64 bytes, then 10 ms of silence, over and over: whoever looks for messages before it sleeps
//                shows here whether it stops when none come
// Figures: p50, p99 and p99.9 of one round's trips, in microseconds; CPU and context switches of a trip, and CPU of a
// silence, of all processes together.
// "20 apps": 19 more applications are registered; they live in one process and have nothing to do.
#include <unistd.h>

#include <algorithm>

#include "benchmarks/links/transports.h"
#include "benchmarks/roundtrip/round_trip.h"
#include "benchmarks/support/results.h"
#include "benchmarks/support/rounds.h"
#include "benchmarks/support/shared_page.h"

namespace {

constexpr unsigned int kTrips = 5000;
constexpr unsigned int kFewestTrips = 20;
constexpr unsigned int kBursts = 30;
constexpr unsigned int kFewestBursts = 2;
constexpr unsigned int kTripsOfBurst = 30;
constexpr useconds_t kSilence = 10000;

using Transports = bench::Transports<bench::LinkKind>;

unsigned int scaled(const bench::Options& options, const Transports& transports, const bench::Turn& turn,
                    unsigned int count, unsigned int fewest) {
  const double share = count * options.effort / transports.slowness(turn.transport);
  return std::max(static_cast<unsigned int>(share), fewest);
}

bench::RoundTripFigures play(const Transports& transports, const bench::Turn& turn, const bench::RoundTripJob& job) {
  return bench::named(transports.name(turn.transport), turn, [&] {
    return transports.visit(turn.transport, [&job](const auto& kind) { return bench::roundTripOf(kind, job); });
  });
}

void measureRoundTrips(const bench::Options& options, const Transports& transports, bench::Results& results) {
  bench::playRounds(options, {1, 64, 1024, 4096}, transports.size(), [&](const bench::Turn& turn) {
    const unsigned int trips = scaled(options, transports, turn, kTrips, kFewestTrips);
    const bench::RoundTripFigures figures =
        play(transports, turn, {turn.placement, turn.parameter, trips / 5, trips, 0, nullptr});
    results.add({"round trip", turn.parameter, turn.placement.name, transports.name(turn.transport)},
                {{"p50_us", figures.p50},
                 {"p99_us", figures.p99},
                 {"p99.9_us", figures.p999},
                 {"cpu_us", figures.cpu},
                 {"switches", figures.switches}});
  });
}

struct Silences {
  unsigned int count;
  double cpu;
};

// The little that looking at the clocks costs is the same for every transport.
void keepSilence(const bench::Crew& crew, Silences& silences) {
  const double before = crew.cpuMicroseconds();
  usleep(kSilence);
  silences.cpu += crew.cpuMicroseconds() - before;
  ++silences.count;
}

void measureBursts(const bench::Options& options, const Transports& transports, bench::Results& results) {
  bench::playRounds(options, {64}, transports.size(), [&](const bench::Turn& turn) {
    const unsigned int trips = kTripsOfBurst * scaled(options, transports, turn, kBursts, kFewestBursts);
    const bench::SharedPage<Silences> silences;
    const bench::RoundTripFigures figures =
        play(transports, turn,
             {turn.placement, turn.parameter, 2 * kTripsOfBurst, trips, kTripsOfBurst,
              [&silences](const bench::Crew& crew) { keepSilence(crew, *silences); }});
    results.add(
        {"burst", turn.parameter, turn.placement.name, transports.name(turn.transport)},
        {{"p50_us", figures.p50}, {"p99_us", figures.p99}, {"silence_cpu_us", silences->cpu / silences->count}});
  });
}

void measure(const bench::Options& options) {
  const Transports transports(options, bench::linkKinds(), {1, 20});
  bench::Results results("bench_roundtrip", "bytes");
  measureRoundTrips(options, transports, results);
  measureBursts(options, transports, results);
  results.finish("p50_us", options, bench::linksLeftOut());
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Options options = bench::parseOptions(argc, argv, "Times messages there and back.");
  return bench::runProgram(argv, [&options] { measure(options); });
}
