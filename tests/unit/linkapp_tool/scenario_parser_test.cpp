#include <gtest/gtest.h>

#include "scenario/scenario.h"

using scenario::Scenario;
using scenario::Step;

namespace {

const scenario::Variables kVariables = {{"here", "/files"}};

Scenario parsed(const std::string& source) {
  Scenario result;
  scenario::ParseMistake mistake;
  EXPECT_TRUE(scenario::parse(source, kVariables, {}, result, mistake))
      << mistake.place.line << ":" << mistake.place.column << ": " << mistake.text;
  return result;
}

constexpr const char* kProcesses = "process phone = phone\nprocess hello = run ./hello\n";

TEST(ScenarioParser, reads_processes_with_their_arguments) {
  const Scenario sut = parsed("process phone = phone --app \"x=python3 ${here}/a b.py\"\n");
  ASSERT_EQ(sut.processes.size(), 1U);
  EXPECT_EQ(sut.processes[0].kind->name, "phone");
  EXPECT_EQ(sut.processes[0].arguments, (std::vector<std::string>{"--app", "x=python3 /files/a b.py"}));
}

TEST(ScenarioParser, reads_a_command_and_what_its_reply_must_hold) {
  const Scenario sut = parsed(std::string(kProcesses) + "phone: send app \"a  b\" -> ok=false error~open within 2s");
  ASSERT_EQ(sut.steps.size(), 1U);
  const Step& step = sut.steps[0];
  EXPECT_EQ(step.kind, Step::Kind::kTell);
  EXPECT_EQ(step.command, "send app \"a  b\"");
  EXPECT_EQ(step.commandColumn, 8U);
  ASSERT_EQ(step.conditions.size(), 2U);
  EXPECT_EQ(step.conditions[1].op, scenario::Condition::Operator::kContains);
  EXPECT_EQ(step.within, std::chrono::seconds(2));
}

TEST(ScenarioParser, reads_an_expectation_with_its_deadline) {
  const Scenario sut = parsed(std::string(kProcesses) +
                              "deadline 3s\nexpect phone received text=\"a b\" size>=3 launch=* within 1s\n"
                              "expect hello line text=x");
  EXPECT_EQ(sut.steps[0].within, std::chrono::seconds(1));
  EXPECT_EQ(sut.steps[1].within, std::chrono::seconds(3));
  ASSERT_EQ(sut.steps[0].conditions.size(), 3U);
  EXPECT_EQ(sut.steps[0].conditions[0].value, "a b");
  EXPECT_EQ(sut.steps[0].conditions[1].op, scenario::Condition::Operator::kGreaterOrEqual);
  EXPECT_TRUE(sut.steps[0].conditions[2].isAny);
}

TEST(ScenarioParser, knows_fields_whose_names_have_a_dot) {
  const Scenario sut = parsed("process navi = app\nexpect navi onDeviceStatus usb.status=1\nwait navi usb.status=1\n");
  EXPECT_EQ(sut.steps[0].conditions[0].field, "usb.status");
}

TEST(ScenarioParser, knows_what_simulated_bluetooth_tells) {
  const Scenario sut = parsed("process b = bluetooth\nb: phones 3\nexpect b link up=true\nwait b links=1\n");
  EXPECT_EQ(sut.steps[1].event, "link");
  EXPECT_EQ(sut.processes[0].kind->program, "linkapp-bluez-sim");
}

TEST(ScenarioParser, repeats_lines_with_their_round) {
  const Scenario sut =
      parsed(std::string(kProcesses) + "repeat 2\n  repeat 2\n    phone: send app m${n}\n  end\n  note ${n}\nend\n");
  std::vector<std::string> commands;
  for (const Step& step : sut.steps) {
    commands.push_back(step.command);
  }
  EXPECT_EQ(commands, (std::vector<std::string>{"send app m1", "send app m2", "", "send app m1", "send app m2", ""}));
}

TEST(ScenarioParser, names_several_processes_in_one_step) {
  const Scenario sut = parsed(std::string(kProcesses) + "start phone hello");
  EXPECT_EQ(sut.steps[0].processes, (std::vector<std::size_t>{0, 1}));
}

TEST(ScenarioParser, knows_the_processes_that_are_implied) {
  Scenario sut;
  scenario::ParseMistake mistake;
  scenario::ProcessLine phone;
  phone.name = "phone";
  phone.kind = scenario::kindOf("phone");
  EXPECT_TRUE(scenario::parse("phone: plug usb", kVariables, {phone}, sut, mistake));
}

std::string many(const std::string& line, int count) {
  std::string all;
  for (int i = 0; i < count; ++i) {
    all += line;
  }
  return all;
}

struct Case {
  std::string lines;  // behind kProcesses, which are two
  std::size_t line;
  std::size_t column;
  const char* text;  // its beginning
};

class ScenarioMistake : public testing::TestWithParam<Case> {};

TEST_P(ScenarioMistake, is_told_with_line_column_and_what_was_expected) {
  Scenario result;
  scenario::ParseMistake mistake;
  ASSERT_FALSE(scenario::parse(std::string(kProcesses) + GetParam().lines, kVariables, {}, result, mistake));
  EXPECT_EQ(mistake.place.line, GetParam().line);
  EXPECT_EQ(mistake.place.column, GetParam().column);
  EXPECT_EQ(mistake.text.substr(0, std::string(GetParam().text).size()), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    All, ScenarioMistake,
    testing::Values(
        Case{"  strat phone", 3, 3, "unknown word 'strat'; did you mean 'start'?"},
        Case{"sleep 5s", 3, 1, "unknown word 'sleep'; expected a step ("},
        Case{"start phon", 3, 7, "there is no process 'phon'; did you mean 'phone'?"},
        Case{"start", 3, 6, "expected the name of a process"},
        Case{"\n\nphone: plgu usb", 5, 8, "unknown command 'plgu'; did you mean 'plug'?"},
        Case{"phone: plug", 3, 12, "expected usb or bluetooth"},
        Case{"phone: burst a many", 3, 16, "'many' is not a number from 1 to 10000000"},
        Case{"phone: plug usb -> ", 3, 20, "expected FIELD=VALUE"},
        Case{"phone: plug usb -> ok", 3, 20, "expected FIELD=VALUE (or != < <= > >= ~) instead of 'ok'"},
        Case{"phone:", 3, 7, "expected a command for phone"},
        Case{"hello: x -> ok=true", 3, 10, "a program that was started with 'run' gives no replies"},
        Case{"expect phone recieved", 3, 14,
             "'recieved' never comes from a process of kind phone; did you mean 'received'?"},
        Case{"expect phone received txt=a", 3, 23, "there is no field 'txt' here; did you mean 'text'?"},
        Case{"expect phone", 3, 13, "expected the name of an event"},
        Case{"expect phone ready within soon", 3, 27, "expected a time such as 200ms, 5s or 2min"},
        Case{"expect phone ready within 1s please", 3, 30, "'please' is too much"},
        Case{"wait phone", 3, 11, "expected FIELD=VALUE"},
        Case{"wait phone sesions=1", 3, 12, "there is no field 'sesions' here; did you mean 'sessions'?"},
        Case{"wait hello sessions=1", 3, 6, "a program that was started with 'run' has no state to wait for"},
        Case{"process phone = phone", 3, 9, "there is a process 'phone' already, in line 1"},
        Case{"process x phone", 3, 11, "expected '='"},
        Case{"process x = fone", 3, 13, "expected a kind of process: phone, app, run, bluetooth"},
        Case{"process x = run", 3, 16, "expected a program"},
        Case{"deadline 5", 3, 10, "expected a time such as 200ms, 5s or 2min"},
        Case{"repeat many\nend", 3, 8, "expected how often, a number from 1 to 10000"},
        Case{"repeat 2\nstart phone", 3, 1, "this 'repeat' has no 'end'"},
        Case{"repeat 10000\nrepeat 10000\nend\nend", 4, 1, "more than 100000 rounds"},
        Case{many("repeat 1\n", 20000) + many("end\n", 20000), 20, 1, "a 'repeat' in more than 16 others"},
        Case{"end", 3, 1, "this 'end' belongs to no 'repeat'"},
        Case{"note ${gone}", 3, 6, "'${gone}' has a variable that is not known here; expected one of ${here}"},
        Case{"phone: send a \"b", 3, 15, "the quotes that open here do not end on this line"},
        Case{"ended hello kode=1", 3, 13, "there is no field 'kode' here; did you mean 'code'?"}));

}  // namespace
