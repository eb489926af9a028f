// bench_broadcast: how long until several processes have a message, and what does it cost?
//
// Workloads, one message after the other, each when everybody is asleep again:
//   status      a connection-status message (304 bytes) for 1, 4, 8 and 20 applications in processes of their own
//   one of 20   64 bytes of data for one of 20 applications, each in its turn
// Figures, of one message: microseconds until the last one has it (median); CPU of the sender's process and of
// everybody, in microseconds; context switches of everybody, two of which are the sender's own sleeps.
#include <algorithm>

#include "benchmarks/broadcast/broadcast.h"
#include "benchmarks/links/link.h"
#include "benchmarks/links/transports.h"
#include "benchmarks/support/results.h"
#include "benchmarks/support/rounds.h"

namespace {

constexpr unsigned int kMessages = 300;
constexpr unsigned int kFewestMessages = 40;  // each of 20 receivers has two
constexpr unsigned int kStatusBytes = 304;
constexpr unsigned int kDataBytes = 64;

using Transports = bench::Transports<bench::FanoutKind>;

void measureWorkload(const bench::Options& options, const Transports& transports, bool isForOne,
                     const std::vector<unsigned int>& receivers, bench::Results& results) {
  bench::playRounds(options, receivers, transports.size(), [&](const bench::Turn& turn) {
    const double messages = kMessages * options.effort / transports.slowness(turn.transport);
    const unsigned int count = std::max(static_cast<unsigned int>(messages), kFewestMessages);
    const bench::BroadcastJob job = {
        turn.placement, {turn.parameter, isForOne}, isForOne ? kDataBytes : kStatusBytes, count / 5, count};
    const bench::BroadcastFigures figures = bench::named(transports.name(turn.transport), turn, [&] {
      return transports.visit(turn.transport, [&job](const auto& kind) { return bench::broadcastOf(kind, job); });
    });
    results.add({isForOne ? "data for one" : "status for all", turn.parameter, turn.placement.name,
                 transports.name(turn.transport)},
                {{"until_all_us", figures.untilAll},
                 {"sender_cpu_us", figures.senderCpu},
                 {"all_cpu_us", figures.allCpu},
                 {"switches", figures.switches}});
  });
}

void measure(const bench::Options& options) {
  const Transports transports(options, bench::fanoutKinds(), {1});
  bench::Results results("bench_broadcast", "receivers");
  measureWorkload(options, transports, false, {1, 4, 8, 20}, results);
  measureWorkload(options, transports, true, {20}, results);
  results.finish("until_all_us", options, bench::linksLeftOut());
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Options options = bench::parseOptions(argc, argv, "Times messages from one process to several others.");
  return bench::runProgram(argv, [&options] { measure(options); });
}
