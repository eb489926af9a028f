// `linkapp monitor` beside real processes.
#include <signal.h>

#include <algorithm>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>

#include "inspect/snapshot.h"
#include "tests/inspect/inspect_fixture.h"
#include "tests/support/child.h"
#include "tests/support/interruption.h"
#include "tests/support/wait_until.h"
#include "tests/tool/terminal_tool.h"
#include "tests/tool/tool_process.h"

namespace {

using nlohmann::json;
using test_support::Child;
using test_support::waitUntil;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using Arguments = std::vector<std::string>;

class Monitor : public InspectTest {
 public:
  Ran tool(const Arguments& arguments) {
    Arguments all = {LINKAPP_TOOL};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return runProgram(loop_, signals_, all);
  }
  std::unique_ptr<ToolProcess> start(const Arguments& arguments) {
    return std::make_unique<ToolProcess>(loop_, signals_, arguments);
  }
  // Returns when it tells whatever is posted.
  std::unique_ptr<ToolProcess> startMonitor(const Arguments& more = {}) {
    Arguments arguments = {"monitor", "--json"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    auto monitor = start(arguments);
    EXPECT_TRUE(monitor->await({R"({"event":"begin")"}));
    return monitor;
  }
  void startPhone() {
    phone_ = start({"phone", "--json", "--do", "plug usb"});
    ASSERT_TRUE(phone_->await({R"("event":"ready")"}));
  }
  // An application with an open session.
  std::unique_ptr<ToolProcess> startApp(const std::string& name) {
    auto app = start({"app", "--json", "--commands", "--launch", "--name", name, "--launch-string", "com." + name});
    EXPECT_TRUE(app->await({R"("event":"onDeviceStatus")", R"("usb.status":2)"}));
    return app;
  }
  static std::vector<json> eventsOf(const std::vector<std::string>& lines, const std::string& event) {
    std::vector<json> events;
    for (const std::string& line : lines) {
      const json one = json::parse(line);
      if (one["event"] == event) {
        events.push_back(one);
      }
    }
    return events;
  }
  static std::uint64_t lostIn(const std::vector<std::string>& lines, const std::string& kind) {
    std::uint64_t lost = 0;
    for (const json& loss : eventsOf(lines, "loss")) {
      lost += loss["kind"] == kind ? loss["count"].get<std::uint64_t>() : 0;
    }
    return lost;
  }

  loop::Loop loop_;
  loop::Signals signals_{loop_, &test_support::endBy};
  std::unique_ptr<ToolProcess> phone_;
};

TEST_F(Monitor, that_was_there_before_the_channel_tells_a_session_from_its_first_message) {
  const auto sut = startMonitor();
  ASSERT_TRUE(sut->await({R"("event":"log")", R"("problem":"is not there")"}));
  EXPECT_THAT(test_support::shmNames(), IsEmpty());
  ASSERT_NO_FATAL_FAILURE(startPhone());
  const auto app = startApp("navi");
  app->tell("send hello");
  ASSERT_TRUE(sut->await({R"("sequence":0)"}));
  ASSERT_TRUE(sut->await({R"("kind":"AppInfo")", R"("appName":"navi")"}));
  ASSERT_TRUE(sut->await({R"("kind":"NOTIFYID_APPLAUNCH")", R"("app":1,"appName":"navi","launchMethod":1)"}));
  ASSERT_TRUE(sut->await({R"("kind":"NOTIFYID_SESSIONSTATUS")", R"("status":1)"}));
  ASSERT_TRUE(sut->await({R"("kind":"FromHU")", R"("content":{"state":"certain","size":5,"text":"hello"})"}));
  const json sent = json::parse(sut->lines().at(static_cast<std::size_t>(
      std::find_if(sut->lines().begin(), sut->lines().end(),
                   [](const std::string& line) { return line.find(R"("kind":"FromHU")") != std::string::npos; }) -
      sut->lines().begin())));
  EXPECT_EQ(sent["sender"]["apps"][0]["appName"], "navi");
  EXPECT_EQ(sent["receivers"].size(), 2U);
  EXPECT_EQ(std::count_if(sent["receivers"].begin(), sent["receivers"].end(),
                          [](const json& one) { return one["deviceSide"] == true; }),
            1);
  sut->signal(SIGINT);
  EXPECT_EQ(sut->awaitEnd(), 130);
  std::uint64_t next = 0;
  for (const json& message : eventsOf(sut->lines(), "message")) {
    EXPECT_EQ(message["sequence"], next++);
  }
}

TEST_F(Monitor, from_the_start_tells_what_is_still_in_the_log) {
  ASSERT_NO_FATAL_FAILURE(startPhone());
  const auto app = startApp("navi");
  const Ran ran = tool({"monitor", "--from-start", "--kind", "SESSIONSTATUS", "--count", "1"});
  EXPECT_EQ(ran.code, 0);
  EXPECT_THAT(ran.lines, ElementsAre(HasSubstr("NOTIFYID_SESSIONSTATUS    device=1 app=1 appName=navi status=1")));
}

TEST_F(Monitor, ends_by_count_or_by_time_and_says_by_its_exit_code_which) {
  EXPECT_EQ(tool({"monitor", "--for", "0.1"}).code, 0);
  EXPECT_EQ(tool({"monitor", "--count", "1", "--for", "0.1"}).code, 1);
}

TEST_F(Monitor, goes_on_after_a_reset) {
  ASSERT_NO_FATAL_FAILURE(startPhone());
  startApp("navi")->tell("quit");
  phone_->tell("quit");
  ASSERT_EQ(phone_->awaitEnd(), 0);
  const auto sut = startMonitor({"--kind", "AppInfo"});
  ASSERT_TRUE(waitUntil([this] { return tool({"reset"}).code == 0; }));
  ASSERT_NO_FATAL_FAILURE(startPhone());
  const auto app = startApp("music");
  ASSERT_TRUE(sut->await({R"("kind":"AppInfo")", R"("place":0,"appName":"music")"}));
}

TEST_F(Monitor, of_one_app_leaves_the_others_out) {
  ASSERT_NO_FATAL_FAILURE(startPhone());
  const auto sut = startMonitor({"--app", "music"});
  const auto navi = startApp("navi");
  const auto music = startApp("music");
  navi->tell("send from navi");
  ASSERT_TRUE(navi->await({R"("event":"onReceivedMsg")"}));
  music->tell("send from music");
  ASSERT_TRUE(sut->await({R"("text":"from music")"}));
  for (const json& message : eventsOf(sut->lines(), "message")) {
    EXPECT_EQ(message["fields"]["appName"], "music");
  }
}

// The application stands still while the phone sends it more than a ring holds.
TEST_F(Monitor, tells_a_burst_of_overwritten_slots_once_with_the_app) {
  ASSERT_NO_FATAL_FAILURE(startPhone());
  const auto app = startApp("navi");
  const auto sut = startMonitor({"--kind", "FromDevice"});
  phone_->tell("send com.navi first");
  ASSERT_TRUE(sut->await({R"("text":"first")"}));
  ASSERT_TRUE(app->await({R"("event":"onReceivedMsg")"}));
  app->signal(SIGSTOP);
  ASSERT_TRUE(waitUntil([] {
    const inspect::Snapshot snapshot = inspect::takeSnapshot();
    return std::any_of(snapshot.mappings.processes.begin(), snapshot.mappings.processes.end(),
                       [](const auto& mapping) { return mapping.process.isStopped(); });
  }));
  for (int i = 0; i < 50; ++i) {
    phone_->tell("send com.navi more");
  }
  // 50 in 40 slots, and none was read. On a machine with little time it may be more than one burst.
  while (lostIn(sut->lines(), "overwritten") < 10) {
    ASSERT_TRUE(sut->await({R"("event":"loss")", R"("kind":"overwritten")"}));
  }
  sut->signal(SIGTERM);
  EXPECT_EQ(sut->awaitEnd(), 128 + SIGTERM);
  EXPECT_EQ(lostIn(sut->lines(), "overwritten"), 10U);
  for (const json& loss : eventsOf(sut->lines(), "loss")) {
    EXPECT_EQ(loss["kind"], "overwritten");
    EXPECT_EQ(loss["appName"], "navi");
    EXPECT_EQ(loss["ring"], "FromDevice");
  }
  EXPECT_THAT(eventsOf(sut->lines(), "missed"), IsEmpty());
  app->signal(SIGCONT);
}

// What the snapshot counts, too.
TEST_F(Monitor, and_status_tell_a_send_without_a_result) {
  ASSERT_NO_FATAL_FAILURE(startPhone());
  const auto app = startApp("navi");
  const auto sut = startMonitor();
  app->tell("send hello");
  ASSERT_TRUE(sut->await({R"("kind":"NOTIFYID_SENDRESULT")"}));
  phone_->signal(SIGKILL);
  ASSERT_EQ(phone_->awaitEnd(), 128 + SIGKILL);
  app->tell("send into the void");
  app->tell("send again");
  while (lostIn(sut->lines(), "withoutResult") < 2) {
    ASSERT_TRUE(sut->await({R"("event":"loss")", R"("kind":"withoutResult")", R"("app":1,"appName":"navi")"}));
  }
  const Ran ran = tool({"status", "--json"});
  ASSERT_EQ(ran.lines.size(), 1U);
  const json all = json::parse(ran.lines.front());
  EXPECT_EQ(all["losses"]["withoutResult"], 2);
  EXPECT_EQ(all["losses"]["apps"][0]["app"], 1);
  EXPECT_THAT(tool({"status"}).lines, Contains(HasSubstr("app 1 (navi) got no send result for 2 messages")));
}

// A receiver that stands still while more is posted than the log holds.
TEST_F(Monitor, tells_a_receiver_that_lost_notifications) {
  const auto sut = startMonitor({"--id", "99"});
  ASSERT_TRUE(sut->await({R"("event":"log")"}));
  Child receiver("listen", {"77"});
  Child poster("post", {"20000", "77"});
  ASSERT_TRUE(receiver.expect("ready") && poster.expect("ready"));
  ASSERT_TRUE(waitUntil([] { return inspect::takeSnapshot().receivers.size() == 1; }));
  receiver.stop();
  poster.tell("go");
  ASSERT_TRUE(poster.expect("posted"));
  receiver.proceed();
  ASSERT_TRUE(waitUntil([] { return inspect::takeSnapshot().receivers.at(0).behind == 0U; }));
  EXPECT_EQ(poster.finish(), 0);
  ASSERT_TRUE(sut->await({R"("event":"loss")", R"("kind":"notifications")", std::to_string(receiver.pid())}));
}

TEST_F(Monitor, stats_tell_rates_sizes_and_lags) {
  ASSERT_NO_FATAL_FAILURE(startPhone());
  phone_->tell("events off");
  ASSERT_TRUE(phone_->await({R"("reply":"events")"}));
  const auto sut = startMonitor({"--stats", "0.5"});
  const Ran app = tool({"app", "--json", "--generate", "500", "--size", "256", "--expect", "500", "--quiet"});
  EXPECT_EQ(app.code, 0);
  const auto sums = [&sut] {
    std::map<std::string, std::uint64_t> all;
    for (const json& stats : eventsOf(sut->lines(), "stats")) {
      all["FromHU"] += stats["rings"][0]["messages"].get<std::uint64_t>();
      all["bytes"] += stats["rings"][0]["bytes"].get<std::uint64_t>();
      all["unread"] += stats["rings"][0]["unread"].get<std::uint64_t>();
      for (const json& one : stats["apps"]) {
        all["results"] += one["results"].get<std::uint64_t>();
        all["timed"] += one.contains("resultLatency") ? one["resultLatency"]["count"].get<std::uint64_t>() : 0;
      }
    }
    return all;
  };
  for (auto all = sums(); all["results"] < 500; all = sums()) {
    ASSERT_TRUE(sut->await({R"("event":"stats")"}));
  }
  auto all = sums();
  EXPECT_EQ(all["FromHU"], 500U);
  EXPECT_EQ(all["timed"], 500U);
  EXPECT_EQ(all["bytes"], 256 * (500 - all["unread"]));
  EXPECT_LT(all["unread"], 500U);
}

TEST_F(Monitor, on_the_whole_screen_shows_the_session_and_gives_the_terminal_back) {
  ASSERT_NO_FATAL_FAILURE(startPhone());
  const auto app = startApp("navi");
  for (const int signal : {0, SIGINT, SIGTERM}) {
    TerminalTool sut({"monitor", "--top"});
    ASSERT_TRUE(sut.await("\033[?1049h"));
    ASSERT_TRUE(sut.await("1 (navi)"));
    signal == 0 ? sut.type("q") : sut.signal(signal);
    EXPECT_EQ(sut.awaitEnd(), signal == 0 ? 0 : 128 + signal);
    EXPECT_TRUE(sut.await("\033[?1049l"));
  }
}

TEST_F(Monitor, on_the_whole_screen_follows_its_size) {
  TerminalTool sut({"monitor", "--top"});
  ASSERT_TRUE(sut.await("RECEIVER"));
  sut.resize(3, 60);
  ASSERT_TRUE(sut.await("more rows do not fit"));
  sut.resize(24, 80);
  ASSERT_TRUE(sut.await("RECEIVER"));
}

TEST_F(Monitor, needs_a_terminal_for_the_whole_screen) {
  const Ran ran = runProgram(loop_, signals_, {"bash", "-c", LINKAPP_TOOL " monitor --top 2>&1"});
  EXPECT_EQ(ran.code, 1);
  EXPECT_THAT(ran.lines,
              ElementsAre("linkapp monitor: --top needs a terminal; without one, --stats tells the same in lines"));
}

TEST_F(Monitor, has_no_colours_where_none_are_wanted) {
  ASSERT_NO_FATAL_FAILURE(startPhone());
  TerminalTool coloured({"monitor", "--from-start", "--count", "1"}, {{"NO_COLOR", ""}});
  EXPECT_EQ(coloured.awaitEnd(), 0);
  EXPECT_THAT(coloured.screen(), HasSubstr("\033[36m"));
  TerminalTool plain({"monitor", "--from-start", "--count", "1"}, {{"NO_COLOR", "1"}});
  EXPECT_EQ(plain.awaitEnd(), 0);
  EXPECT_THAT(plain.screen(), Not(HasSubstr("\033")));
}

TEST_F(Monitor, ends_when_nobody_reads) {
  ASSERT_NO_FATAL_FAILURE(startPhone());
  const Ran ran = runProgram(loop_, signals_,
                             {"bash", "-c", LINKAPP_TOOL " monitor --from-start | head -1; exit ${PIPESTATUS[0]}"});
  EXPECT_EQ(ran.code, 0);
  EXPECT_EQ(ran.lines.size(), 1U);
}

TEST_F(Monitor, refuses_what_it_does_not_know) {
  EXPECT_EQ(tool({"monitor", "--kind", "NOTHING"}).code, 2);
  EXPECT_EQ(tool({"monitor", "--id", "four"}).code, 2);
  EXPECT_EQ(tool({"monitor", "--count", "0"}).code, 2);
  EXPECT_EQ(tool({"monitor", "--stats", "soon"}).code, 2);
  EXPECT_EQ(tool({"monitor", "--top", "--json"}).code, 2);
}

}  // namespace
