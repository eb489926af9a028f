// linkapp: the command-line tool. Each subcommand has a folder of its own.
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "app/app.h"
#include "app/options.h"
#include "bundle/bundle.h"
#include "cli/pages.h"
#include "demo/demo.h"
#include "demo/options.h"
#include "doctor/doctor.h"
#include "inspect/status.h"
#include "monitor/monitor.h"
#include "phone/options.h"
#include "phone/phone.h"
#include "record/record.h"
#include "record/replay.h"
#include "reset/reset.h"
#include "scenario/run.h"
#include "text/terminal.h"
#include "why/why.h"

namespace {

using Arguments = std::vector<std::string>;

struct Subcommand {
  const cli::Manual& (*manual)();
  int (*run)(const Arguments& arguments);
};

const cli::Manuals& manuals();

constexpr Subcommand kSubcommands[] = {
    {&phone::manual, &phone::run},
    {&app::manual, &app::run},
    {&scenario::manual, &scenario::run},
    {&inspect::statusManual, &inspect::runStatus},
    {&monitor::manual, &monitor::run},
    {&doctor::manual, &doctor::run},
    {&why::manual, &why::run},
    {&record::manual, &record::run},
    {&record::replayManual, &record::runReplay},
    {&bundle::manual, &bundle::run},
    {&reset::manual, &reset::run},
    {&demo::manual, &demo::run},
    {&cli::manManual, [](const Arguments& arguments) { return cli::runMan(manuals(), arguments); }},
    {&cli::completionManual, [](const Arguments& arguments) { return cli::runCompletion(manuals(), arguments); }},
};

// What the tool starts itself as.
struct Role {
  const char* name;
  int (*run)(const Arguments& arguments);
};

constexpr Role kRoles[] = {
    {demo::kDeviceSideRole, &demo::runDeviceSide},
    {demo::kApplicationRole, &demo::runApplication},
    {demo::kSppPhoneRole, &demo::runSppPhone},
    {"--complete", [](const Arguments& words) { return cli::runComplete(manuals(), words); }},
};

const cli::Manuals& manuals() {
  static const auto* const all = [] {
    auto* const list = new cli::Manuals;
    for (const Subcommand& subcommand : kSubcommands) {
      list->push_back(&subcommand.manual());
    }
    return list;
  }();
  return *all;
}

void printHelp() {
  printf("linkapp %s\n\nusage: linkapp SUBCOMMAND [OPTIONS]\n\nsubcommands:\n", LINKAPP_VERSION);
  for (const cli::Manual* const manual : manuals()) {
    printf("  %-11s %s\n", manual->name.c_str(), manual->purpose.c_str());
  }
  printf(
      "\na phone and an application, each in a terminal:\n"
      "  linkapp phone --do \"plug usb\"\n"
      "  linkapp app --launch\n"
      "\n`linkapp SUBCOMMAND --help` tells more.\n");
}

int runSubcommand(const std::string& name, const Arguments& arguments) {
  for (const Subcommand& subcommand : kSubcommands) {
    if (subcommand.manual().name == name) {
      return subcommand.run(arguments);
    }
  }
  for (const Role& role : kRoles) {
    if (name == role.name) {
      return role.run(arguments);
    }
  }
  std::vector<std::string> names;
  for (const cli::Manual* const manual : manuals()) {
    names.push_back(manual->name);
  }
  fprintf(stderr, "linkapp: unknown subcommand '%s'%s; see `linkapp --help`\n", name.c_str(),
          command::suggestion(name, names).c_str());
  return 2;
}

// What could not be told counts as a failure, as on a full disk. That nobody reads any more is none.
int withOutputTold(int code) {
  const bool isTold = fflush(stdout) == 0 && ferror(stdout) == 0;
  if (isTold || text::hasHungUp(STDOUT_FILENO)) {
    return code;
  }
  fputs("linkapp: standard output cannot be written\n", stderr);
  return code == 0 ? 1 : code;
}

int run(const Arguments& arguments) {
  if (arguments.empty() || arguments[0] == "--help" || arguments[0] == "-h") {
    printHelp();
    return arguments.empty() ? 2 : 0;
  }
  if (arguments[0] == "--version") {
    printf("linkapp %s\n", LINKAPP_VERSION);
    return 0;
  }
  return runSubcommand(arguments[0], Arguments(arguments.begin() + 1, arguments.end()));
}

}  // namespace

int main(int argc, char** argv) {
  return withOutputTold(run(Arguments(argv + 1, argv + argc)));
}
