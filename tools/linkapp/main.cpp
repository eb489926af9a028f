// linkapp: the command-line tool. Each subcommand has a folder of its own.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "demo/demo.h"

namespace {

using Arguments = std::vector<std::string>;

struct Subcommand {
  const char* name;
  const char* purpose;  // null = internal, not shown
  int (*run)(const Arguments& arguments);
};

constexpr Subcommand kSubcommands[] = {
    {"demo", "runs a device side and two head-unit applications and lets them talk", &demo::run},
    {demo::kDeviceSideRole, nullptr, &demo::runDeviceSide},
    {demo::kApplicationRole, nullptr, &demo::runApplication},
    {demo::kSppPhoneRole, nullptr, &demo::runSppPhone},
};

void printHelp() {
  printf("linkapp %s\n\nusage: linkapp SUBCOMMAND [OPTIONS]\n\nsubcommands:\n", LINKAPP_VERSION);
  for (const Subcommand& subcommand : kSubcommands) {
    if (subcommand.purpose != nullptr) {
      printf("  %-8s %s\n", subcommand.name, subcommand.purpose);
    }
  }
  printf("\n`linkapp SUBCOMMAND --help` tells more.\n");
}

}  // namespace

int main(int argc, char** argv) {
  const Arguments arguments(argv + 1, argv + argc);
  if (arguments.empty() || arguments[0] == "--help" || arguments[0] == "-h") {
    printHelp();
    return arguments.empty() ? 2 : 0;
  }
  if (arguments[0] == "--version") {
    printf("linkapp %s\n", LINKAPP_VERSION);
    return 0;
  }
  for (const Subcommand& subcommand : kSubcommands) {
    if (arguments[0] == subcommand.name) {
      return subcommand.run(Arguments(arguments.begin() + 1, arguments.end()));
    }
  }
  fprintf(stderr, "linkapp: unknown subcommand '%s'; see `linkapp --help`\n", arguments[0].c_str());
  return 2;
}
