#include "demo/options.h"

#include "cli/command_line.h"

namespace demo {
namespace {

constexpr int kMostMessages = 1000000;

void addOptions(CLI::App& cli, Options& options) {
  cli.add_option("--messages", options.messages, "that each application sends and gets back; 1000 without it")
      ->type_name("NUMBER")
      ->check(cli::range(1, kMostMessages));
  cli.add_flag("--json", options.isJson, "the summary as JSON on standard output, the timeline on standard error");
}

void describe(CLI::App& cli) {
  Options options;
  addOptions(cli, options);
}

}  // namespace

const cli::Manual& manual() {
  static const auto* const manual = new cli::Manual{
      "demo",
      "runs a device side and two head-unit applications and lets them talk",
      "Starts a device side with a simulated phone and two head-unit applications, and runs: connect, launch, session\n"
      "open, messages both ways, playing app, hands-free, disconnect, reconnect. One application talks to a phone "
      "with\n"
      "Bluetooth SPP as well, which is simulated on a D-Bus of the demo's own.",
      {{"linkapp demo", "the whole tour"},
       {"linkapp demo --messages 100000 --json", "a longer one, for a program to read"}},
      {{0, "every byte arrived"}, {1, "not"}, {2, "wrong usage"}, {130, "Ctrl-C"}},
      "",
      nullptr,
      nullptr,
      &describe,
  };
  return *manual;
}

bool parseOptions(const std::vector<std::string>& arguments, Options& options, int& code) {
  CLI::App cli;
  addOptions(cli, options);
  return cli::parse(manual(), cli, arguments, code);
}

}  // namespace demo
