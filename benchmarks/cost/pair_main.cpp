// bench_cost_callgrind and bench_cost_interposed: one measurement of bench_cost, each through its own lens. Writes a
// line "name value" per figure.
#include <stdio.h>

#include <cstdlib>
#include <map>
#include <string>

#include "benchmarks/cost/pair.h"
#include "benchmarks/support/placement.h"
#include "benchmarks/support/rounds.h"

namespace {

constexpr const char* kUsage =
    "bench_cost_interposed|bench_cost_callgrind WAY WORKLOAD BYTES APPS COUNT [NAME=VALUE]\n"
    "  WAY         plain or watched; bench_cost_callgrind: callgrind, under which bench_cost starts it\n"
    "  WORKLOAD    data (round trips) or status (announcements)\n"
    "  COUNT       how many are counted\n"
    "  NAME=VALUE  environment of the product\n";

[[noreturn]] void refuse(int code) {
  fputs(kUsage, code == 0 ? stdout : stderr);
  exit(code);
}

bench::Way wayOf(const std::string& name) {
  const std::map<std::string, bench::Way> ways = {
      {"plain", bench::Way::kPlain}, {"watched", bench::Way::kWatched}, {"callgrind", bench::Way::kCallgrind}};
  const auto found = ways.find(name);
  if (found == ways.end() || !bench::canLook(found->second)) {
    refuse(2);
  }
  return found->second;
}

unsigned int numberOf(const std::string& text, unsigned long most) {
  const unsigned long number = std::strtoul(text.c_str(), nullptr, 10);
  if (number < 1 || number > most) {
    refuse(2);
  }
  return static_cast<unsigned int>(number);
}

bench::PairJob parse(const std::vector<std::string>& words) {
  if (words.size() < 6 || words.size() > 7 || (words[2] != "data" && words[2] != "status")) {
    refuse(words.size() == 2 && (words[1] == "--help" || words[1] == "-h") ? 0 : 2);
  }
  bench::PairJob job;
  job.way = wayOf(words[1]);
  job.isStatus = words[2] == "status";
  job.bytes = numberOf(words[3], 4096);
  job.kind.apps = numberOf(words[4], 20);
  job.count = numberOf(words[5], 10000000);
  job.warmUp = 100;  // twice around the rings
  job.kind.environment = words.size() == 7 ? words[6] : "";
  return job;
}

}  // namespace

int main(int argc, char** argv) {
  const bench::PairJob job = parse({argv, argv + argc});
  return bench::runProgram(argv, [&job] {
    for (const bench::PairFigure& figure : bench::figuresOf(job, bench::placements("same").front().sender)) {
      printf("%s %.6g\n", figure.name.c_str(), figure.value);
    }
  });
}
