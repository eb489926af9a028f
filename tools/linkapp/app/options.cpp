#include "app/options.h"

#include <unistd.h>

#include <algorithm>

#include "app/commands.h"
#include "cli/command_line.h"

namespace app {
namespace {

struct Texts {
  std::string launchString;
  std::vector<std::string> parts;
  std::string patience;
  bool isAskedForCommands = false;
};

void addOptions(CLI::App& cli, Options& options, Texts& texts) {
  Setup& setup = options.setup;
  cli.add_option("--name", setup.name, "the application's name; app without it. Empty: no side for iPhones")
      ->type_name("NAME");
  cli.add_option("--launch-string", texts.launchString, "launches the app on the phone; com.example.NAME without it")
      ->type_name("TEXT");
  cli.add_option("--iap1", setup.iap1Name, "the app's name for phones with iAP1")->type_name("NAME");
  cli.add_option("--spp", setup.sppUuid, "talks to phones with Bluetooth SPP, too, under this service")
      ->type_name("UUID");
  cli.add_option("--listen", texts.parts,
                 "the listeners that it has, of app, device-status, hands-free and playback;\n"
                 "app,hands-free,playback without it")
      ->delimiter(',')
      ->check(cli::oneOf(partNames()))
      ->allow_extra_args(false)
      ->type_name("LIST");
  cli.add_flag("--launch", setup.isLaunching, "launches the app whenever an iPhone is connected");
  cli.add_flag("--spp-auto", setup.isLinkingSpp, "links every phone with Bluetooth SPP whenever it is there");
  cli.add_flag("--commands", texts.isAskedForCommands, "the input holds commands, not messages");
  cli.add_option("--do", options.commands, "a command to begin with; may be given several times")
      ->type_name("COMMAND")
      ->allow_extra_args(false);
  cli.add_option("--control", options.control, "Unix socket for test benches")->type_name("PATH");
  cli.add_option("--send", options.texts, "sends this text and ends; may be given several times")
      ->type_name("TEXT")
      ->allow_extra_args(false);
  cli.add_option("--file", options.file, "sends this file and ends")->type_name("FILE");
  cli.add_option("--generate", options.count, "sends so many numbered messages and ends")
      ->type_name("COUNT")
      ->check(cli::range(1, 10000000));
  cli.add_option("--size", options.size, "bytes of each message of a file or a generator")
      ->type_name("BYTES")
      ->check(cli::range(1, 4096));
  cli.add_option("--rate", options.pace.perSecond, "messages per second; without it as results come")
      ->type_name("NUMBER")
      ->check(cli::range(1, 1000000));
  cli.add_option("--window", options.pace.window, "messages that may be without a send result; 16 without it")
      ->type_name("NUMBER")
      ->check(cli::range(1, 1000000));
  cli.add_option("--expect", options.expected, "ends when so many messages have come, too")->type_name("COUNT");
  cli.add_option("--patience", texts.patience, "gives up after so long without a callback; 10s without it")
      ->type_name("TIME");
  cli.add_flag("--quiet", options.isQuiet, "shows no callbacks");
  cli.add_flag("--json", options.isJson, "JSON lines instead of text on standard output");
}

bool hasPart(const Setup& setup, Part part) {
  return std::count(setup.parts.begin(), setup.parts.end(), part) != 0;
}

// What the library would cut or run into the next field.
std::string tooLong(const Setup& setup) {
  if (setup.name.size() > 127 || setup.launchString.size() > 127) {
    return "a name and a launch string have at most 127 characters";
  }
  return setup.iap1Name.size() > 10 ? "--iap1 has at most 10 characters" : "";
}

std::string mistakeIn(const Texts& texts, Options& options) {
  Setup& setup = options.setup;
  if (setup.name.empty() && setup.sppUuid.empty() && hasPart(setup, Part::kApp)) {
    return "an application without a name needs --spp UUID";
  }
  if (!texts.patience.empty()) {
    const auto patience = text::parseDuration(texts.patience);
    if (!patience) {
      return "--patience needs a time such as 200ms, 5s or 2min, not '" + texts.patience + "'";
    }
    options.patience = *patience;
  }
  const int sources = (options.texts.empty() ? 0 : 1) + (options.file.empty() ? 0 : 1) + (options.count == 0 ? 0 : 1);
  if (sources > 1) {
    return "--send, --file and --generate exclude each other";
  }
  if (sources > 0 && (texts.isAskedForCommands || !hasPart(setup, Part::kApp))) {
    return texts.isAskedForCommands ? "with --commands the input says what to send"
                                    : "sending needs 'app' among the listeners";
  }
  options.takesCommands = sources == 0 && (texts.isAskedForCommands || !options.control.empty() ||
                                           !hasPart(setup, Part::kApp) || isatty(STDIN_FILENO) == 1);
  setup.isLaunching = setup.isLaunching || (!options.takesCommands && !setup.isLinkingSpp);
  if (setup.isLinkingSpp && setup.sppUuid.empty()) {
    return "--spp-auto needs --spp UUID";
  }
  for (const std::string& text : options.texts) {
    if (text.empty() || text.size() > kLongestMessage) {
      return "--send takes a text of 1 to 4096 bytes";
    }
  }
  return tooLong(setup);
}

void describe(CLI::App& cli) {
  Options options;
  Texts texts;
  addOptions(cli, options, texts);
}

}  // namespace

const cli::Manual& manual() {
  static const auto* const manual = new cli::Manual{
      "app",
      "a head-unit application: launches, sends, prints every callback",
      "A head-unit application on the command line: it registers, launches its app on the phone, sends, and prints "
      "every\n"
      "callback of the library. At a terminal, and with --commands or --control, its input holds commands; so does "
      "that\n"
      "of listeners alone. Otherwise each line of the input is a message, and it ends when everything is sent and has\n"
      "its send result.",
      {
          {"linkapp app --launch", "a prompt; `help` lists the commands"},
          {"linkapp app --send hello --expect 1", "sends one message and waits for an answer"},
          {"ls | linkapp app", "each line of the input is a message"},
          {"linkapp app --file map.bin --size 4096", "a file, cut into messages"},
          {"linkapp app --generate 10000 --expect 10000", "numbered messages; what comes back is checked"},
          {"linkapp app --listen hands-free", "a listener alone, without a place in the registration table"},
          {"linkapp app --spp 35de0f64-c263-4a4b-adb6-6b60500d1dbe --spp-auto",
           "talks to phones with Bluetooth SPP, too"},
          {"linkapp app --json --commands", "for a test bench: commands in, JSON lines out"},
      },
      {{0, "ended as asked"},
       {1, "failed"},
       {2, "wrong usage"},
       {129, "SIGHUP before everything was sent"},
       {130, "Ctrl-C"},
       {143, "SIGTERM before everything was sent"}},
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
  Setup& setup = options.setup;
  setup.launchString = cli.count("--launch-string") != 0 ? texts.launchString
                       : setup.name.empty()              ? ""
                                                         : "com.example." + setup.name;
  if (!texts.parts.empty()) {
    setup.parts.clear();
  }
  for (const std::string& name : texts.parts) {
    if (!hasPart(setup, partOf(name))) {
      setup.parts.push_back(partOf(name));
    }
  }
  const std::string mistake = mistakeIn(texts, options);
  if (!mistake.empty()) {
    return cli::tellMistake(manual(), mistake);
  }
  isOver = false;
  return 0;
}

}  // namespace app
