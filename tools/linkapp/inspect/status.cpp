#include "inspect/status.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <optional>
#include <thread>

#include "cli/subcommand.h"
#include "inspect/snapshot.h"
#include "inspect/status_json.h"
#include "inspect/status_text.h"
#include "text/terminal.h"

namespace inspect {
namespace {

constexpr const char* kClearScreen = "\033[H\033[2J";
constexpr double kLeastPause = 0.1;
constexpr double kMostPause = 86400;

struct Options {
  bool isJson = false;
  std::optional<double> watch;
};

// 0 where a channel is there and as it should be.
int show(const Options& options) {
  const Snapshot snapshot = takeSnapshot();
  std::string text;
  if (options.isJson) {
    text = text::toJson(statusFields(snapshot)) + "\n";
  } else {
    const bool isScreen = options.watch && isatty(STDOUT_FILENO) == 1;
    text = (isScreen ? kClearScreen : "") + statusText(snapshot, text::isColoured(STDOUT_FILENO)) +
           (options.watch && !isScreen ? "\n" : "");
  }
  fputs(text.c_str(), stdout);
  fflush(stdout);
  return snapshot.isFine() ? 0 : 1;
}

// Until Ctrl-C, or until nobody reads.
int watch(const Options& options) {
  const auto pause = std::chrono::duration<double>(*options.watch);
  for (;;) {
    const int code = show(options);
    if (ferror(stdout) != 0) {
      return code;
    }
    std::this_thread::sleep_for(pause);
  }
}

int showOrWatch(const Options& options) {
  return options.watch ? watch(options) : show(options);
}

void addOptions(CLI::App& cli, Options& options) {
  cli.add_flag("--json", options.isJson, "one line of JSON on standard output");
  cli.add_option("--watch", options.watch, "again every so many seconds, until Ctrl-C")
      ->type_name("SECONDS")
      ->check(CLI::Range(kLeastPause, kMostPause).description(""));
}

void describe(CLI::App& cli) {
  Options options;
  addOptions(cli, options);
}

}  // namespace

const cli::Manual& statusManual() {
  static const auto* const manual = new cli::Manual{
      "status",
      "what is in the channel now: apps, sessions, rings, locks, receivers, processes",
      "Looks at the channel's shared memory and says what is there: apps and their sessions, ring positions, who "
      "holds\n"
      "which lock, who receives and how far behind, which processes have it mapped, and what is not as it should be.",
      {
          {"linkapp status", "a look"},
          {"linkapp status --watch 1", "a look each second"},
          {"linkapp status --json", "one line of JSON; docs/observability.md lists the fields"},
          {"linkapp status >/dev/null && echo fine", "for scripts"},
      },
      {{0, "a channel is there and nothing is wrong with it"},
       {1, "there is none, or something is not as it should be"},
       {2, "wrong usage"}},
      "It only looks: it takes no lock, maps nothing and writes nothing, and nobody notices. The parts are copied one\n"
      "after the other while the channel goes on. Links, sessions and counts are what the messages tell that are "
      "still\n"
      "in the notifier's log, 8192 at most. Other users' processes can be looked into by root alone.",
      nullptr,
      nullptr,
      &describe,
  };
  return *manual;
}

int runStatus(const std::vector<std::string>& arguments) {
  return cli::run(statusManual(), &addOptions, &showOrWatch, arguments);
}

}  // namespace inspect
