#include "cli/pages.h"

#include <algorithm>
#include <cstdio>

#include "cli/command_line.h"
#include "cli/complete.h"
#include "cli/man_page.h"

namespace cli {
namespace {

void addManOptions(CLI::App& app, std::string& name) {
  app.add_option("SUBCOMMAND", name, "whose page; the overview without it");
}

void describeMan(CLI::App& app) {
  std::string name;
  addManOptions(app, name);
}

void addCompletionOptions(CLI::App& app, std::string& shell) {
  app.add_option("SHELL", shell, "bash, zsh or fish")->required()->check(oneOf(shells()));
}

void describeCompletion(CLI::App& app) {
  std::string shell;
  addCompletionOptions(app, shell);
}

}  // namespace

const Manual& manManual() {
  static const auto* const manual = new Manual{
      "man",
      "prints a manual page",
      "Prints the manual page of a subcommand, in the form that man reads.",
      {{"linkapp man phone | man -l -", "shows it"}, {"linkapp man app > linkapp-app.1", "makes a file of it"}},
      {{0, "printed"}, {2, "wrong usage"}},
      "",
      nullptr,
      nullptr,
      &describeMan,
  };
  return *manual;
}

int runMan(const Manuals& manuals, const std::vector<std::string>& arguments) {
  CLI::App app;
  std::string name;
  addManOptions(app, name);
  int code = 0;
  if (!parse(manManual(), app, arguments, code)) {
    return code;
  }
  if (name.empty()) {
    fputs(manPage(manuals).c_str(), stdout);
    return 0;
  }
  const auto found =
      std::find_if(manuals.begin(), manuals.end(), [&](const Manual* manual) { return manual->name == name; });
  if (found == manuals.end()) {
    return tellMistake(manManual(), "there is no subcommand '" + name + "'");
  }
  fputs(manPage(**found).c_str(), stdout);
  return 0;
}

const Manual& completionManual() {
  static const auto* const manual = new Manual{
      "completion",
      "prints the script that makes a shell complete linkapp's command lines",
      "Prints the script that makes a shell complete linkapp's command lines. It asks the tool for subcommands, "
      "options\n"
      "and values, so it need not be renewed with the tool.",
      {{"source <(linkapp completion bash)", "for this shell, bash"},
       {"linkapp completion fish > ~/.config/fish/completions/linkapp.fish", "for good, fish"}},
      {{0, "printed"}, {2, "wrong usage"}},
      "",
      nullptr,
      nullptr,
      &describeCompletion,
  };
  return *manual;
}

int runCompletion(const Manuals& /*manuals*/, const std::vector<std::string>& arguments) {
  CLI::App app;
  std::string shell;
  addCompletionOptions(app, shell);
  int code = 0;
  if (!parse(completionManual(), app, arguments, code)) {
    return code;
  }
  fputs(completionScript(shell).c_str(), stdout);
  return 0;
}

int runComplete(const Manuals& manuals, const std::vector<std::string>& words) {
  for (const std::string& word : complete(manuals, words)) {
    printf("%s\n", word.c_str());
  }
  return 0;
}

}  // namespace cli
