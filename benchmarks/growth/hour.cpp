#include <algorithm>

#include "benchmarks/growth/footprint.h"
#include "benchmarks/growth/growth.h"
#include "benchmarks/support/rounds.h"
#include "benchmarks/support/shared_page.h"

namespace bench {
namespace {

constexpr unsigned int kBytes = 64;
// 100 messages in a second, two to a trip. One at a time is under way, so that none is lost.
constexpr unsigned int kTrips = 180000;
// What first and last are compared of; at the end of each the footprint is taken.
constexpr unsigned int kStretch = 10000;
constexpr unsigned int kFewest = 500;
// The log and the rings have been written all around once then, and footprints been taken more than once.
constexpr unsigned int kWarmUp = 20000;
// It is the same from round to round.
constexpr unsigned int kMostRounds = 3;

struct Footprints {
  unsigned int taken;
  Footprint before;
  Footprint after;
};

void take(const Crew& crew, unsigned int warmUp, Footprints& footprints) {
  footprints.after = footprintOf(crew);
  if (++footprints.taken <= warmUp) {
    footprints.before = footprints.after;
  }
}

std::vector<GrowthKind> kinds(const Options& options) {
  std::vector<GrowthKind> result = {{"bare", true, IdleApps::kInOneProcess, ""}};
  if (isWanted(options, "product")) {
    result.push_back({"product", false, IdleApps::kInOneProcess, ""});
    for (const std::string& environment : options.productWith) {
      result.push_back({"product, " + environment, false, IdleApps::kInOneProcess, environment});
    }
  }
  return result;
}

}  // namespace

std::string measureHour(const Options& options, Results& results) {
  const std::vector<GrowthKind> all = kinds(options);
  const unsigned int stretch = std::max(static_cast<unsigned int>(kStretch * options.effort), kFewest);
  const unsigned int warmUp = (kWarmUp + stretch - 1) / stretch;
  Options fewer = options;
  fewer.rounds = std::min(options.rounds, kMostRounds);
  std::string grown;
  playRounds(fewer, {1}, all.size(), [&](const Turn& turn) {
    const GrowthKind& kind = all[turn.transport];
    const SharedPage<Footprints> footprints;
    const RoundTripJob job = {turn.placement,   kBytes,
                              warmUp * stretch, kTrips / kStretch * stretch,
                              stretch,          [&](const Crew& crew) { take(crew, warmUp, *footprints); }};
    const RoundTripFigures figures = named(kind.name, turn, [&] { return roundTripOf(kind, turn.parameter, job); });
    const Footprint difference = footprints->after - footprints->before;
    results.add({"an hour's messages", turn.parameter, turn.placement.name, kind.name},
                {{"p50_us", figures.p50},
                 {"first_p50_us", figures.firstP50},
                 {"last_p50_us", figures.lastP50},
                 {"last_to_first", figures.lastP50 / figures.firstP50},
                 {"memory_kb", footprints->after.resident},
                 {"memory_grown_kb", difference.resident},
                 {"shared_grown_kb", difference.shared},
                 {"descriptors_grown", difference.descriptors},
                 {"threads_grown", difference.threads}});
    const std::string words = growthIn(difference);
    grown += words.empty() ? "" : kind.name + ", " + turn.placement.name + ": " + words;
  });
  return grown;
}

}  // namespace bench
