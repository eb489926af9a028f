// `linkapp reset`, with and without processes in its way.
#include <gmock/gmock.h>
#include <signal.h>

#include <memory>

#include "tests/support/shm_files.h"
#include "tests/tool/tool_fixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

using Arguments = std::vector<std::string>;

class Reset : public ToolTest {
 public:
  Ran reset(const Arguments& arguments = {}) {
    Arguments all = {LINKAPP_TOOL, "reset"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return runProgram(loop_, signals_, all);
  }

  std::unique_ptr<ToolProcess> start(const Arguments& arguments) {
    auto process = std::make_unique<ToolProcess>(loop_, signals_, arguments);
    EXPECT_TRUE(process->await({R"("event":"ready")"}));
    return process;
  }

  // The app id that an application gets which ends at once.
  std::string nextAppId() {
    const auto app = start({"app", "--json", "--commands"});
    const std::string ready = app->lines().front();
    app->tell("quit");
    EXPECT_EQ(app->awaitEnd(), 0);
    const std::size_t at = ready.find("\"app\":");
    return ready.substr(at + 6, ready.find(',', at) - at - 6);
  }
};

TEST_F(Reset, has_nothing_to_do_where_there_is_no_channel) {
  const Ran ran = reset();
  EXPECT_EQ(ran.code, 0);
  EXPECT_THAT(ran.lines, ElementsAre("nothing to clear: there is no channel"));
}

TEST_F(Reset, frees_the_places_of_the_registration_table) {
  for (int i = 0; i < 20; ++i) {
    nextAppId();
  }
  ASSERT_EQ(nextAppId(), "0");
  const Ran ran = reset();
  EXPECT_EQ(ran.code, 0);
  EXPECT_THAT(ran.lines, ElementsAre("4 segments cleared, 20 places of the registration table free again"));
  EXPECT_EQ(nextAppId(), "1");
}

TEST_F(Reset, names_whoever_uses_the_channel_and_changes_nothing) {
  ASSERT_EQ(nextAppId(), "1");
  const auto phone = start({"phone", "--json"});
  const auto listener = start({"app", "--json", "--commands", "--listen", "playback"});
  const Ran ran = reset();
  EXPECT_EQ(ran.code, 1);
  ASSERT_EQ(ran.lines.size(), 3U);
  EXPECT_EQ(ran.lines[0], "linkapp reset: 2 processes use the channel; nothing was changed");
  EXPECT_THAT(ran.lines, testing::Contains(HasSubstr("linkapp phone --json")));
  EXPECT_THAT(ran.lines, testing::Contains(HasSubstr("linkapp app --json --commands --listen playback")));
  const Ran json = reset({"--json"});
  EXPECT_EQ(json.code, 1);
  EXPECT_THAT(json.lines, ElementsAre(HasSubstr(R"({"ok":false,"attached":[{"pid":)")));
  EXPECT_EQ(nextAppId(), "2");
}

TEST_F(Reset, is_not_stopped_by_processes_that_were_killed) {
  const auto phone = start({"phone", "--json"});
  const auto app = start({"app", "--json", "--commands"});
  phone->signal(SIGKILL);
  app->signal(SIGKILL);
  ASSERT_EQ(phone->awaitEnd(), 128 + SIGKILL);
  ASSERT_EQ(app->awaitEnd(), 128 + SIGKILL);
  EXPECT_THAT(reset({"--json"}).lines, ElementsAre(R"({"ok":true,"segments":4,"places":1,"cleared":true})"));
}

TEST_F(Reset, is_stopped_by_a_process_that_stands_still) {
  const auto app = start({"app", "--json", "--commands"});
  app->signal(SIGSTOP);
  EXPECT_EQ(reset().code, 1);
  app->signal(SIGCONT);
}

TEST_F(Reset, frees_a_registration_table_of_garbage) {
  ASSERT_EQ(nextAppId(), "1");
  const std::string garbage(5444, '\xA5');
  ASSERT_TRUE(test_support::pokeShm("iOSAppCommonLocalMem_AppInfo", 4, garbage.data(), garbage.size()));
  ASSERT_EQ(nextAppId(), "0");
  EXPECT_EQ(reset().code, 0);
  EXPECT_EQ(nextAppId(), "1");
}

// What every process refuses, and says so, is made anew by the first one after the reset.
TEST_F(Reset, mends_a_log_and_a_lock_whose_headers_are_damaged) {
  ASSERT_EQ(nextAppId(), "1");
  ASSERT_TRUE(test_support::pokeShmWord("VQSharedMemNotifier.log", 0, 0x11111111));
  ASSERT_TRUE(test_support::pokeShmWord("iOSAppMem_Device1_From_HU.lock", 8, 3));
  const std::string log = "VQSharedMemNotifier.log, which every process refused, ";
  const std::string lock = "iOSAppMem_Device1_From_HU.lock, which every process refused, ";

  EXPECT_THAT(reset({"--check"}).lines,
              testing::IsSupersetOf({lock + "would be made blank", log + "would be made blank"}));
  const Ran ran = reset();

  EXPECT_EQ(ran.code, 0);
  EXPECT_THAT(ran.lines, ElementsAre("4 segments cleared, 1 place of the registration table free again",
                                     lock + "is blank; the next process makes it anew",
                                     log + "is blank; the next process makes it anew"));
  const auto phone = start({"phone", "--json"});
  phone->tell("plug usb");
  const auto app = start({"app", "--json", "--commands"});
  ASSERT_TRUE(app->await({R"("usb.status":1)"}));
  app->tell("launch");
  EXPECT_TRUE(app->await({R"("usb.status":2)"}));
}

TEST_F(Reset, leaves_a_damaged_header_alone_while_somebody_uses_the_channel) {
  const auto phone = start({"phone", "--json"});
  ASSERT_TRUE(test_support::pokeShmWord("VQSharedMemNotifier.log", 0, 0x11111111));
  EXPECT_EQ(reset().code, 1);
  EXPECT_EQ(test_support::shmWord("VQSharedMemNotifier.log", 0), 0x11111111U);
}

TEST_F(Reset, mends_a_log_that_is_all_there_is_of_the_channel) {
  ASSERT_EQ(nextAppId(), "1");
  for (const std::string& name : test_support::shmNames()) {
    if (name != "VQSharedMemNotifier.log") {
      test_support::removeShm(name);
    }
  }
  ASSERT_TRUE(test_support::pokeShmWord("VQSharedMemNotifier.log", 0, 0x11111111));
  EXPECT_THAT(reset({"--json"}).lines, ElementsAre(R"({"ok":true,"segments":0,"places":0,"cleared":true,)"
                                                   R"("refused":[{"name":"VQSharedMemNotifier.log"}]})"));
  EXPECT_EQ(test_support::shmWord("VQSharedMemNotifier.log", 0), 0U);
}

TEST_F(Reset, only_looks_where_it_is_asked_to) {
  ASSERT_EQ(nextAppId(), "1");
  const Ran ran = reset({"--check"});
  EXPECT_EQ(ran.code, 0);
  EXPECT_THAT(ran.lines, ElementsAre("nobody uses the channel; 1 place of the registration table would be free again"));
  EXPECT_EQ(nextAppId(), "2");
}

TEST_F(Reset, explains_itself_and_refuses_what_it_does_not_know) {
  EXPECT_EQ(reset({"--help"}).code, 0);
  EXPECT_EQ(reset({"--version"}).code, 0);
  EXPECT_EQ(reset({"--surprise"}).code, 2);
  EXPECT_EQ(reset({"word"}).code, 2);
}

}  // namespace
