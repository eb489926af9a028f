#include <algorithm>

#include "benchmarks/growth/growth.h"
#include "benchmarks/links/link.h"
#include "benchmarks/support/rounds.h"

namespace bench {
namespace {

constexpr unsigned int kBytes = 64;
constexpr unsigned int kTrips = 2000;
constexpr unsigned int kFewestTrips = 20;

std::vector<GrowthKind> kinds(const Options& options) {
  std::vector<GrowthKind> result = {{"bare", true, IdleApps::kInOneProcess, ""}};
  const auto add = [&result](const std::string& environment) {
    const std::string suffix = environment.empty() ? "" : ", " + environment;
    result.push_back({"product, one process" + suffix, false, IdleApps::kWithTheTalker, environment});
    result.push_back({"product, processes" + suffix, false, IdleApps::kInProcessesOfTheirOwn, environment});
  };
  if (isWanted(options, "product")) {
    add("");
    for (const std::string& environment : options.productWith) {
      add(environment);
    }
  }
  return result;
}

}  // namespace

RoundTripFigures roundTripOf(const GrowthKind& kind, unsigned int clients, const RoundTripJob& job) {
  if (kind.isBare) {
    return roundTripOf(linkKinds().front(), job);
  }
  return roundTripOf(ProductKind{kind.name, clients, kind.environment, kind.idle}, job);
}

void measureClients(const Options& options, Results& results) {
  const std::vector<GrowthKind> all = kinds(options);
  const unsigned int trips = std::max(static_cast<unsigned int>(kTrips * options.effort), kFewestTrips);
  playRounds(options, {1, 2, 4, 8, 16, 20}, all.size(), [&](const Turn& turn) {
    const GrowthKind& kind = all[turn.transport];
    const RoundTripJob job = {turn.placement, kBytes, trips / 5, trips, 0, nullptr};
    const RoundTripFigures figures = named(kind.name, turn, [&] { return roundTripOf(kind, turn.parameter, job); });
    results.add(
        {"clients", turn.parameter, turn.placement.name, kind.name},
        {{"p50_us", figures.p50}, {"p99_us", figures.p99}, {"cpu_us", figures.cpu}, {"switches", figures.switches}});
  });
}

}  // namespace bench
