#include "cli/command_line.h"

#include <algorithm>
#include <cstdio>

namespace cli {
namespace {

constexpr std::size_t kOptionColumn = 26;

std::string indented(const std::string& text, std::size_t width) {
  std::string all;
  for (const char c : text) {
    all += c;
    all += c == '\n' ? std::string(width, ' ') : "";
  }
  return all;
}

std::string row(const std::string& left, const std::string& right, std::size_t width) {
  const bool fits = left.size() + 2 <= width;
  return "  " + left + (fits ? std::string(width - left.size(), ' ') : "\n" + std::string(width + 2, ' ')) +
         indented(right, width + 2) + "\n";
}

std::string describeExtra(const CLI::App& app) {
  const std::string first = app.remaining().front();
  return first[0] == '-' ? "unknown option '" + first + "'" + command::suggestion(first, optionNames(app))
                         : "unexpected argument '" + first + "'";
}

}  // namespace

CLI::Validator range(int least, int most) {
  return CLI::Range(least, most).description("");
}

CLI::Validator oneOf(const std::vector<std::string>& values) {
  return CLI::IsMember(values).description("");
}

std::vector<std::string> optionNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::Option* const option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) {
      names.push_back("--" + name);
    }
  }
  return names;
}

void addCommonOptions(CLI::App& app) {
  app.set_help_flag("-h,--help", "this text");
  app.set_version_flag("--version", "linkapp " LINKAPP_VERSION, "the tool's version");
}

bool parse(const Manual& manual, CLI::App& app, const std::vector<std::string>& arguments, int& code) {
  addCommonOptions(app);
  code = 0;
  try {
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));  // as CLI11 takes them
    return true;
  } catch (const CLI::CallForHelp&) {
    fputs(helpText(manual, app).c_str(), stdout);
  } catch (const CLI::CallForVersion&) {
    printf("linkapp " LINKAPP_VERSION "\n");
  } catch (const CLI::ExtrasError&) {
    code = tellMistake(manual, describeExtra(app));
  } catch (const CLI::ParseError& error) {
    code = tellMistake(manual, error.what());
  }
  return false;
}

int tellMistake(const Manual& manual, const std::string& mistake) {
  fprintf(stderr, "linkapp %s: %s; see `linkapp %s --help`\n", manual.name.c_str(), mistake.c_str(),
          manual.name.c_str());
  return 2;
}

std::string usageOf(const CLI::Option& option) {
  if (option.get_positional()) {
    return option.get_name(true);
  }
  std::string text;
  for (const std::string& name : option.get_snames()) {
    text += (text.empty() ? "-" : ", -") + name;
  }
  for (const std::string& name : option.get_lnames()) {
    text += (text.empty() ? "--" : ", --") + name;
  }
  return text + (option.get_items_expected_max() == 0 ? "" : " " + option.get_type_name());
}

std::string usageOf(const Manual& manual, const CLI::App& app) {
  std::string text = "linkapp " + manual.name + " [OPTIONS]";
  for (const CLI::Option* const option : app.get_options()) {
    if (option->get_positional()) {
      text += option->get_required() ? " " + option->get_name(true) : " [" + option->get_name(true) + "]";
    }
  }
  return text;
}

std::string helpText(const Manual& manual, const CLI::App& app) {
  std::string text = "usage: " + usageOf(manual, app) + "\n\n" + manual.description + "\n\n";
  for (const CLI::Option* const option : app.get_options()) {
    text += row(usageOf(*option), option->get_description(), kOptionColumn);
  }
  text += manual.more.empty() ? "" : "\n" + manual.more + "\n";
  std::size_t width = 0;
  for (const Example& example : manual.examples) {
    width = std::max(width, std::min<std::size_t>(example.command.size() + 2, 44));
  }
  text += manual.examples.empty() ? "" : "\nexamples:\n";
  for (const Example& example : manual.examples) {
    text += row(example.command, example.meaning, width);
  }
  std::string codes;
  for (const ExitCode& code : manual.exitCodes) {
    codes += (codes.empty() ? "" : "; ") + std::to_string(code.code) + " = " + code.meaning;
  }
  text += codes.empty() ? "" : "\nexit codes: " + codes + "\n";
  return text + (manual.commands == nullptr ? "" : "\ncommands:\n" + manual.commands->help());
}

}  // namespace cli
