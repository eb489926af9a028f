// `linkapp reset`, with and without processes in its way.
#include <gmock/gmock.h>
#include <signal.h>

#include <memory>

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
