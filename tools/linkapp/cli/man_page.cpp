#include "cli/man_page.h"

#include "cli/command_line.h"

namespace cli {
namespace {

// A line that begins with a dot would be an order to man; a plain hyphen would become a dash.
std::string escaped(const std::string& text) {
  std::string all;
  bool isLineStart = true;
  for (const char c : text) {
    if (c == '\\') {
      all += "\\e";
    } else if (c == '-') {
      all += "\\-";
    } else {
      all += isLineStart && (c == '.' || c == '\'') ? "\\&" : "";
      all += c;
    }
    isLineStart = c == '\n';
  }
  return all;
}

std::string bold(const std::string& text) {
  return "\\fB" + escaped(text) + "\\fR";
}

// A term with its explanation below.
std::string item(const std::string& term, const std::string& text) {
  return ".TP\n" + bold(term) + "\n" + escaped(text) + "\n";
}

std::string title(const std::string& name) {
  return ".TH \"" + name + "\" 1 \"\" \"linkapp " LINKAPP_VERSION "\" \"User Commands\"\n";
}

std::string options(const CLI::App& app) {
  std::string text = ".SH OPTIONS\n";
  for (const CLI::Option* const option : app.get_options()) {
    text += item(usageOf(*option), option->get_description());
  }
  return text;
}

std::string examples(const std::vector<Example>& examples) {
  std::string text = ".SH EXAMPLES\n";
  for (const Example& example : examples) {
    text += item(example.command, example.meaning);
  }
  return text;
}

std::string exitStatus(const std::vector<ExitCode>& codes) {
  std::string text = ".SH EXIT STATUS\n";
  for (const ExitCode& code : codes) {
    text += item(std::to_string(code.code), code.meaning);
  }
  return text;
}

std::string commands(const command::Table& table) {
  std::string text = ".SH COMMANDS\n";
  std::string group;
  for (const command::Command& command : table.commands()) {
    if (command.group != group) {
      group = command.group;
      text += ".SS " + escaped(group) + "\n";
    }
    text += item(command::usage(command), command.purpose);
    text += command.details.empty() ? "" : ".br\n" + escaped(command.details) + "\n";
  }
  return text;
}

std::string events(const std::vector<talk::EventKind>& kinds) {
  std::string text = ".SH EVENTS\n";
  for (const talk::EventKind& kind : kinds) {
    std::string fields;
    for (const std::string& field : kind.fields) {
      fields += " " + field;
    }
    text += item(kind.name, kind.purpose + ".");
    text += fields.empty() ? "" : ".br\nFields:" + escaped(fields) + "\n";
  }
  return text;
}

std::string environment() {
  return ".SH ENVIRONMENT\n" + item("NO_COLOR", "not empty: no colours on a terminal") +
         item("VQDBG", "where the library's log goes: off, stderr, journal or file:PATH") +
         item("XDG_STATE_HOME", "the history of the prompt lies below it, in linkapp; ~/.local/state without it");
}

}  // namespace

std::string manPage(const Manual& manual) {
  CLI::App app;
  manual.describe(app);
  addCommonOptions(app);
  const std::string name = "linkapp-" + manual.name;
  std::string text = title(name) + ".SH NAME\n" + escaped(name) + " \\- " + escaped(manual.purpose) +
                     "\n.SH SYNOPSIS\n" + bold(usageOf(manual, app)) + "\n.SH DESCRIPTION\n" +
                     escaped(manual.description) + "\n";
  text += manual.more.empty() ? "" : ".PP\n.nf\n" + escaped(manual.more) + "\n.fi\n";
  text += options(app);
  text += manual.commands == nullptr ? "" : commands(*manual.commands);
  text += manual.events == nullptr ? "" : events(*manual.events);
  return text + examples(manual.examples) + exitStatus(manual.exitCodes) + environment() + ".SH SEE ALSO\n" +
         bold("linkapp") + "(1)\n";
}

std::string manPage(const std::vector<const Manual*>& manuals) {
  std::string text =
      title("linkapp") +
      ".SH NAME\nlinkapp \\- tests head\\-unit applications without a phone and without a car\n"
      ".SH SYNOPSIS\n" +
      bold("linkapp SUBCOMMAND [OPTIONS]") +
      "\n.SH DESCRIPTION\nEach subcommand has a manual page of its own, and answers to \\fB\\-\\-help\\fR.\n"
      ".SH SUBCOMMANDS\n";
  std::string others;
  for (const Manual* const manual : manuals) {
    text += item(manual->name, manual->purpose);
    others += bold("linkapp-" + manual->name) + "(1), ";
  }
  return text + ".SH SEE ALSO\n" + others + bold("linkapp-bluez-sim") + "(1)\n";
}

}  // namespace cli
