// storm: kills processes of the channel at random under traffic, and sees that nothing is lost, spoilt or stuck that
// should not be. See storm.h for what it does and model.h for what must hold.
#include <cstdio>
#include <cstring>
#include <fstream>
#include <random>

#include "tests/storm/storm.h"
#include "tests/support/private_shm.h"
#include "tests/support/roles.h"
#include "tests/support/wait_until.h"

namespace {

using storm::Figures;
using storm::Options;
using storm::Sabotage;

constexpr const char* kUsage =
    "Usage: storm [--seconds N | --rounds N] [--seed S] [--bound SECONDS] [--json FILE]\n"
    "             [--sabotage lose|twice|spoil|wake|hang|grow|places]      what is done to see that it is noticed\n";

struct Arguments {
  Options options;
  std::string json;
  bool areUnderstood = true;
};

Sabotage sabotageOf(const std::string& name, bool& isKnown) {
  const std::pair<const char*, Sabotage> all[] = {
      {"lose", Sabotage::kLoseReceived},   {"twice", Sabotage::kSendTwice}, {"spoil", Sabotage::kSpoilPayload},
      {"wake", Sabotage::kForgetSleepers}, {"hang", Sabotage::kHang},       {"grow", Sabotage::kGrow},
      {"places", Sabotage::kFillPlaces}};
  for (const auto& [known, sabotage] : all) {
    if (name == known) {
      return sabotage;
    }
  }
  isKnown = false;
  return Sabotage::kNone;
}

Arguments readArguments(int argc, char** argv) {
  Arguments arguments;
  arguments.options.seed = std::random_device{}();
  arguments.options.bound *= test_support::kSlowness;
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string name = argv[i];
    const std::string value = argv[i + 1];
    if (name == "--seconds") {
      arguments.options.seconds = std::stod(value);
    } else if (name == "--rounds") {
      arguments.options.rounds = std::stoul(value);
    } else if (name == "--seed") {
      arguments.options.seed = static_cast<std::uint32_t>(std::stoul(value));
    } else if (name == "--bound") {
      arguments.options.bound = std::stod(value);
    } else if (name == "--json") {
      arguments.json = value;
    } else if (name == "--sabotage") {
      arguments.options.sabotage = sabotageOf(value, arguments.areUnderstood);
    } else {
      arguments.areUnderstood = false;
    }
  }
  arguments.areUnderstood = arguments.areUnderstood && argc % 2 == 1;
  return arguments;
}

using Rows = std::vector<std::pair<std::string, double>>;

Rows rowsOf(const Figures& figures) {
  const auto number = [](std::uint64_t value) { return static_cast<double>(value); };
  Rows rows = {{"seconds", figures.seconds}, {"kills", number(figures.killsInAll())}};
  for (const auto& [role, count] : figures.kills) {
    rows.emplace_back("kills_" + role, number(count));
  }
  const storm::Counts& counts = figures.counts;
  const Rows rest = {{"kills_before_ready", number(figures.killsInStart)},
                     {"kills_in_posting_lock", number(figures.killsInPost)},
                     {"kills_in_named_locks", number(figures.takeOvers)},
                     {"freezes", number(figures.freezes)},
                     {"starts", number(figures.starts)},
                     {"rounds", number(figures.rounds)},
                     {"messages_logged", number(figures.logged)},
                     {"ring_messages", number(counts.announced)},
                     {"must_arrive", number(counts.mustArrive)},
                     {"arrived_whole", number(counts.received)},
                     {"calm_phases", number(figures.calmPhases)},
                     {"calm_messages", number(counts.calm)},
                     {"rings_set_back", number(counts.setBack)},
                     {"overtaken_by_start", number(counts.overtaken)},
                     {"mixed_by_start", number(counts.mixed)},
                     {"torn_by_start_and_kill", number(counts.torn)},
                     {"died_before_announcing", number(counts.neverAnnounced)},
                     {"answers_given_up", number(figures.givenUp)},
                     {"interruptions", number(figures.interruptions)},
                     {"hangs", number(figures.hangs)},
                     {"longest_step_s", figures.longestStep},
                     {"longest_lag_s", figures.longestLag},
                     {"most_receivers_alive", number(figures.mostAlive)},
                     {"most_places_in_use", number(figures.mostPlaces)},
                     {"sleepers_left", number(figures.sleepersLeft)},
                     {"shared_objects", number(figures.sharedObjects)},
                     {"shared_bytes", number(figures.sharedBytes)}};
  rows.insert(rows.end(), rest.begin(), rest.end());
  return rows;
}

std::uint64_t faultsOf(const Figures& figures) {
  std::uint64_t sum = 0;
  for (const auto& [kind, count] : figures.faults) {
    sum += count;
  }
  return sum;
}

void print(const Figures& figures) {
  for (const auto& [name, value] : rowsOf(figures)) {
    printf("%-28s %.12g\n", name.c_str(), value);
  }
  for (const auto& [line, count] : figures.logLines) {
    printf("logged %llu times: %s\n", static_cast<unsigned long long>(count), line.c_str());
  }
  for (const std::string& report : figures.reports) {
    printf("%s\n", report.c_str());
  }
  for (const auto& [kind, count] : figures.faults) {
    printf("FAULT %s: %llu\n", kind.c_str(), static_cast<unsigned long long>(count));
  }
}

bool writeJson(const std::string& path, const Options& options, const Figures& figures) {
  std::ofstream file(path);
  file << "{\n  \"program\": \"storm\",\n  \"seed\": " << options.seed;
  file.precision(12);
  for (const auto& [name, value] : rowsOf(figures)) {
    file << ",\n  \"" << name << "\": " << value;
  }
  file << ",\n  \"faults\": " << faultsOf(figures) << "\n}\n";
  return file.flush().good();
}

}  // namespace

int main(int argc, char** argv) {
  constexpr const char* kRole = "--role=";
  if (argc > 1 && strncmp(argv[1], kRole, strlen(kRole)) == 0) {
    return test_support::runRole(argv[1] + strlen(kRole), {argv + 2, argv + argc});
  }
  const Arguments arguments = readArguments(argc, argv);
  if (!arguments.areUnderstood) {
    fputs(kUsage, stderr);
    return 2;
  }
  test_support::enterPrivateShm(argv);
  printf("storm: %g seconds, seed %u\n", arguments.options.seconds, arguments.options.seed);
  fflush(stdout);
  storm::Storm storm(arguments.options);
  const Figures& figures = storm.run();
  print(figures);
  if (!arguments.json.empty() && !writeJson(arguments.json, arguments.options, figures)) {
    fprintf(stderr, "cannot write %s\n", arguments.json.c_str());
    return 2;
  }
  const std::uint64_t faults = faultsOf(figures);
  printf("storm: %llu kills, %llu faults, seed %u\n", static_cast<unsigned long long>(figures.killsInAll()),
         static_cast<unsigned long long>(faults), arguments.options.seed);
  return faults == 0 ? 0 : 1;
}
