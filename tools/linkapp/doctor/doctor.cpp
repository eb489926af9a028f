#include "doctor/doctor.h"

#include <unistd.h>

#include <cstdio>

#include "cli/subcommand.h"
#include "doctor/checks.h"
#include "doctor/fix.h"
#include "doctor/report.h"
#include "text/terminal.h"

namespace doctor {
namespace {

struct Options {
  bool isFixing = false;
  FixOptions fix;
  std::vector<std::string> skipped;
  std::string root;
};

std::vector<std::string> checkNames() {
  std::vector<std::string> names;
  for (const Check& check : checks()) {
    names.emplace_back(check.name);
  }
  return names;
}

std::string listOfChecks() {
  std::string text = "checks, as --skip takes them:";
  for (const Check& check : checks()) {
    text += "\n  " + std::string(check.name) + std::string(14 - std::string(check.name).size(), ' ') + check.looks;
  }
  return text;
}

void addOptions(CLI::App& cli, Options& options) {
  cli.add_flag("--json", options.fix.isJson, "one line of JSON on standard output");
  cli.add_option("--skip", options.skipped, "leaves out a check; may be given several times, or as a list with commas")
      ->delimiter(',')
      ->check(cli::oneOf(checkNames()))
      ->allow_extra_args(false)
      ->type_name("CHECK");
  cli.add_option("--root", options.root, "reads logind's and the bus's configuration below this folder")
      ->type_name("FOLDER");
  cli.add_flag("--fix", options.isFixing, "repairs what is dead, after a question");
  cli.add_flag("--dry-run", options.fix.isOnlyLooking, "with --fix: only says what it would do");
  cli.add_flag("--yes", options.fix.isAgreed, "with --fix: does not ask");
}

void describe(CLI::App& cli) {
  Options options;
  addOptions(cli, options);
}

int look(const Options& options, const Places& places) {
  const Examination all = examine(places);
  const Findings findings = findingsOf(all, options.skipped);
  const std::string text = options.fix.isJson ? text::toJson(reportFields(findings, all)) + "\n"
                                              : reportText(findings, all, text::isColoured(STDOUT_FILENO));
  fputs(text.c_str(), stdout);
  return faults(findings) == 0 ? 0 : 1;
}

int lookOrFix(const Options& options) {
  if (!options.isFixing && (options.fix.isOnlyLooking || options.fix.isAgreed)) {
    return cli::tellMistake(manual(), "--dry-run and --yes belong to --fix");
  }
  Places places;
  places.root = options.root;
  return options.isFixing ? fix(options.fix, places) : look(options, places);
}

}  // namespace

const cli::Manual& manual() {
  static const auto* const manual = new cli::Manual{
      "doctor",
      "what is wrong with the channel and the machine around it, and what to do",
      "Looks at the channel, the processes that use it and what it stands on. For each thing that is wrong it says "
      "what\n"
      "it is, what shows it, what follows from it, and what to do. --fix repairs what is dead and hurts nobody.",
      {
          {"linkapp doctor", "a look at everything"},
          {"linkapp doctor --skip bluetooth", "where there is no Bluetooth on purpose"},
          {"linkapp doctor --json | jq -r '.findings[].what'", "for programs"},
          {"linkapp doctor --fix --dry-run", "what it would repair, and who stands in the way"},
          {"linkapp doctor --fix", "asks, and repairs"},
      },
      {{0, "no fault (what is only worth knowing does not count); with --fix: nothing is left to repair"},
       {1, "there are faults; with --fix: something was refused, failed or not agreed to"},
       {2, "wrong usage"}},
      listOfChecks() +
          "\n\nWithout --fix it only looks: it takes no lock, maps nothing and writes nothing. It asks BlueZ one "
          "question over\nthe system bus. Only root sees what other users' processes have mapped.",
      nullptr,
      nullptr,
      &describe,
  };
  return *manual;
}

int run(const std::vector<std::string>& arguments) {
  return cli::run(manual(), &addOptions, &lookOrFix, arguments);
}

}  // namespace doctor
