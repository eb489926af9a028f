#include "phone/script_app.h"

#include <gtest/gtest.h>

#include "tests/unit/linkapp_tool/fake_session.h"
#include "tests/unit/linkapp_tool/manual_errands.h"

namespace {

using phone::Bytes;
using phone::ScriptLine;

Bytes bytes(const std::string& text) {
  return {text.begin(), text.end()};
}

class ScriptApp : public testing::Test {
 public:
  void install(const std::string& script) {
    std::vector<ScriptLine> lines;
    std::size_t line = 0;
    command::Mistake mistake;
    ASSERT_TRUE(phone::parseScript(script, lines, line, mistake))
        << line << ":" << mistake.column << " " << mistake.text;
    installed_ = phone::scriptApp(errands_, "answers.txt", lines);
    sut_ = installed_.run(session_);
  }

  ManualErrands errands_;
  FakeSession session_;
  phone::Installed installed_;
  std::unique_ptr<phone::App> sut_;
};

TEST_F(ScriptApp, answers_a_message_by_its_own_lines_in_their_order) {
  install("on \"ping\" send pong one\n# comment\non \"ping\" send-hex 00ff\non any echo\n");
  EXPECT_TRUE(sut_->onMessage(bytes("ping")));
  EXPECT_EQ(session_.sent, (std::vector<Bytes>{bytes("pong one"), {0x00, 0xFF}}));
}

TEST_F(ScriptApp, answers_other_messages_as_any_says) {
  install("on \"ping\" send pong\non any echo\n");
  sut_->onMessage(bytes("hello"));
  EXPECT_EQ(session_.sent, std::vector<Bytes>{bytes("hello")});
}

TEST_F(ScriptApp, takes_a_message_that_has_no_line) {
  install("on \"ping\" send pong\n");
  EXPECT_TRUE(sut_->onMessage(bytes("hello")));
  EXPECT_TRUE(session_.sent.empty());
}

TEST_F(ScriptApp, greets_when_its_session_opens) {
  install("on open send welcome");
  sut_->onOpened();
  EXPECT_EQ(session_.sent, std::vector<Bytes>{bytes("welcome")});
}

TEST_F(ScriptApp, answers_late_without_holding_up_other_lines) {
  install("on any after 200ms send late\non any send now\n");
  sut_->onMessage(bytes("x"));
  EXPECT_EQ(session_.sent, std::vector<Bytes>{bytes("now")});
  errands_.pass(std::chrono::milliseconds(200));
  EXPECT_EQ(session_.sent, (std::vector<Bytes>{bytes("now"), bytes("late")}));
}

TEST_F(ScriptApp, that_has_ended_answers_no_more) {
  install("on any after 200ms send late");
  sut_->onMessage(bytes("x"));
  sut_.reset();
  EXPECT_EQ(errands_.timerCount(), 0U);
}

TEST_F(ScriptApp, closes_its_session) {
  install("on \"bye\" close");
  sut_->onMessage(bytes("bye"));
  EXPECT_EQ(session_.closes, 1);
}

struct Case {
  const char* script;
  std::size_t line;
  std::size_t column;
  const char* text;
};

class ScriptMistake : public testing::TestWithParam<Case> {};

TEST_P(ScriptMistake, is_told_with_its_line_and_column) {
  std::vector<ScriptLine> lines;
  std::size_t line = 0;
  command::Mistake mistake;
  ASSERT_FALSE(phone::parseScript(GetParam().script, lines, line, mistake));
  EXPECT_EQ(line, GetParam().line);
  EXPECT_EQ(mistake.column, GetParam().column);
  EXPECT_EQ(mistake.text, GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(All, ScriptMistake,
                         testing::Values(Case{"\nwhen open send x", 2, 1, "expected 'on'"},
                                         Case{"on ping send x", 1, 4, "expected open, any, or a message in quotes"},
                                         Case{"on any", 1, 7, "expected send, send-hex, echo or close"},
                                         Case{"on any after soon send x", 1, 14,
                                              "expected a time such as 200ms, 5s or 2min"},
                                         Case{"on any shout x", 1, 8, "unknown command 'shout'"},
                                         Case{"on any send", 1, 12, "expected the text"},
                                         Case{"on any echo twice", 1, 13, "'twice' is too much; usage: echo"}));

}  // namespace
