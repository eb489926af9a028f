#include "scenario/run.h"

#include <signal.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "cli/subcommand.h"
#include "demo/private_settings.h"
#include "demo/private_shm.h"
#include "scenario/bluetooth.h"
#include "scenario/report.h"
#include "scenario/runner.h"
#include "scenario/source.h"
#include "text/file.h"

namespace scenario {
namespace {

constexpr const char* kSmallScenario = R"(a small one:
  process phone = phone
  process hello = run ./hello
  start phone hello
  phone: plug usb
  expect phone received text=hello within 5s
  expect hello line text=hello)";

struct Options {
  std::string file;
  std::vector<std::string> definitions;
  Variables variables;  // made of them
  bool isReverse = false;
  bool isJson = false;
  bool isCheck = false;
  bool isShared = false;
  unsigned int slowness = 1;
  std::string logs;
};

// Empty, or the first definition that is none.
std::string takeDefinitions(Options& options) {
  for (const std::string& definition : options.definitions) {
    const std::size_t at = definition.find('=');
    if (at == 0 || at == std::string::npos) {
      return "--define needs NAME=VALUE, not '" + definition + "'";
    }
    options.variables.emplace_back(definition.substr(0, at), definition.substr(at + 1));
  }
  return "";
}

void addOptions(CLI::App& cli, Options& options) {
  cli.add_option("FILE", options.file, "the scenario")->required();
  cli.add_flag("--reverse", options.isReverse, "start processes in reverse order");
  cli.add_flag("--check", options.isCheck, "only read the file");
  cli.add_flag("--json", options.isJson, "the result as one line of JSON; the steps go to standard error");
  cli.add_flag("--shared", options.isShared, "in the machine's /dev/shm, together with what runs there");
  cli.add_option("--slowness", options.slowness, "factor for all deadlines, for slow machines")
      ->type_name("FACTOR")
      ->check(cli::range(1, 1000));
  cli.add_option("--logs", options.logs, "a folder for what each process tells, as NAME.jsonl; it is made")
      ->type_name("FOLDER");
  cli.add_option("-D,--define", options.definitions, "what ${NAME} stands for in the file")
      ->type_name("NAME=VALUE")
      ->allow_extra_args(false);
}

void describe(CLI::App& cli) {
  Options options;
  addOptions(cli, options);
}

// A /dev/shm for this run alone, or the machine's while nobody else uses it.
class Place {
 public:
  explicit Place(bool isShared) {
    std::string reason;
    if (isShared || demo::enterPrivateShm(reason)) {
      return;
    }
    fprintf(stderr, "linkapp scenario: no /dev/shm of its own (%s); it takes the machine's\n", reason.c_str());
    mustClear_ = demo::takeMachineShm(reason);
    if (!mustClear_) {
      throw std::runtime_error("the machine's /dev/shm is not free: " + reason);
    }
  }
  ~Place() {
    if (mustClear_) {
      demo::clearMachineShm();
    }
  }
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;

 private:
  bool mustClear_ = false;
};

int runScenario(const Scenario& scenario, const Options& options) {
  if (!options.logs.empty()) {
    text::makeFolder(options.logs);
  }
  const Place place(options.isShared);
  const demo::PrivateSettings settings;
  const Bluetooth bluetooth(scenario, !options.isShared);
  loop::Loop loop;
  int interrupt = 0;
  Runner* running = nullptr;
  loop::Signals signals(loop, [&](int signal) {
    interrupt = signal;
    if (running != nullptr) {
      running->interrupt();
    }
  });
  Report report(options.file, options.isJson, options.isReverse);
  RunOptions runOptions;
  runOptions.isReverse = options.isReverse;
  runOptions.slowness = options.slowness;
  runOptions.logs = options.logs;
  std::string failure;
  {
    Runner runner(loop, signals, scenario, runOptions, report);
    running = &runner;
    failure = runner.run();
    running = nullptr;
  }
  report.finish(failure);
  return interrupt != 0 ? 128 + interrupt : failure.empty() ? 0 : 1;
}

int readAndRun(Options& options) {
  const std::string wrong = takeDefinitions(options);
  if (!wrong.empty()) {
    return cli::tellMistake(manual(), wrong);
  }
  const TemporaryFolder folder;
  Scenario scenario;
  const std::string mistake = readScenario(options.file, folder, options.variables, {}, scenario);
  if (!mistake.empty()) {
    fprintf(stderr, "%s\n", mistake.c_str());
    return 2;
  }
  return options.isCheck ? 0 : runScenario(scenario, options);
}

}  // namespace

const cli::Manual& manual() {
  static const auto* const manual = new cli::Manual{
      "scenario",
      "runs a file that says what phone and applications do and what must follow",
      "Runs a scenario: it starts the processes that the file names, tells them what to do, and waits for what they "
      "must\n"
      "tell. docs/scenarios.md has the format. It runs in a /dev/shm of its own, so that it meets no running system "
      "and\n"
      "leaves nothing behind.",
      {
          {"linkapp scenario commute.scn", "runs it, showing each step"},
          {"linkapp scenario --reverse commute.scn",
           "the same with the processes of each `start` started from last to first"},
          {"linkapp scenario --check commute.scn", "reads it only"},
      },
      {{0, "every step was done"}, {1, "one was not"}, {2, "wrong usage or a mistake in the file"}, {130, "Ctrl-C"}},
      kSmallScenario,
      nullptr,
      nullptr,
      &describe,
  };
  return *manual;
}

int run(const std::vector<std::string>& arguments) {
  return cli::run(manual(), &addOptions, &readAndRun, arguments);
}

}  // namespace scenario
