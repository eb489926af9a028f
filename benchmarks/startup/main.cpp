// bench_startup: what does it take until an application is on the channel, and what does it take up then?
//
// Workloads, on one processor, with 0, 1 or 19 clients in processes of their own that are there already:
//   client         an iOSAppCommonClient with an app is made; with none there before, /dev/shm is empty
//   registration   an app is entered into the table by a process that has opened the table (0 and 19)
//   memory         the process of the client workload, before it has a client ("no client") and with it
// Figures: microseconds and system calls of the calling process; KiB of memory that is there, private, shared and the
// fair share of it; threads, open descriptors, objects of shared memory that are mapped. The descriptor of the
// program's own page is among them. --placement and --only change nothing here.
#include <stdio.h>

#include <cstdlib>
#include <cstring>

#include "benchmarks/startup/passed_page.h"
#include "benchmarks/startup/startup.h"
#include "benchmarks/support/results.h"
#include "benchmarks/support/rounds.h"

namespace {

using bench::Footprint;

std::vector<bench::Figure> figuresOf(const Footprint& footprint) {
  return {{"private_kib", footprint.privateMemory}, {"shared_kib", footprint.sharedMemory},
          {"fair_share_kib", footprint.fairShare},  {"threads", footprint.threads},
          {"descriptors", footprint.descriptors},   {"objects", footprint.objects}};
}

class StartupProgram {
 public:
  explicit StartupProgram(bench::Options options) : options_(std::move(options)) { options_.placement = "same"; }

  void run() {
    measure("client", false, {0, 1, 19});
    measure("registration", true, {0, 19});
    results_.finish("time_us", options_, {});
  }

 private:
  void measure(const char* workload, bool isRegistration, const std::vector<unsigned int>& present) {
    const int watcher = bench::placements("both").back().receiver;
    bench::playRounds(options_, present, 1, [&](const bench::Turn& turn) {
      bench::named(workload, turn, [&] {
        const int processor = turn.placement.sender;
        const bench::PassedPage<bench::StartupPage> plain;
        bench::runStartup({isRegistration, turn.parameter, false}, processor, watcher, *plain, plain.descriptor());
        const bench::PassedPage<bench::StartupPage> watched;
        bench::runStartup({isRegistration, turn.parameter, true}, processor, watcher, *watched, watched.descriptor());
        results_.add({workload, turn.parameter, turn.placement.name, "product"},
                     {{"time_us", plain->microseconds}, {"calls", static_cast<double>(watched->watched.calls)}});
        if (!isRegistration) {
          results_.add({"memory", turn.parameter, turn.placement.name, "no client"}, figuresOf(plain->before));
          results_.add({"memory", turn.parameter, turn.placement.name, "product"}, figuresOf(plain->after));
        }
      });
    });
  }

  bench::Options options_;
  bench::Results results_{"bench_startup", "present"};
};

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && strcmp(argv[1], "--measured") == 0) {
    try {
      const bench::PassedPage<bench::StartupPage> page(std::atoi(argv[2]));
      bench::startMeasured(*page);
    } catch (const std::exception& error) {
      fprintf(stderr, "measured: %s\n", error.what());
      return 1;
    }
    return 0;
  }
  const bench::Options options = bench::parseOptions(argc, argv, "Times the start of applications.");
  return bench::runProgram(argv, [&options] { StartupProgram(options).run(); });
}
