// The tool at a terminal.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "scenario/source.h"
#include "tests/support/shm_files.h"
#include "tests/tool/terminal_tool.h"

namespace {

using testing::HasSubstr;
using testing::Not;

class Prompt : public testing::Test {
 public:
  Prompt() { test_support::clearShm(); }

  std::vector<std::pair<std::string, std::string>> environment() const {
    return {{"HOME", folder_.path()}, {"XDG_STATE_HOME", ""}, {"NO_COLOR", ""}, {"VQDBG", "off"}};
  }
  std::string history(const std::string& process) const {
    std::ifstream file(folder_.path() + "/.local/state/linkapp/" + process + ".history");
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  scenario::TemporaryFolder folder_;
};

TEST_F(Prompt, takes_commands_until_ctrl_d) {
  TerminalTool phone({"phone"}, environment());
  ASSERT_TRUE(phone.await("phone> "));
  phone.type("plug usb\r");
  ASSERT_TRUE(phone.await("connected"));
  ASSERT_TRUE(phone.await("link=usb iap=iap2"));
  ASSERT_TRUE(phone.await("phone> "));
  phone.type("\x04");
  EXPECT_EQ(phone.awaitEnd(), 0);
}

TEST_F(Prompt, completes_commands_choices_and_names) {
  TerminalTool phone({"phone"}, environment());
  ASSERT_TRUE(phone.await("phone> "));
  phone.type("plu\tu\t\r");
  ASSERT_TRUE(phone.await("link=usb"));
  phone.type("app-sink com.example.navi\r");
  ASSERT_TRUE(phone.await("behaviour=sink"));
  phone.type("app-rem\tcom\t\r");
  ASSERT_TRUE(phone.await("installed"));
  EXPECT_TRUE(phone.await("launch=com.example.navi"));
}

TEST_F(Prompt, completes_files_and_commands_to_be_explained) {
  std::ofstream(folder_.path() + "/answers.txt") << "# nothing\n";
  TerminalTool phone({"phone"}, environment());
  ASSERT_TRUE(phone.await("phone> "));
  phone.type("app-script x " + folder_.path() + "/ans\t\r");
  ASSERT_TRUE(phone.await("installed"));
  ASSERT_TRUE(phone.await("answers.txt"));
  phone.type("help unp\t\r");
  EXPECT_TRUE(phone.await("usage: unplug"));
}

TEST_F(Prompt, lists_what_may_follow) {
  TerminalTool phone({"phone"}, environment());
  ASSERT_TRUE(phone.await("phone> "));
  phone.type("launches \t\t");
  EXPECT_TRUE(phone.await("accept  refuse  slow"));
  EXPECT_TRUE(phone.await("phone> launches "));
}

TEST_F(Prompt, edits_the_line) {
  TerminalTool phone({"phone"}, environment());
  ASSERT_TRUE(phone.await("phone> "));
  phone.type("lug usbX\x7f\x01p\r");  // backspace, to the beginning
  EXPECT_TRUE(phone.await("link=usb"));
}

TEST_F(Prompt, remembers_lines_over_restarts) {
  {
    TerminalTool phone({"phone"}, environment());
    ASSERT_TRUE(phone.await("phone> "));
    phone.type("hands-free up\r");
    ASSERT_TRUE(phone.await("up=true"));
    phone.type("quit\r");
    ASSERT_EQ(phone.awaitEnd(), 0);
  }
  EXPECT_THAT(history("phone"), HasSubstr("hands-free"));
  TerminalTool phone({"phone"}, environment());
  ASSERT_TRUE(phone.await("phone> "));
  phone.type("\x1b[A\x1b[A\r");
  EXPECT_TRUE(phone.await("up=true"));
}

TEST_F(Prompt, keeps_what_is_being_typed_when_something_happens_meanwhile) {
  TerminalTool phone({"phone"}, environment());
  ASSERT_TRUE(phone.await("phone> "));
  phone.type("plug usb\r");
  ASSERT_TRUE(phone.await("link=usb"));
  TerminalTool app({"app", "--launch"}, environment());
  ASSERT_TRUE(app.await("usb.app=app"));
  ASSERT_TRUE(app.await("app> "));
  app.type("send half");
  ASSERT_TRUE(app.await("send half"));
  phone.type("send com.example.app turn left\r");
  ASSERT_TRUE(app.await("text=\"turn left\""));
  EXPECT_TRUE(app.await("app> send half"));
  app.type(" and half\r");
  EXPECT_TRUE(app.await("text=\"half and half\""));  // sent back by the phone
}

TEST_F(Prompt, ends_with_ctrl_c) {
  TerminalTool phone({"phone"}, environment());
  ASSERT_TRUE(phone.await("phone> "));
  phone.type("half a line\x03");
  EXPECT_EQ(phone.awaitEnd(), 130);
}

TEST_F(Prompt, shows_colours_unless_somebody_asks_for_none) {
  TerminalTool coloured({"phone", "--do", "plug usb"}, environment());
  ASSERT_TRUE(coloured.await("phone> "));
  EXPECT_THAT(coloured.screen(), HasSubstr("\x1b[36mconnected"));
  auto plainEnvironment = environment();
  plainEnvironment.emplace_back("NO_COLOR", "1");
  TerminalTool plain({"phone", "--do", "plug usb"}, plainEnvironment);
  ASSERT_TRUE(plain.await("phone> "));
  EXPECT_THAT(plain.screen(), HasSubstr("connected"));
  EXPECT_THAT(plain.screen(), Not(HasSubstr("\x1b[3")));
}

TEST_F(Prompt, shows_the_progress_of_what_takes_longer_than_two_seconds) {
  TerminalTool app({"app", "--send", "hello", "--quiet"}, environment());
  ASSERT_TRUE(app.await("0 sent, 0 delivered, 0 received, waiting for a phone"));
  TerminalTool phone({"phone", "--do", "plug usb"}, environment());
  EXPECT_EQ(app.awaitEnd(), 0);
  EXPECT_THAT(app.screen(), HasSubstr("done"));
}

TEST_F(Prompt, has_a_demo_that_shows_colours_unless_somebody_asks_for_none) {
  TerminalTool coloured({"demo", "--messages", "1"}, environment());
  EXPECT_EQ(coloured.awaitEnd(), 0);
  EXPECT_THAT(coloured.screen(), HasSubstr("\x1b["));
  auto plainEnvironment = environment();
  plainEnvironment.emplace_back("NO_COLOR", "1");
  TerminalTool plain({"demo", "--messages", "1"}, plainEnvironment);
  EXPECT_EQ(plain.awaitEnd(), 0);
  EXPECT_THAT(plain.screen(), Not(HasSubstr("\x1b[")));
}

TEST_F(Prompt, is_not_shown_with_json) {
  TerminalTool phone({"phone", "--json"}, environment());
  ASSERT_TRUE(phone.await("\"event\":\"ready\""));
  phone.type("plug usb\r");
  ASSERT_TRUE(phone.await("\"reply\":\"plug\",\"ok\":true"));
  EXPECT_THAT(phone.screen(), Not(HasSubstr("phone>")));
}

TEST_F(Prompt, ends_with_its_terminal) {
  TerminalTool phone({"phone"}, environment());
  ASSERT_TRUE(phone.await("phone> "));
  phone.hangUp();
  EXPECT_EQ(phone.awaitEnd(), 0);
}

}  // namespace
