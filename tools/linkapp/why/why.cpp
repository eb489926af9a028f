#include "why/why.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <thread>

#include "cli/subcommand.h"
#include "text/terminal.h"
#include "why/report.h"
#include "why/walk.h"

namespace why {
namespace {

constexpr std::chrono::seconds kPatience{1};
constexpr std::chrono::milliseconds kBetweenLooks{20};

struct Options {
  std::string what;
  Question question;
  bool isJson = false;
};

using Way = Walk (*)(const doctor::Examination& all, const Question& question);

struct Named {
  const char* name;
  std::vector<Way> ways;
};

const std::vector<Named>& questions() {
  static const auto* const all = new std::vector<Named>{
      {"launch", {&walkLaunch}}, {"message", {&walkSend, &walkReceive}},
      {"send", {&walkSend}},     {"receive", {&walkReceive}},
      {"spp", {&walkSpp}},
  };
  return *all;
}

std::vector<std::string> names() {
  std::vector<std::string> all;
  for (const Named& named : questions()) {
    all.emplace_back(named.name);
  }
  return all;
}

void addOptions(CLI::App& cli, Options& options) {
  cli.add_option("QUESTION", options.what, "launch, message (both ways), send, receive or spp")
      ->required()
      ->check(cli::oneOf(names()));
  cli.add_option("APP", options.question.app,
                 "the application's name or app id; needed where several are registered,\nand not for spp");
  cli.add_option("--device", options.question.device, "the device id that was launched; 1 without it")
      ->type_name("NUMBER")
      ->check(cli::range(0, 255));
  cli.add_option("--uuid", options.question.uuid, "the SPP service that a phone should offer")->type_name("UUID");
  cli.add_flag("--json", options.isJson, "a line of JSON for each way");
}

void describe(CLI::App& cli) {
  Options options;
  addOptions(cli, options);
}

// Where there is one application, it is meant.
std::string mistakeIn(Options& options, const doctor::Examination& all) {
  if (options.what == "spp" || !options.question.app.empty()) {
    return "";
  }
  std::string found;
  for (const inspect::AppView& app : all.snapshot.apps) {
    if (app.isOwnerGone) {
      continue;
    }
    if (!found.empty() && found != app.entry.appName) {
      return "several applications are registered; say which";
    }
    found = app.entry.appName;
  }
  options.question.app = found;
  return "";
}

// On a busy machine what is under way looks for a moment like what nobody takes.
Walk walkPatiently(Way way, const Question& question, doctor::Examination& all) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  for (;;) {
    Walk walk = way(all, question);
    const Condition* const failure = walk.failed();
    if (failure == nullptr || !failure->isUnderWay || std::chrono::steady_clock::now() >= deadline) {
      return walk;
    }
    std::this_thread::sleep_for(kBetweenLooks);
    all = doctor::examine({});
  }
}

int answer(Options& options) {
  doctor::Examination all = doctor::examine({});
  const std::string mistake = mistakeIn(options, all);
  if (!mistake.empty()) {
    return cli::tellMistake(manual(), mistake);
  }
  int code = 0;
  for (const Named& named : questions()) {
    for (const Way way : options.what == named.name ? named.ways : std::vector<Way>()) {
      const Walk walk = walkPatiently(way, options.question, all);
      const std::string text =
          options.isJson ? text::toJson(reportFields(walk)) + "\n" : reportText(walk, text::isColoured(STDOUT_FILENO));
      fputs(text.c_str(), stdout);
      code = walk.failed() == nullptr ? code : 1;
    }
  }
  return code;
}

}  // namespace

const cli::Manual& manual() {
  static const auto* const manual = new cli::Manual{
      "why",
      "why a launch returned 0, or no message arrives: the first condition that fails",
      "Walks what a launch or a message needs, in the order in which the library tests it, over what is in the "
      "channel\n"
      "now. Names the first condition that does not hold, with what shows it, and those before it that do.",
      {
          {"linkapp why launch navi", "why requestiOSLaunch returned 0, or no session opens"},
          {"linkapp why message navi", "why messages do not arrive, to the phone and from it"},
          {"linkapp why send 2", "one way; the application by its app id"},
          {"linkapp why spp --uuid 35de0f64-c263-4a4b-adb6-6b60500d1dbe", "a phone with Bluetooth SPP"},
          {"linkapp why launch navi --json", "for programs"},
      },
      {{0, "nothing that can be seen stands in the way"}, {1, "a condition fails"}, {2, "wrong usage"}},
      "It only looks, as `linkapp status` does; a second longer where a message is under way. What lies inside a\n"
      "process (listeners, the device that a client has chosen) is said to be unseen where no message shows it.\n"
      "`linkapp doctor` looks at everything else.",
      nullptr,
      nullptr,
      &describe,
  };
  return *manual;
}

int run(const std::vector<std::string>& arguments) {
  return cli::run(manual(), &addOptions, &answer, arguments);
}

}  // namespace why
