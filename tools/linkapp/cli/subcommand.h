// What every subcommand begins and ends with.
#pragma once

#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "cli/command_line.h"

namespace cli {

// Reads the options, does the work with them, and tells what the work throws. Gives the exit code.
template <class Options, class Work>
int run(const Manual& manual, void (*addOptions)(CLI::App& cli, Options& options), Work work,
        const std::vector<std::string>& arguments) {
  Options options;
  CLI::App app;
  addOptions(app, options);
  int code = 0;
  if (!parse(manual, app, arguments, code)) {
    return code;
  }
  try {
    return work(options);
  } catch (const std::exception& error) {
    fprintf(stderr, "linkapp %s: %s\n", manual.name.c_str(), error.what());
    return 1;
  }
}

}  // namespace cli
