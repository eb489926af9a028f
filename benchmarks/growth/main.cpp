// bench_growth: what becomes of a round trip when there is more of something?
//
// Workloads, 64 bytes there and back, one message under way:
//   clients              1, 2, 4, 8, 16 and 20 clients, in one process or each in a process of its own; one of them
//                        talks, the others are registered and have nothing to do. Bare has one client, always.
//   an hour's messages   360,000, which is 100 in a second for an hour, without a rest; 1 client, 3 rounds at most
// Figures: p50 and p99 of one round's trips, in microseconds, CPU and context switches of a trip, of all processes
// together; of the hour p50 of the first and of the last 10,000 trips, and how much more memory, shared memory, open
// files and threads the processes have at its end. That must be nothing: the program fails where it is more.
#include <stdexcept>

#include "benchmarks/growth/growth.h"
#include "benchmarks/support/rounds.h"

namespace {

void measure(const bench::Options& options) {
  bench::Results results("bench_growth", "clients");
  bench::measureClients(options, results);
  const std::string grown = bench::measureHour(options, results);
  results.finish("p50_us", options, {});
  if (!grown.empty()) {
    throw std::runtime_error("the processes have grown: " + grown);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Options options =
      bench::parseOptions(argc, argv, "Times messages there and back while clients or messages grow in number.");
  return bench::runProgram(argv, [&options] { measure(options); });
}
