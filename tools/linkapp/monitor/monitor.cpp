#include "monitor/monitor.h"

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <optional>

#include "cli/subcommand.h"
#include "monitor/session.h"
#include "text/terminal.h"

namespace monitor {
namespace {

constexpr double kLeastSeconds = 0.1;
constexpr double kMostSeconds = 86400;
constexpr std::size_t kLine = 90;

struct Arguments {
  bool isJson = false;
  bool isTop = false;
  bool isFromStart = false;
  std::string stats;
  bool hasStats = false;
  Filter filter;
  std::optional<std::uint64_t> count;
  std::optional<double> seconds;
};

std::string kindsText() {
  std::string text;
  for (const std::string& kind : kindNames()) {
    const bool isLineFull = text.size() - (text.find_last_of('\n') + 1) + kind.size() > kLine;
    text += (text.empty() ? "" : isLineFull ? ",\n" : ", ") + kind;
  }
  return text;
}

void addOptions(CLI::App& cli, Arguments& arguments) {
  cli.add_flag("--json", arguments.isJson, "an object of JSON per line");
  const CLI::Option* const stats =
      cli.add_option("--stats", arguments.stats, "rates, sizes and lags every so many seconds (1), not each message")
          ->type_name("[SECONDS]")
          ->expected(0, 1);
  cli.add_flag("--top", arguments.isTop, "the same on the whole screen; q ends it");
  cli.add_option("--app", arguments.filter.apps, "only messages of this app, by name or id")->type_name("APP");
  cli.add_option("--kind", arguments.filter.kinds, "only messages of this kind")
      ->type_name("KIND")
      ->check(cli::oneOf(kindNames()));
  cli.add_option("--id", arguments.filter.ids, "only messages of this notify identifier")->type_name("ID");
  cli.add_flag("--from-start", arguments.isFromStart, "begins with what is still in the notifier's log");
  cli.add_option("--count", arguments.count, "ends after so many messages")
      ->type_name("N")
      ->check(CLI::Range(1, 1'000'000'000).description(""));
  cli.add_option("--for", arguments.seconds, "ends after so many seconds")
      ->type_name("SECONDS")
      ->check(CLI::Range(kLeastSeconds, kMostSeconds).description(""));
  cli.callback([&arguments, stats] { arguments.hasStats = stats->count() != 0; });
}

void describe(CLI::App& cli) {
  Arguments arguments;
  addOptions(cli, arguments);
}

// None where it is no such number.
std::optional<double> secondsOf(const std::string& text) {
  char* end = nullptr;
  const double seconds = std::strtod(text.c_str(), &end);
  const bool isNumber = !text.empty() && *end == '\0' && std::isfinite(seconds);
  return isNumber && seconds >= kLeastSeconds && seconds <= kMostSeconds ? std::optional(seconds) : std::nullopt;
}

std::chrono::microseconds durationOf(double seconds) {
  return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::duration<double>(seconds));
}

std::string mistakeOf(const Arguments& arguments) {
  if (arguments.isTop && (arguments.hasStats || arguments.isJson)) {
    return "--top goes with neither --stats nor --json";
  }
  if (arguments.hasStats && !arguments.stats.empty() && !secondsOf(arguments.stats)) {
    return "--stats: '" + arguments.stats + "' is no number of seconds from 0.1 to 86400";
  }
  return "";
}

Plan planOf(const Arguments& arguments) {
  Plan plan;
  plan.watch.isFromStart = arguments.isFromStart;
  plan.filter = arguments.filter;
  plan.view = arguments.isTop ? View::kTop : arguments.hasStats ? View::kStats : View::kLines;
  plan.form = arguments.isJson                                      ? Lines::Form::kJson
              : text::isColoured(STDOUT_FILENO) && !arguments.isTop ? Lines::Form::kColoured
                                                                    : Lines::Form::kPlain;
  if (const auto seconds = secondsOf(arguments.stats)) {
    plan.period = durationOf(*seconds);
  }
  plan.count = arguments.count;
  if (arguments.seconds) {
    plan.duration = durationOf(*arguments.seconds);
  }
  return plan;
}

int follow(const Arguments& arguments) {
  const std::string mistake = mistakeOf(arguments);
  return mistake.empty() ? Session(planOf(arguments)).run() : cli::tellMistake(manual(), mistake);
}

}  // namespace

const cli::Manual& manual() {
  static const auto* const manual = new cli::Manual{
      "monitor",
      "every notification as it comes: who says what to whom, and what gets lost",
      "Follows the notifications of all processes: time, place in their common order, kind with its fields, sender "
      "and\n"
      "receivers; of ring messages the size and the first bytes, too. What gets lost is told once per burst.",
      {
          {"linkapp monitor", "until Ctrl-C"},
          {"linkapp monitor --app navi --kind SENDRESULT", "send results of one app"},
          {"linkapp monitor --json --from-start --for 1", "what is still in the log, for programs"},
          {"linkapp monitor --kind SESSIONSTATUS --count 1 --for 30", "waits for a session; exit code 1 if none comes"},
          {"linkapp monitor --stats 5", "rates, sizes and lags, each five seconds"},
          {"linkapp monitor --top", "on the whole screen"},
      },
      {{0, "ended by --count, --for, q, or because nobody reads"},
       {1, "--for was over before --count messages had come; no terminal for --top"},
       {2, "wrong usage"},
       {130, "Ctrl-C"}},
      "KIND is one of " + kindsText() +
          ".\n"
          "--app, --kind and --id may be given several times. Losses of other apps are left out with --app.\n"
          "It only looks: it takes no lock, maps nothing and writes nothing, and nobody notices. Where it is too slow\n"
          "itself it says that it missed messages; no process of the channel did then.",
      nullptr,
      nullptr,
      &describe,
  };
  return *manual;
}

int run(const std::vector<std::string>& words) {
  return cli::run(manual(), &addOptions, &follow, words);
}

}  // namespace monitor
