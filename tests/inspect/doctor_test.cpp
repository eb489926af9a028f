// `linkapp doctor --fix`, and what its options do; on real processes.
#include <signal.h>

#include <nlohmann/json.hpp>

#include "inspect/snapshot.h"
#include "tests/inspect/bench.h"
#include "tests/support/wait_until.h"
#include "tests/tool/terminal_tool.h"

namespace {

using nlohmann::json;
using test_support::waitUntil;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char* kFromHU = "iOSAppMem_Device1_From_HU";
constexpr const char* kLog = "VQSharedMemNotifier.log";

class Fix : public Bench {
 public:
  json fix(const std::string& options) {
    const Ran ran = linkapp("doctor --fix --json " + options);
    code = ran.code;
    return ran.lines.empty() ? json() : json::parse(ran.lines.back());
  }
  void end(ToolProcess& process) {
    process.tell("quit");
    ASSERT_EQ(process.awaitEnd(), 0);
  }
  void endSession() {
    ASSERT_NO_FATAL_FAILURE(startSession());
    end(*navi);
    end(*device);
  }
  static std::uint32_t places() { return inspect::takeSnapshot().table.count; }

  std::optional<int> code;
};

TEST_F(Fix, has_nothing_to_do_on_a_healthy_channel) {
  ASSERT_NO_FATAL_FAILURE(startSession());
  EXPECT_THAT(fix("--yes")["repairs"], IsEmpty());
  EXPECT_EQ(code, 0);
  ASSERT_NO_FATAL_FAILURE(sendAndHear());
}

TEST_F(Fix, frees_the_places_of_dead_apps_when_nobody_is_attached) {
  ASSERT_NO_FATAL_FAILURE(endSession());
  ASSERT_EQ(places(), 1U);
  const json result = fix("--yes");
  EXPECT_EQ(code, 0);
  ASSERT_EQ(result["repairs"].size(), 1U);
  EXPECT_EQ(result["repairs"][0]["state"], "done");
  EXPECT_EQ(result["repairs"][0]["result"], "1 place of the registration table free again");
  EXPECT_EQ(places(), 0U);
  ASSERT_NO_FATAL_FAILURE(startSession());
  EXPECT_EQ(places(), 1U);
}

TEST_F(Fix, refuses_to_free_places_while_processes_are_attached_and_names_them) {
  ASSERT_NO_FATAL_FAILURE(startSession());
  navi->signal(SIGKILL);
  ASSERT_EQ(navi->awaitEnd(), 128 + SIGKILL);
  const json result = fix("--yes");
  EXPECT_EQ(code, 1);
  ASSERT_EQ(result["repairs"].size(), 1U);
  EXPECT_EQ(result["repairs"][0]["state"], "refused");
  ASSERT_EQ(result["repairs"][0]["attached"].size(), 1U);
  EXPECT_THAT(result["repairs"][0]["attached"][0]["command"].get<std::string>(), HasSubstr("phone --json"));
  EXPECT_EQ(places(), 1U);
  const Ran words = linkapp("doctor --fix --yes");
  EXPECT_EQ(words.code, 1);
  EXPECT_THAT(words.lines, Contains(HasSubstr("it would hurt processes that are attached")));
  EXPECT_THAT(words.lines, Contains(HasSubstr("phone --json")));
}

TEST_F(Fix, takes_over_the_lock_of_a_dead_holder_and_hurts_nobody_who_runs) {
  ASSERT_NO_FATAL_FAILURE(startSession());
  child("hold", {kFromHU}).kill();
  const json result = fix("--yes");
  EXPECT_EQ(code, 0);
  ASSERT_EQ(result["repairs"].size(), 1U);
  EXPECT_EQ(result["repairs"][0]["what"], "take over iOSAppMem_Device1_From_HU.lock and give it back");
  EXPECT_EQ(result["repairs"][0]["result"], "taken over and given back");
  EXPECT_EQ(linkapp("doctor").code, 0);
  ASSERT_NO_FATAL_FAILURE(sendAndHear());
}

TEST_F(Fix, leaves_the_lock_of_a_holder_that_is_only_stopped) {
  ASSERT_NO_FATAL_FAILURE(startSession());
  child("hold", {kFromHU}).stop();
  EXPECT_THAT(fix("--yes")["repairs"], IsEmpty());
}

TEST_F(Fix, removes_a_log_of_another_version_when_nobody_uses_it) {
  ASSERT_NO_FATAL_FAILURE(endSession());
  ASSERT_TRUE(test_support::pokeShmWord(kLog, 4, 2));
  const json result = fix("--yes");
  EXPECT_EQ(code, 0) << result;
  EXPECT_EQ(result["repairs"][0]["what"], "remove VQSharedMemNotifier.log");
  EXPECT_FALSE(test_support::shmExists(kLog));
  ASSERT_NO_FATAL_FAILURE(startSession());
}

TEST_F(Fix, makes_a_damaged_lock_anew_and_frees_the_places) {
  ASSERT_NO_FATAL_FAILURE(endSession());
  ASSERT_TRUE(test_support::pokeShmWord("iOSAppMem_Device1_From_HU.lock", 8, 3));
  const json result = fix("--yes");
  EXPECT_EQ(code, 0) << result;
  ASSERT_EQ(result["repairs"].size(), 2U);
  EXPECT_EQ(result["repairs"][0]["what"], "make iOSAppMem_Device1_From_HU.lock anew");
  EXPECT_EQ(result["repairs"][0]["state"], "done");
  EXPECT_EQ(result["repairs"][1]["state"], "done");
  EXPECT_EQ(places(), 0U);
  EXPECT_THAT(fix("--yes")["repairs"], IsEmpty());
  EXPECT_EQ(linkapp("doctor").code, 0);
  ASSERT_NO_FATAL_FAILURE(startSession());
}

TEST_F(Fix, leaves_a_damaged_lock_alone_while_the_channel_is_used) {
  ASSERT_NO_FATAL_FAILURE(startSession());
  ASSERT_TRUE(test_support::pokeShmWord("iOSAppMem_Device1_From_HU.lock", 8, 3));
  EXPECT_EQ(fix("--yes")["repairs"][0]["state"], "refused");
  EXPECT_EQ(test_support::shmWord("iOSAppMem_Device1_From_HU.lock", 8), 3U);
}

TEST_F(Fix, does_not_remove_a_log_that_a_process_uses) {
  ASSERT_NO_FATAL_FAILURE(startSession());
  ASSERT_TRUE(test_support::pokeShmWord(kLog, 4, 2));
  EXPECT_EQ(fix("--yes")["repairs"][0]["state"], "refused");
  EXPECT_TRUE(test_support::shmExists(kLog));
}

TEST_F(Fix, says_what_it_would_do_and_does_nothing_unless_agreed_to) {
  ASSERT_NO_FATAL_FAILURE(endSession());
  const Ran dry = linkapp("doctor --fix --dry-run");
  EXPECT_EQ(dry.code, 1);
  EXPECT_EQ(dry.lines.at(0), "would   clear the segments: 1 place of the registration table free again");
  const Ran silent = linkapp("doctor --fix");  // nobody can be asked
  EXPECT_EQ(silent.code, 1);
  EXPECT_EQ(fix("--dry-run")["repairs"][0]["state"], "planned");
  EXPECT_EQ(places(), 1U);
}

TEST_F(Fix, asks_at_a_terminal_and_takes_no_for_an_answer) {
  ASSERT_NO_FATAL_FAILURE(endSession());
  TerminalTool refused({"doctor", "--fix"});
  ASSERT_TRUE(refused.await("would   clear the segments"));
  ASSERT_TRUE(refused.await("Do it? [y/N] "));
  refused.type("\n");
  EXPECT_EQ(refused.awaitEnd(), 1);
  EXPECT_EQ(places(), 1U);
  TerminalTool agreed({"doctor", "--fix"});
  ASSERT_TRUE(agreed.await("Do it? [y/N] "));
  agreed.type("y\n");
  ASSERT_TRUE(agreed.await("done  clear the segments"));
  EXPECT_EQ(agreed.awaitEnd(), 0);
  EXPECT_EQ(places(), 0U);
}

class Doctor : public Bench {};

TEST_F(Doctor, changes_nothing_it_looks_at) {
  ASSERT_NO_FATAL_FAILURE(startSession());
  const auto contended = [] {
    std::uint64_t sum = 0;
    for (const inspect::Lock& lock : inspect::takeSnapshot().locks) {
      sum += lock.contended;
    }
    return sum;
  };
  const std::uint64_t head = inspect::takeSnapshot().log.head;
  const std::uint64_t before = contended();
  EXPECT_EQ(linkapp("doctor").code, 0);
  EXPECT_EQ(linkapp("why message navi").code, 0);
  EXPECT_EQ(contended(), before);
  const inspect::Snapshot after = inspect::takeSnapshot();
  EXPECT_LE(after.log.head - head, 3U);  // the phone announces hands-free again for late listeners
  EXPECT_EQ(after.receivers.size(), 2U);
}

TEST_F(Doctor, says_the_same_as_json) {
  const Ran ran = linkapp("doctor --json");
  ASSERT_EQ(ran.lines.size(), 1U);
  const json all = json::parse(ran.lines[0]);
  EXPECT_EQ(ran.code, 1);
  EXPECT_EQ(all["ok"], false);
  EXPECT_EQ(all["faults"], 1);
  ASSERT_EQ(all["findings"].size(), 1U);
  const json finding = all["findings"][0];
  EXPECT_EQ(finding["check"], "objects");
  EXPECT_EQ(finding["level"], "fault");
  EXPECT_EQ(finding["what"], "there is no channel");
  for (const char* const part : {"proof", "consequence", "remedy"}) {
    EXPECT_FALSE(finding[part].get<std::string>().empty()) << part;
  }
  EXPECT_THAT(test_support::shmNames(), IsEmpty());
}

TEST_F(Doctor, leaves_out_what_it_is_told_to) {
  EXPECT_EQ(linkapp("doctor --skip objects,bluetooth --skip space").code, 0);
  EXPECT_EQ(linkapp("doctor --skip surprise").code, 2);
  EXPECT_EQ(linkapp("doctor --yes").code, 2);
}

class Why : public Bench {};

TEST_F(Why, lists_what_holds_before_the_first_condition_that_fails) {
  phone({"state"});
  app("navi", {"--launch"});
  ASSERT_TRUE(waitUntil([this] { return linkapp("why launch navi").lines.size() == 8; }));
  const Ran ran = linkapp("why launch navi");
  EXPECT_EQ(ran.code, 1);
  EXPECT_THAT(ran.lines,
              ElementsAre("launch navi", StartsWith("  yes     the device id is 1"),
                          StartsWith("  yes     the application is registered: navi has app id 1"),
                          StartsWith("  yes     its process runs"), StartsWith("  yes     it hears and is heard"),
                          StartsWith("  NO      device 1 is connected: connectStatus 0"),
                          "  so      the launch returns 0", "  remedy  connect the phone"));
}

TEST_F(Why, answers_in_json_too) {
  const Ran ran = linkapp("why message navi --json");
  EXPECT_EQ(ran.code, 1);
  ASSERT_EQ(ran.lines.size(), 2U);
  const json send = json::parse(ran.lines[0]);
  EXPECT_EQ(send["question"], "send");
  EXPECT_EQ(send["ok"], false);
  EXPECT_EQ(send["fails"], "the application is registered");
  EXPECT_EQ(send["answer"], "requestMsgSend returns false");
  EXPECT_EQ(send["conditions"].back()["verdict"], "fails");
  EXPECT_EQ(json::parse(ran.lines[1])["question"], "receive");
}

TEST_F(Why, takes_the_only_application_where_none_is_named) {
  ASSERT_NO_FATAL_FAILURE(startSession());
  EXPECT_EQ(linkapp("why launch").lines.at(0), "launch navi");
  app("music");
  EXPECT_EQ(linkapp("why launch").code, 2);
  EXPECT_EQ(linkapp("why launch 2").lines.at(0), "launch music");
}

TEST_F(Why, takes_the_newest_of_several_starts_of_an_application) {
  ASSERT_NO_FATAL_FAILURE(startSession());
  navi->signal(SIGKILL);
  ASSERT_EQ(navi->awaitEnd(), 128 + SIGKILL);
  app("navi", {"--launch"});
  EXPECT_THAT(linkapp("why launch navi").lines, Contains(HasSubstr("navi has app id 2")));
}

TEST_F(Why, refuses_what_it_does_not_know) {
  EXPECT_EQ(linkapp("why").code, 2);
  EXPECT_EQ(linkapp("why not").code, 2);
  EXPECT_EQ(linkapp("why launch navi --device 300").code, 2);
}

}  // namespace
