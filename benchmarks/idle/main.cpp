// bench_idle: what does a system cost in which nothing happens?
//
// Workload: a device side and 20 applications, 21 processes, connected, sessions open; nobody sends anything for a
// minute (--seconds). Figures, of all threads of all processes together: context switches, and microseconds of CPU.
// Both must be 0: the program fails where they are not, and names the threads. Then one status message goes to
// everybody, and its switches and CPU are told, which shows that the watching sees something where there is something.
// Who watches is a process of its own; it looks at what the kernel tells of the others' threads, before and after, and
// none of them runs for that.
#include <stdio.h>

#include <stdexcept>

#include "benchmarks/idle/idle.h"
#include "benchmarks/support/results.h"
#include "benchmarks/support/rounds.h"

namespace {

constexpr unsigned int kClients = 20;

void measure(const bench::Options& options) {
  // On two processors where they may be used: one would not show anything else, and take as long.
  const bench::Placement placement = bench::placements(options.placement).back();
  bench::Results results("bench_idle", "clients");
  std::string restless;
  for (const bench::ProductKind& kind : bench::productKinds(options.productWith, {1})) {
    const bench::IdleFigures figures = bench::idleOf(kind, {placement, kClients, options.seconds});
    results.add({"nothing to do", kClients, placement.name, kind.name}, {{"switches", figures.switches},
                                                                         {"cpu_us", figures.cpu},
                                                                         {"seconds", figures.seconds},
                                                                         {"message_switches", figures.messageSwitches},
                                                                         {"message_cpu_us", figures.messageCpu}});
    restless += figures.restless[0] != '\0' ? "\n" + kind.name + ":" + figures.restless : "";
  }
  results.finish("switches", options, {});
  if (!restless.empty()) {
    throw std::runtime_error("not at rest:" + restless);
  }
  printf("all at rest\n");
}

}  // namespace

int main(int argc, char** argv) {
  const bench::Options options =
      bench::parseOptions(argc, argv, "Watches a device side and 20 applications that have nothing to do.");
  return bench::runProgram(argv, [&options] { measure(options); });
}
