#include "phone/options.h"

#include "cli/command_line.h"
#include "phone/commands.h"

namespace phone {
namespace {

// LAUNCHSTRING=COMMAND
std::string splitProgram(const std::string& text, Options& options) {
  const std::size_t at = text.find('=');
  if (at == 0 || at == std::string::npos || at + 1 == text.size()) {
    return "--app needs LAUNCHSTRING=COMMAND, not '" + text + "'";
  }
  options.programs.emplace_back(text.substr(0, at), text.substr(at + 1));
  return "";
}

struct Texts {
  std::vector<std::string> programs;
};

void addOptions(CLI::App& cli, Options& options, Texts& texts) {
  cli.add_option("--app", texts.programs,
                 "LAUNCHSTRING=COMMAND: a program plays this app, once per session, with frames\n"
                 "on its standard input and output")
      ->type_name("APP")
      ->allow_extra_args(false);
  cli.add_option("--do", options.commands, "a command to begin with; may be given several times")
      ->type_name("COMMAND")
      ->allow_extra_args(false);
  cli.add_option("--control", options.control, "Unix socket for test benches")->type_name("PATH");
  cli.add_option("--scenario", options.scenario, "a file to run; the phone ends with it")->type_name("FILE");
  cli.add_option("--slowness", options.slowness, "factor for all deadlines of the scenario")
      ->type_name("FACTOR")
      ->check(cli::range(1, 1000));
  cli.add_flag("--json", options.isJson, "JSON lines instead of text on standard output");
}

void describe(CLI::App& cli) {
  Options options;
  Texts texts;
  addOptions(cli, options, texts);
}

}  // namespace

const cli::Manual& manual() {
  static const auto* const manual = new cli::Manual{
      "phone",
      "the device-side process with a simulated phone",
      "The device-side process with a simulated phone: applications see the phone come and go, launch its apps and "
      "talk\n"
      "to them, without a phone and without a car.",
      {
          {"linkapp phone", "a prompt; `help` lists the commands"},
          {"linkapp phone --do \"plug usb\"", "a phone that is connected from the start and echoes everything"},
          {"linkapp phone --app com.example.navi=\"python3 counterpart.py\" --do \"plug usb\"",
           "a program plays the app com.example.navi"},
          {"linkapp phone --json --control /run/phone.sock", "for a test bench: JSON lines on a Unix socket"},
          {"linkapp phone --scenario commute.scn", "runs a file and ends"},
          {"echo \"plug usb\" | linkapp phone", "commands from a pipe; it ends with its input"},
      },
      {{0, "ended as asked"}, {1, "failed"}, {2, "wrong usage"}, {130, "Ctrl-C"}},
      "",
      &commands(),
      &eventKinds(),
      &describe,
  };
  return *manual;
}

int parseOptions(const std::vector<std::string>& arguments, Options& options, bool& isOver) {
  CLI::App cli;
  Texts texts;
  addOptions(cli, options, texts);
  isOver = true;
  int code = 0;
  if (!cli::parse(manual(), cli, arguments, code)) {
    return code;
  }
  for (const std::string& program : texts.programs) {
    const std::string mistake = splitProgram(program, options);
    if (!mistake.empty()) {
      return cli::tellMistake(manual(), mistake);
    }
  }
  isOver = false;
  return 0;
}

}  // namespace phone
