// How scenarios fail. That they succeed is shown by those in tests/scenarios.
#include <gmock/gmock.h>

#include <fstream>

#include "scenario/source.h"
#include "tests/tool/tool_fixture.h"
#include "text/file.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

class ScenarioRun : public ToolTest {
 public:
  // What went wrong, as the JSON result tells it; empty where nothing did.
  std::string run(const std::string& source, const std::vector<std::string>& options = {}) {
    const std::string file = folder_.path() + "/test.scn";
    std::ofstream(file) << source;
    std::vector<std::string> arguments = {LINKAPP_TOOL, "scenario", "--shared", "--json", file};
    arguments.insert(arguments.end(), options.begin(), options.end());
    ran_ = runProgram(loop_, signals_, arguments);
    const std::string result = ran_.lines.empty() ? "" : ran_.lines.back();
    const std::string mark = "\"error\":\"" + file + ":";
    const std::size_t at = result.find(mark);
    return at == std::string::npos ? "" : result.substr(at + mark.size());
  }

  scenario::TemporaryFolder folder_;
  Ran ran_;
};

TEST_F(ScenarioRun, ends_with_0_when_every_step_was_done) {
  EXPECT_EQ(run("process phone = phone\nstart phone\nphone: plug usb\nwait phone connected=true\n"), "");
  EXPECT_EQ(ran_.code, 0);
  EXPECT_THAT(ran_.lines.back(), HasSubstr(R"("reverse":false,"ok":true,"steps":3)"));
}

TEST_F(ScenarioRun, ends_with_2_for_a_file_with_a_mistake) {
  run("process phone = phone\nphone: plgu usb\n");
  EXPECT_EQ(ran_.code, 2);
}

TEST_F(ScenarioRun, ends_with_2_for_a_folder_in_place_of_a_file) {
  const Ran ran = runProgram(loop_, signals_, {"sh", "-c", LINKAPP_TOOL " scenario --shared / 2>&1"});
  EXPECT_EQ(ran.code, 2);
  EXPECT_THAT(ran.lines, testing::ElementsAre("/: cannot be read"));
}

TEST_F(ScenarioRun, names_the_place_of_an_expectation_that_does_not_come_true) {
  EXPECT_THAT(
      run("process phone = phone\nstart phone\nphone: plug usb\nexpect phone connected link=bluetooth within 50ms\n"),
      StartsWith("4:1: expected phone to tell 'connected link=bluetooth' within 50ms\\n  nearest: link=bluetooth does "
                 "not hold: link is usb"));
  EXPECT_EQ(ran_.code, 1);
}

TEST_F(ScenarioRun, names_the_place_of_a_command_that_is_refused) {
  EXPECT_THAT(run("process phone = phone\nstart phone\n  phone: unplug\n"), StartsWith("3:10: phone refused: "));
}

TEST_F(ScenarioRun, takes_a_refusal_that_is_expected) {
  EXPECT_EQ(run("process phone = phone\nstart phone\nphone: unplug -> ok=false error~connected\n"), "");
}

TEST_F(ScenarioRun, names_the_place_of_a_state_that_does_not_come) {
  EXPECT_THAT(run("process phone = phone\nstart phone\nwait phone sessions=1 within 50ms\n"),
              StartsWith("3:1: sessions=1 does not hold: sessions is 0 within 50ms"));
}

TEST_F(ScenarioRun, expects_nothing_of_a_process_that_was_not_started) {
  EXPECT_THAT(run("process phone = phone\nexpect phone connected\n"), StartsWith("2:1: phone was not started"));
  EXPECT_THAT(run("process phone = phone\nphone: plug usb\n"), StartsWith("2:1: phone was not started"));
}

TEST_F(ScenarioRun, does_not_wait_for_a_process_that_has_ended) {
  EXPECT_THAT(run("process phone = phone\nstart phone\nkill phone\nexpect phone connected within 10min\n"),
              StartsWith("4:1: expected phone to tell 'connected', but it has ended: signal 9"));
}

TEST_F(ScenarioRun, fails_at_once_when_something_forbidden_comes) {
  EXPECT_THAT(run("process phone = phone\nstart phone\nforbid phone disconnected\nphone: plug usb\nphone: unplug\n"
                  "wait phone sessions=7 within 10min\n"),
              HasSubstr("phone told what it must not: "));
}

TEST_F(ScenarioRun, lets_come_what_is_allowed_again) {
  EXPECT_EQ(run("process phone = phone\nstart phone\nforbid phone disconnected\nallow phone\nphone: plug usb\nphone: "
                "unplug\n"),
            "");
}

TEST_F(ScenarioRun, fails_when_a_process_has_ended_by_itself) {
  EXPECT_THAT(run("process x = run sh -c \"exit 3\"\nstart x\n"), HasSubstr("x"));
  EXPECT_EQ(ran_.code, 1);
  EXPECT_EQ(run("process x = run sh -c \"exit 3\"\nstart x\nended x code=3\n"), "");
  EXPECT_THAT(run("process x = run sh -c \"exit 3\"\nstart x\nended x code=0\n"),
              StartsWith("3:1: x has ended with exit code 3: code=0 does not hold: code is 3"));
}

TEST_F(ScenarioRun, names_a_program_that_cannot_be_started) {
  EXPECT_THAT(run("process x = run /there/is/no/program\nstart x\n"),
              StartsWith("2:1: cannot start x: /there/is/no/program: No such file or directory"));
}

TEST_F(ScenarioRun, tells_lines_to_a_program_and_hears_its_lines) {
  EXPECT_EQ(run("process x = run cat\nstart x\nx: hello  there\nexpect x line text=\"hello  there\"\nstop x\n"), "");
}

TEST_F(ScenarioRun, goes_on_with_a_process_that_was_frozen_and_restarted) {
  EXPECT_EQ(run("process phone = phone\nstart phone\nfreeze phone\nthaw phone\nphone: plug usb\nrestart phone\n"
                "wait phone connected=false\n"),
            "");
}

// The order shows in their app ids, which go on from one run to the next.
TEST_F(ScenarioRun, starts_processes_in_reverse_order_when_asked_to) {
  const std::string source = "process one = app\nprocess two = app\nstart one two\n";
  EXPECT_EQ(run(source + "wait one app=1\nwait two app=2\n"), "");
  EXPECT_EQ(run(source + "wait one app=4\nwait two app=3\n", {"--reverse"}), "");
  EXPECT_THAT(ran_.lines.back(), HasSubstr(R"("reverse":true)"));
}

TEST_F(ScenarioRun, of_the_phone_itself_needs_no_process) {
  const std::string file = folder_.path() + "/own.scn";
  std::ofstream(file) << "phone: plug usb\nexpect phone connected link=usb\nwait phone connected=true\n";
  EXPECT_EQ(runProgram(loop_, signals_, {LINKAPP_TOOL, "phone", "--scenario", file}).code, 0);
  std::ofstream(file) << "phone: unplug\n";
  EXPECT_EQ(runProgram(loop_, signals_, {LINKAPP_TOOL, "phone", "--scenario", file}).code, 1);
  std::ofstream(file) << "phone: unplgu\n";
  EXPECT_EQ(runProgram(loop_, signals_, {LINKAPP_TOOL, "phone", "--scenario", file}).code, 2);
}

std::string contentOf(const std::string& file) {
  std::string content;
  EXPECT_TRUE(text::readFile(file, content)) << file;
  return content;
}

std::size_t countOf(const std::string& part, const std::string& text) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

TEST_F(ScenarioRun, keeps_what_all_starts_of_a_process_told_in_a_folder_that_it_makes) {
  const std::string logs = folder_.path() + "/logs/of/today";
  const std::string source = "process phone = phone\nstart phone\nphone: plug usb\nexpect phone connected\n";
  EXPECT_EQ(run(source + "restart phone\n", {"--logs", logs}), "");
  EXPECT_EQ(countOf(R"("event":"ready")", contentOf(logs + "/phone.jsonl")), 2U);
  EXPECT_EQ(countOf(R"("event":"connected")", contentOf(logs + "/phone.jsonl")), 1U);
  EXPECT_EQ(run(source, {"--logs", logs}), "");
  EXPECT_EQ(countOf(R"("event":"ready")", contentOf(logs + "/phone.jsonl")), 1U) << "an earlier run's is replaced";
}

TEST_F(ScenarioRun, begins_with_no_step_where_its_logs_have_no_place) {
  const std::string file = folder_.path() + "/test.scn";
  std::ofstream(file) << "process phone = phone\nstart phone\n";
  const std::string logs = file + "/logs";
  const Ran ran = runProgram(loop_, signals_,
                             {"sh", "-c", LINKAPP_TOOL " scenario --shared --logs " + logs + " " + file + " 2>&1"});
  EXPECT_EQ(ran.code, 1);
  EXPECT_THAT(ran.lines, testing::ElementsAre("linkapp scenario: " + logs + ": Not a directory"));
}

TEST_F(ScenarioRun, fails_at_the_start_of_a_process_whose_log_cannot_be_written) {
  const std::string logs = folder_.path() + "/logs";
  text::makeFolder(logs + "/phone.jsonl");
  EXPECT_THAT(run("process phone = phone\nstart phone\n", {"--logs", logs}),
              StartsWith("2:1: cannot start phone: " + logs + "/phone.jsonl: Is a directory"));
  EXPECT_EQ(ran_.code, 1);
}

TEST_F(ScenarioRun, can_be_read_without_being_run) {
  run("process phone = phone\nstart phone\nexpect phone connected\n", {"--check"});
  EXPECT_EQ(ran_.code, 0);
}

}  // namespace
