// Options of a subcommand: checks them, and shows help and version.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "cli/manual.h"

namespace cli {

// Without what CLI11 adds to the help by itself.
CLI::Validator range(int least, int most);
CLI::Validator oneOf(const std::vector<std::string>& values);

// "--name" of each.
std::vector<std::string> optionNames(const CLI::App& app);

// Adds --help and --version. Whoever only looks at the options calls it, too.
void addCommonOptions(CLI::App& app);

// True to go on. Else help or version was shown (exit code 0), or a mistake was told (2).
bool parse(const Manual& manual, CLI::App& app, const std::vector<std::string>& arguments, int& code);

// Tells a mistake that parse() cannot find; gives exit code 2.
int tellMistake(const Manual& manual, const std::string& mistake);

// "--name NAME", "-D, --define NAME=VALUE", "FILE"; and "linkapp phone [OPTIONS]".
std::string usageOf(const CLI::Option& option);
std::string usageOf(const Manual& manual, const CLI::App& app);

std::string helpText(const Manual& manual, const CLI::App& app);

}  // namespace cli
