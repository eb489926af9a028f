// bench_stream: how many messages does one process send to another?
//
// Workload: one way, 64 and 4096 bytes, 32 messages and then the next 32 when the receiver has taken all of them; it
// says so in shared memory, with a futex, over every transport alike. Figures: messages and megabytes (a million bytes)
// in a second; CPU in microseconds and context switches of a message, of all processes together.
#include "benchmarks/links/transports.h"
#include "benchmarks/stream/stream.h"
#include "benchmarks/support/results.h"
#include "benchmarks/support/rounds.h"

namespace {

constexpr double kSeconds = 0.25;

void measure(const bench::Options& options) {
  const bench::Transports<bench::LinkKind> transports(options, bench::linkKinds(), {1, 20});
  bench::Results results("bench_stream", "bytes");
  bench::playRounds(options, {64, 4096}, transports.size(), [&](const bench::Turn& turn) {
    const bench::StreamJob job = {turn.placement, turn.parameter, kSeconds * options.effort};
    const bench::StreamFigures figures = bench::named(transports.name(turn.transport), turn, [&] {
      return transports.visit(turn.transport, [&job](const auto& kind) { return bench::streamOf(kind, job); });
    });
    results.add({"stream", turn.parameter, turn.placement.name, transports.name(turn.transport)},
                {{"messages_per_s", figures.messagesPerSecond},
                 {"mb_per_s", figures.megabytesPerSecond},
                 {"cpu_us", figures.cpu},
                 {"switches", figures.switches}});
  });
  results.finish("messages_per_s", options, bench::linksLeftOut());
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Options options = bench::parseOptions(argc, argv, "Counts messages that one process sends another.");
  return bench::runProgram(argv, [&options] { measure(options); });
}
