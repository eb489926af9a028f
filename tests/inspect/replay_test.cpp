// What was recorded once more: as a replay with real applications, and as a scenario file.
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "tests/inspect/inspect_fixture.h"
#include "tests/support/interruption.h"
#include "tests/support/wait_until.h"
#include "tests/tool/tool_process.h"

namespace {

using nlohmann::json;
using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;

using Arguments = std::vector<std::string>;
using Log = std::vector<std::string>;  // callbacks, without their times

// Kept apart from other tests: a folder for everything, and nothing of the channel at the beginning.
class Again : public InspectTest {
 public:
  Again() {
    char folder[] = "/tmp/again-XXXXXX";
    folder_ = mkdtemp(folder);
    std::filesystem::create_directory(folder_ + "/replayed");
  }
  ~Again() override { std::filesystem::remove_all(folder_); }

  std::string path(const std::string& name) const { return folder_ + "/" + name; }
  Ran tool(Arguments arguments) {
    arguments.insert(arguments.begin(), LINKAPP_TOOL);
    return runProgram(loop_, signals_, arguments);
  }
  std::unique_ptr<ToolProcess> startRecorder(const std::string& file) {
    auto recorder = std::make_unique<ToolProcess>(loop_, signals_, Arguments{"record", file});
    EXPECT_TRUE(recorder->await({"recording to"}));
    return recorder;
  }
  // A shipped scenario, with lines that wait until nothing is under way any more.
  std::string scenario(const std::string& name, const std::string& more) const {
    std::string file = path(name + "-recorded.scn");
    std::ifstream shipped(LINKAPP_SCENARIOS "/" + name + ".scn");
    EXPECT_TRUE(shipped.is_open()) << name;
    std::ofstream(file) << shipped.rdbuf() << more;
    return file;
  }
  // On a busy machine a ring may come round before the recorder has seen its contents. Then the recording says so and
  // cannot be played wholly: once more.
  void recordScenario(const std::string& file, const std::string& recording, const std::string& logs) {
    for (int tries = 0; tries < 5; ++tries) {
      recordOnce(file, recording, logs);
      const json sut = info(recording);
      if (HasFailure() || (sut["contents"].size() <= sut["contents"].count("certain") && sut["missed"] == 0)) {
        return;
      }
    }
    ADD_FAILURE() << "no complete recording of " << file;
  }
  void recordOnce(const std::string& file, const std::string& recording, const std::string& logs) {
    test_support::clearShm();
    std::filesystem::remove_all(logs);
    std::filesystem::create_directory(logs);
    const auto recorder = startRecorder(recording);
    const std::string slowness = std::to_string(static_cast<int>(test_support::kSlowness));
    const Ran ran = tool({"scenario", "--shared", "--slowness", slowness, "--logs", logs, file});
    EXPECT_EQ(ran.code, 0) << testing::PrintToString(ran.lines);
    recorder->signal(SIGTERM);
    EXPECT_EQ(recorder->awaitEnd(), 0);
    test_support::clearShm();
  }
  json info(const std::string& recording) {
    const Ran ran = tool({"record", "--info", "--json", recording});
    return ran.lines.empty() ? json() : json::parse(ran.lines.front());
  }

  loop::Loop loop_;
  loop::Signals signals_{loop_, &test_support::endBy};
  std::string folder_;
};

// By pid; a file has one process after the other.
std::map<int, Log> callbacksIn(const std::string& file) {
  static const std::set<std::string> kCallbacks = {"onDeviceStatus", "onSendResult", "onReceivedMsg", "onHfpStatus",
                                                   "onPlaybackAppInfo"};
  std::map<int, Log> all;
  std::ifstream lines(file);
  int pid = 0;
  for (std::string line; std::getline(lines, line);) {
    json event = json::parse(line, nullptr, false);
    if (!event.is_object() || !event.contains("event")) {
      continue;
    }
    if (event["event"] == "ready") {
      pid = event["pid"];
      all[pid];
    } else if (kCallbacks.count(event["event"]) != 0) {
      event.erase("time");
      all[pid].push_back(event.dump());
    }
  }
  return all;
}

struct Case {
  std::string scenario;
  std::string more;  // until everybody has heard everything
  Arguments options;
  std::size_t applications;
};

void PrintTo(const Case& one, std::ostream* out) {
  *out << one.scenario;
}

class Replay : public Again, public testing::WithParamInterface<Case> {};

// Each application hears the same, in the same order.
TEST_P(Replay, gives_every_application_the_same_callbacks_in_the_same_order) {
  const Case& one = GetParam();
  const std::string recording = path("x.rec");
  recordScenario(scenario(one.scenario, one.more), recording, path("recorded"));
  Arguments arguments = {"replay", "--start", "--shared", "--json", "--logs", path("replayed"), recording};
  arguments.insert(arguments.end(), one.options.begin(), one.options.end());
  const Ran ran = tool(arguments);
  EXPECT_EQ(ran.code, 0) << testing::PrintToString(ran.lines);
  std::size_t applications = 0;
  std::size_t callbacks = 0;
  for (const auto& file : std::filesystem::directory_iterator(path("recorded"))) {
    if (file.path().filename() == "phone.jsonl") {
      continue;
    }
    for (const auto& [pid, log] : callbacksIn(file.path())) {
      const std::map<int, Log> replayed = callbacksIn(path("replayed/" + std::to_string(pid) + ".jsonl"));
      ASSERT_EQ(replayed.size(), 1U) << file.path();
      EXPECT_EQ(replayed.begin()->second, log) << file.path() << " " << pid;
      callbacks += log.size();
      ++applications;
    }
  }
  EXPECT_EQ(applications, one.applications);
  EXPECT_GE(callbacks, 10U);
  RecordProperty("callbacks", std::to_string(callbacks));
}

// The scenario ends whoever is left in any order: whether an application hears of
// the phone's end is not to be chance.
std::string unplugged(const std::vector<std::string>& applications) {
  std::string more = "phone: unplug\n";
  for (const std::string& application : applications) {
    more += "wait " + application + " usb.status=0 bluetooth.status=0\n";
  }
  return more;
}

// Where an application registers while a phone is connected, whether it hears the first announcement is a matter of
// microseconds: such scenarios are not among them.
INSTANTIATE_TEST_SUITE_P(
    Of, Replay,
    testing::Values(
        Case{"launch_refused",
             "wait navi results=1\nwait music results=1\n" + unplugged({"navi", "music"}),
             {"--speed", "3"},
             2},
        Case{"application_is_stopped_for_a_while", "wait navi results=1\n" + unplugged({"navi", "music"}), {}, 2},
        Case{"playing_app_changes", unplugged({"navi"}), {"--as-fast-as-possible"}, 2},
        Case{"program_exits", "wait music results=1\n" + unplugged({"navi", "music"}), {"--as-fast-as-possible"}, 2},
        Case{"iap1_opens_sessions_by_name",
             "wait navi results=1\nwait music results=1\n" + unplugged({"plain", "navi", "music"}),
             {},
             3},
        Case{"many_applications", unplugged({"a", "b", "c", "d", "e", "f", "g", "h"}), {"--as-fast-as-possible"}, 8},
        Case{"switch_from_bluetooth_to_usb", "wait navi received=3\n" + unplugged({"navi"}), {}, 1},
        Case{"usb_plug_and_unplug", "", {"--as-fast-as-possible"}, 1}),
    [](const auto& parameter) { return parameter.param.scenario; });

class ReplayOfOne : public Again {
 public:
  // A session in which navi sends "hello" and gets it back, or with another application.
  void recordSession(const Arguments& application = {"app", "--name", "navi", "--send", "hello", "--expect", "1"}) {
    const auto recorder = startRecorder(path("x.rec"));
    ToolProcess phone(loop_, signals_, {"phone", "--json", "--do", "plug usb"});
    ASSERT_TRUE(phone.await({R"("event":"ready")"}));
    ASSERT_EQ(tool(application).code, 0);
    phone.tell("quit");
    ASSERT_EQ(phone.awaitEnd(), 0);
    recorder->signal(SIGTERM);
    ASSERT_EQ(recorder->awaitEnd(), 0);
    test_support::clearShm();
  }
  static std::string inSeconds(double time) { return std::to_string(static_cast<int>(time)) + "s"; }
  Ran replayTo(const Arguments& application, double patience = test_support::kDeadline) {
    ToolProcess replay(loop_, signals_, {"replay", path("x.rec"), "--patience", inSeconds(patience)});
    ToolProcess app(loop_, signals_, application);
    Ran ran;
    ran.code = replay.awaitEnd();
    ran.lines = replay.lines();
    app.signal(SIGKILL);
    app.awaitEnd();
    return ran;
  }
};

TEST_F(ReplayOfOne, is_content_with_an_application_of_the_users_own_that_does_the_same) {
  ASSERT_NO_FATAL_FAILURE(recordSession());
  const Ran ran = replayTo({"app", "--name", "navi", "--send", "hello", "--expect", "1"});
  EXPECT_EQ(ran.code, 0) << testing::PrintToString(ran.lines);
  EXPECT_THAT(ran.lines.back(), HasSubstr(", 0 differences"));
}

TEST_F(ReplayOfOne, starts_an_application_whose_options_hold_their_values) {
  ASSERT_NO_FATAL_FAILURE(
      recordSession({"app", "--name=navi", "--generate=20", "--expect=20", "--control=" + path("socket")}));
  const Ran ran = tool({"replay", "--start", "--shared", path("x.rec")});
  EXPECT_EQ(ran.code, 0) << testing::PrintToString(ran.lines);
}

TEST_F(Again, tells_an_application_once_what_its_options_told_it) {
  std::ofstream(path("x.scn")) << "process phone = phone\nprocess navi = app --name=navi --launch --do \"burst 20\"\n"
                                  "start phone navi\nwait phone apps=1\nphone: plug usb\n"
                                  "wait navi results=20 received=20\nphone: unplug\nwait navi usb.status=0\n";
  recordScenario(path("x.scn"), path("x.rec"), path("recorded"));
  const Ran ran = tool({"replay", "--start", "--shared", path("x.rec")});
  EXPECT_EQ(ran.code, 0) << testing::PrintToString(ran.lines);
}

TEST_F(ReplayOfOne, tells_what_an_application_does_differently) {
  ASSERT_NO_FATAL_FAILURE(recordSession());
  constexpr double kPatience = 3 * test_support::kSlowness;
  const Ran other = replayTo({"app", "--name", "navi", "--send", "goodbye", "--expect", "1"}, kPatience);
  EXPECT_EQ(other.code, 1);
  EXPECT_THAT(other.lines, Contains(AllOf(HasSubstr("DIFFERENT"), HasSubstr("navi sends size=5 text=hello"),
                                          HasSubstr("it sent size=7 text=goodbye instead"))));
  test_support::clearShm();
  const Ran none = replayTo({"app", "--name", "music", "--commands"}, kPatience);
  EXPECT_EQ(none.code, 1);
  EXPECT_THAT(none.lines,
              Contains(AllOf(HasSubstr("navi registers"), HasSubstr("it did not within " + inSeconds(kPatience)))));
  EXPECT_THAT(none.lines, Contains(HasSubstr("music has registered, which the recording does not have")));
}

TEST_F(ReplayOfOne, ends_with_1_where_its_logs_have_no_place) {
  ASSERT_NO_FATAL_FAILURE(recordSession());
  const std::string logs = path("x.rec") + "/logs";
  const Ran ran =
      runProgram(loop_, signals_,
                 {"sh", "-c", LINKAPP_TOOL " replay --start --shared --logs " + logs + " " + path("x.rec") + " 2>&1"});
  EXPECT_EQ(ran.code, 1);
  EXPECT_THAT(ran.lines, Contains("linkapp replay: " + logs + ": Not a directory"));
}

TEST_F(ReplayOfOne, makes_the_folder_for_its_logs) {
  ASSERT_NO_FATAL_FAILURE(recordSession());
  EXPECT_EQ(tool({"replay", "--start", "--shared", "--logs", path("made/here"), path("x.rec")}).code, 0);
  EXPECT_FALSE(std::filesystem::is_empty(path("made/here")));
}

TEST_F(ReplayOfOne, refuses_what_it_does_not_know) {
  EXPECT_EQ(tool({"replay"}).code, 2);
  EXPECT_EQ(tool({"replay", path("x.rec"), "--speed", "0"}).code, 2);
  EXPECT_EQ(tool({"replay", path("x.rec"), "--patience", "soon"}).code, 2);
  EXPECT_EQ(tool({"replay", path("x.rec"), "--logs", "x"}).code, 2);
  EXPECT_EQ(tool({"replay", path("x.rec")}).code, 1);
}

class ToScenario : public Again, public testing::WithParamInterface<std::string> {};

TEST_P(ToScenario, makes_a_file_that_runs_and_does_the_same) {
  recordScenario(scenario(GetParam(), ""), path("x.rec"), path("recorded"));
  ASSERT_EQ(tool({"record", "--to-scenario", path("x.rec"), "-o", path("made.scn")}).code, 0);
  recordScenario(path("made.scn"), path("made.rec"), path("made"));
  const json before = info(path("x.rec"))["names"];
  const json after = info(path("made.rec"))["names"];
  for (const char* const name : {"FromHU", "FromDevice", "NOTIFYID_APPLAUNCH", "AppInfo"}) {
    EXPECT_EQ(before.value(name, 0), after.value(name, 0)) << name;
  }
}

INSTANTIATE_TEST_SUITE_P(Of, ToScenario,
                         testing::Values("usb_plug_and_unplug", "late_application", "applications_before_the_phone",
                                         "application_is_killed", "apps_are_installed_and_removed",
                                         "device_side_is_killed", "launch_refused", "hands_free_up_and_down",
                                         "iap1_opens_sessions_by_name", "send_results_success_and_failure",
                                         "switch_from_bluetooth_to_usb"),
                         [](const auto& parameter) { return parameter.param; });

TEST_F(Again, prints_the_scenario_where_no_file_is_named) {
  recordScenario(scenario("hands_free_up_and_down", ""), path("x.rec"), path("recorded"));
  const Ran ran = tool({"record", "--to-scenario", path("x.rec")});
  EXPECT_EQ(ran.code, 0);
  EXPECT_THAT(ran.lines, AllOf(Contains("process navi = app --name navi --launch --listen app,hands-free"),
                               Contains("phone: hands-free up 00:11:22:33:44:55"), Contains("phone: plug usb iap2")));
  EXPECT_EQ(tool({"record", "--to-scenario", path("x.rec"), "-o", "/not/there/x"}).code, 1);
}

}  // namespace
