// bench_cost: what does one message cost, whatever the machine?
//
// Workloads, on one processor; the others are asleep when one has its turn (see takeTurns in pair.cpp):
//   message             64 and 4096 bytes there and back, one message under way, observers send from within their calls
//   connection status   one announcement for the application, the next one when it has it
// "20 apps": 19 more applications are registered; they live in one process and have nothing to do.
//
// Figures, of one message, which is half of a round trip; that includes all that device side and application do, with
// the copies that a sender gets of its own message:
//   instructions, ..._instructions   under callgrind: of both processes, and the share of each
//   sender_calls, receiver_calls     system calls inside of the call that sends, and of everything else; the direction
//                                    that has more of them
//   other_calls                      further system calls of both kinds, which come from inside the C library:
//                                    sched_yield, where a receiver stays awake
//   switches                         context switches of all processes, those with idle applications included
//   ..._allocations                  heap allocations of the process, while it sends and otherwise. The receiver on the
//                                    device side owns what it is given, which is one array.
// What is counted hardly differs from run to run, so 3 rounds are the most that are played. --placement and --only
// change nothing here.
#include <algorithm>

#include "benchmarks/cost/pair_process.h"
#include "benchmarks/support/results.h"
#include "benchmarks/support/rounds.h"

namespace {

constexpr unsigned int kMessages = 1000;
constexpr unsigned int kFewestMessages = 50;
constexpr unsigned int kMostRounds = 3;
constexpr unsigned int kStatusBytes = 304;

std::vector<bench::Figure> figuresOf(const std::vector<bench::PairFigure>& figures) {
  std::vector<bench::Figure> result;
  result.reserve(figures.size());
  for (const bench::PairFigure& figure : figures) {
    result.push_back({figure.name.c_str(), figure.value});
  }
  return result;
}

class CostProgram {
 public:
  explicit CostProgram(const bench::Options& options)
      : options_(options),
        kinds_(bench::productKinds(options.productWith, {1, 20})),
        count_(std::max(static_cast<unsigned int>(kMessages * options.effort), kFewestMessages)) {
    options_.placement = "same";
    options_.rounds = std::min(options.rounds, kMostRounds);
    if (hasCallgrind_) {
      messageWays_.insert(messageWays_.begin(), bench::Way::kCallgrind);
    }
  }

  void run() {
    measure("message", false, {64, 4096}, messageWays_);
    measure("connection status", true, {kStatusBytes}, {bench::Way::kPlain});
    results_.finish(
        "instructions", options_,
        hasCallgrind_ ? std::vector<std::string>() : std::vector<std::string>{"instructions (no callgrind runs this)"});
  }

 private:
  void measure(const char* workload, bool isStatus, const std::vector<unsigned int>& bytes,
               const std::vector<bench::Way>& ways) {
    bench::playRounds(options_, bytes, kinds_.size(), [&](const bench::Turn& turn) {
      bench::PairJob job;
      job.isStatus = isStatus;
      job.bytes = turn.parameter;
      job.count = count_;
      job.kind = kinds_[turn.transport];
      bench::named(job.kind.name, turn, [&] {
        for (const bench::Way way : ways) {
          job.way = way;
          const std::vector<bench::PairFigure> figures = bench::measurePair(job);
          results_.add({workload, turn.parameter, turn.placement.name, job.kind.name}, figuresOf(figures));
        }
      });
    });
  }

  const bool hasCallgrind_ = bench::hasCallgrind();
  bench::Options options_;
  const std::vector<bench::ProductKind> kinds_;
  const unsigned int count_;
  std::vector<bench::Way> messageWays_ = {bench::Way::kPlain, bench::Way::kWatched};
  bench::Results results_{"bench_cost", "bytes"};
};

}  // namespace

int main(int argc, char** argv) {
  const bench::Options options = bench::parseOptions(argc, argv, "Counts what one message costs.");
  return bench::runProgram(argv, [&options] { CostProgram(options).run(); });
}
