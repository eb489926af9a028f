// What the tool says about itself: help, version, manual pages, completion.
#include <gmock/gmock.h>

#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "app/commands.h"
#include "phone/commands.h"
#include "tests/tool/tool_fixture.h"

namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

using Arguments = std::vector<std::string>;

class Pages : public ToolTest {
 public:
  Ran tool(const Arguments& arguments) {
    Arguments all = {LINKAPP_TOOL};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return runProgram(loop_, signals_, all);
  }
  Ran shell(const std::string& command) { return runProgram(loop_, signals_, {"bash", "-c", command}); }
  std::string textOf(const Ran& ran) const {
    std::string text;
    for (const std::string& line : ran.lines) {
      text += line + "\n";
    }
    return text;
  }
  Arguments complete(const Arguments& words) {
    Arguments all = {"--complete"};
    all.insert(all.end(), words.begin(), words.end());
    return tool(all).lines;
  }
};

class PagesOfSubcommand : public Pages, public testing::WithParamInterface<std::string> {};

TEST_P(PagesOfSubcommand, has_help_with_examples_and_exit_codes) {
  const Ran help = tool({GetParam(), "--help"});
  EXPECT_EQ(help.code, 0);
  EXPECT_THAT(help.lines.front(), StartsWith("usage: linkapp " + GetParam()));
  EXPECT_THAT(help.lines, AllOf(Contains("examples:"), Contains(StartsWith("exit codes: 0 = "))));
}

TEST_P(PagesOfSubcommand, has_a_version) {
  const Ran version = tool({GetParam(), "--version"});
  EXPECT_EQ(version.code, 0);
  EXPECT_THAT(version.lines, ElementsAre(StartsWith("linkapp ")));
}

TEST_P(PagesOfSubcommand, refuses_an_unknown_option_and_proposes_the_nearest) {
  const std::map<std::string, std::string> files = {
      {"scenario", " x.scn"}, {"record", " x.rec"}, {"replay", " x.rec"}, {"completion", " bash"}, {"why", " launch"}};
  const auto found = files.find(GetParam());
  const std::string file = found == files.end() ? "" : found->second;
  const Ran ran = shell(LINKAPP_TOOL " " + GetParam() + file + " --hepl 2>&1");
  EXPECT_EQ(ran.code, 2);
  EXPECT_THAT(ran.lines,
              ElementsAre("linkapp " + GetParam() + ": unknown option '--hepl'; did you mean '--help'?; see `linkapp " +
                          GetParam() + " --help`"));
}

TEST_P(PagesOfSubcommand, has_a_manual_page_that_names_every_option_of_its_help) {
  const std::string page = std::regex_replace(textOf(tool({"man", GetParam()})), std::regex("\\\\-"), "-");
  EXPECT_THAT(page, AllOf(StartsWith(".TH \"linkapp-" + GetParam() + "\" 1"), HasSubstr(".SH EXIT STATUS")));
  const std::string help = textOf(tool({GetParam(), "--help"}));
  const std::regex option("\n  (-., )?(--[a-z0-9-]+)");
  std::size_t found = 0;
  for (std::sregex_iterator it(help.begin(), help.end(), option), end; it != end; ++it, ++found) {
    EXPECT_THAT(page, HasSubstr((*it)[2].str()));
  }
  EXPECT_GE(found, 2U);
}

TEST_P(PagesOfSubcommand, is_in_help_and_overview) {
  EXPECT_THAT(tool({"--help"}).lines, Contains(StartsWith("  " + GetParam() + " ")));
  EXPECT_THAT(tool({"man"}).lines, Contains("\\fB" + GetParam() + "\\fR"));
  EXPECT_THAT(complete({""}), Contains(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(All, PagesOfSubcommand,
                         testing::Values("phone", "app", "scenario", "status", "monitor", "doctor", "why", "record",
                                         "replay", "bundle", "reset", "demo", "man", "completion"),
                         [](const auto& parameter) { return parameter.param; });

TEST_F(Pages, of_phone_and_app_have_every_command_and_every_event) {
  for (const auto& [name, table, kinds] : {std::tuple("phone", &phone::commands(), &phone::eventKinds()),
                                           std::tuple("app", &app::commands(), &app::eventKinds())}) {
    const std::string page = std::regex_replace(textOf(tool({"man", name})), std::regex("\\\\-"), "-");
    for (const command::Command& command : table->commands()) {
      EXPECT_THAT(page, HasSubstr("\\fB" + command::usage(command) + "\\fR\n" + command.purpose));
    }
    for (const talk::EventKind& kind : *kinds) {
      EXPECT_THAT(page, HasSubstr("\\fB" + kind.name + "\\fR\n" + kind.purpose));
    }
  }
}

// Tables are shown in documents, too; there is one place where they are made.
TEST_F(Pages, in_docs_name_every_event_of_phone_and_app) {
  std::ifstream file(LINKAPP_DOCS "/scenarios.md");
  std::stringstream document;
  document << file.rdbuf();
  for (const auto* const kinds : {&phone::eventKinds(), &app::eventKinds()}) {
    for (const talk::EventKind& kind : *kinds) {
      EXPECT_THAT(document.str(), HasSubstr("`" + kind.name + "`"));
    }
  }
  for (const auto* const fields : {&phone::stateFields(), &app::stateFields()}) {
    for (const std::string& field : *fields) {
      EXPECT_THAT(document.str(), HasSubstr("`" + field + "`"));
    }
  }
}

TEST_F(Pages, complete_options_values_and_commands) {
  EXPECT_THAT(complete({"ap"}), ElementsAre("app"));
  EXPECT_THAT(complete({"app", "--lis"}), ElementsAre("--listen"));
  EXPECT_THAT(complete({"app", "--listen", "hands-free,pl"}), ElementsAre("hands-free,playback"));
  EXPECT_THAT(complete({"phone", "--do", "unp"}), ElementsAre("unplug"));
  EXPECT_THAT(complete({"monitor", "--kind", "SE"}), ElementsAre("SESSIONSTATUS", "SENDRESULT"));
  EXPECT_THAT(complete({"completion", ""}), ElementsAre("bash", "zsh", "fish"));
  EXPECT_THAT(complete({"man", "res"}), ElementsAre("reset"));
}

TEST_F(Pages, leave_files_to_the_shell) {
  EXPECT_THAT(complete({"scenario", ""}), IsEmpty());
  EXPECT_THAT(complete({"app", "--file", ""}), IsEmpty());
}

TEST_F(Pages, make_bash_complete) {
  const Ran ran = shell("source <(" LINKAPP_TOOL " completion bash) && COMP_WORDS=(" LINKAPP_TOOL
                        " app --exp) COMP_CWORD=2 && _linkapp && printf '%s\\n' \"${COMPREPLY[@]}\"");
  EXPECT_EQ(ran.code, 0);
  EXPECT_THAT(ran.lines, ElementsAre("--expect"));
  const Ran registered = shell("source <(" LINKAPP_TOOL " completion bash) && complete -p linkapp");
  EXPECT_THAT(registered.lines, ElementsAre(HasSubstr("-F _linkapp linkapp")));
}

TEST_F(Pages, refuse_shells_and_subcommands_that_are_not_known) {
  EXPECT_EQ(tool({"completion", "dish"}).code, 2);
  EXPECT_EQ(tool({"completion"}).code, 2);
  EXPECT_EQ(tool({"man", "phones"}).code, 2);
  const Ran ran = shell(LINKAPP_TOOL " phnoe 2>&1");
  EXPECT_EQ(ran.code, 2);
  EXPECT_THAT(ran.lines,
              ElementsAre("linkapp: unknown subcommand 'phnoe'; did you mean 'phone'?; see `linkapp --help`"));
  EXPECT_EQ(tool({}).code, 2);
}

TEST_F(Pages, that_cannot_be_written_are_a_failure) {
  for (const char* const arguments : {"--help", "phone --help", "man phone", "completion bash"}) {
    const Ran ran = shell(LINKAPP_TOOL + std::string(" ") + arguments + " 2>&1 >/dev/full");
    EXPECT_EQ(ran.code, 1) << arguments;
    EXPECT_THAT(ran.lines, ElementsAre("linkapp: standard output cannot be written")) << arguments;
  }
}

#ifdef LINKAPP_BLUEZ_SIM
// Its page is written by hand.
TEST_F(Pages, of_the_bluetooth_simulation_name_every_option_and_command_of_its_help) {
  std::ifstream file(LINKAPP_BLUEZ_SIM_PAGE);
  std::stringstream content;
  content << file.rdbuf();
  const std::string page = std::regex_replace(content.str(), std::regex("\\\\-"), "-");
  const Ran ran = runProgram(loop_, signals_, {LINKAPP_BLUEZ_SIM, "--help"});
  ASSERT_EQ(ran.code, 0);
  const std::string help = textOf(ran);
  std::set<std::string> terms;
  const std::regex option("(?:\n  |, )(--[a-z-]+)");
  for (std::sregex_iterator it(help.begin(), help.end(), option), end; it != end; ++it) {
    terms.insert((*it)[1].str());
  }
  for (std::size_t at = help.find("commands:\n"); at != std::string::npos; at = help.find("\n  ", at + 1)) {
    std::smatch found;
    const std::string rest = help.substr(at, 60);
    if (std::regex_search(rest, found, std::regex("^\n  ([a-z][a-z-]+)"))) {
      terms.insert(found[1].str());
    }
  }
  EXPECT_GE(terms.size(), 25U);
  for (const std::string& name : terms) {
    EXPECT_THAT(page, HasSubstr(name));
  }
  EXPECT_EQ(runProgram(loop_, signals_, {LINKAPP_BLUEZ_SIM, "--version"}).code, 0);
}
#endif

}  // namespace
