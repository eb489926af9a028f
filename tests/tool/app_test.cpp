// `linkapp app` beside a `linkapp phone`, as real processes.
#include <gmock/gmock.h>
#include <signal.h>

#include <fstream>
#include <memory>

#include "scenario/source.h"
#include "tests/support/wait_until.h"
#include "tests/tool/control_client.h"
#include "tests/tool/tool_fixture.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

using Arguments = std::vector<std::string>;

class App : public ToolTest {
 public:
  void startPhone(const Arguments& arguments = {"--do", "plug usb"}) {
    Arguments all = {"phone", "--json"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    phone_ = std::make_unique<ToolProcess>(loop_, signals_, all);
    ASSERT_TRUE(phone_->await({R"("event":"ready")"}));
  }

  std::unique_ptr<ToolProcess> startApp(const Arguments& arguments = {}) {
    Arguments all = {"app", "--json", "--commands"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    auto app = std::make_unique<ToolProcess>(loop_, signals_, all);
    EXPECT_TRUE(app->await({R"("event":"ready")"}));
    return app;
  }

  // Of `linkapp app ARGUMENTS` that sends and ends.
  Ran runApp(const Arguments& arguments) {
    Arguments all = {LINKAPP_TOOL, "app", "--json"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return runProgram(loop_, signals_, all);
  }
  Ran runShell(const std::string& command) { return runProgram(loop_, signals_, {"sh", "-c", command}); }

  scenario::TemporaryFolder folder_;
  std::unique_ptr<ToolProcess> phone_;
};

TEST_F(App, sends_a_text_and_gets_it_back) {
  startPhone();
  const Ran app = runApp({"--send", "hello", "--expect", "1"});
  EXPECT_EQ(app.code, 0);
  EXPECT_THAT(app.lines, Contains(HasSubstr(R"("event":"onReceivedMsg")")));
  EXPECT_THAT(app.lines.back(), HasSubstr(R"("event":"done")"));
  EXPECT_THAT(app.lines.back(), HasSubstr(R"("sent":1,"refused":0,"results":1,"failed":0,"received":1)"));
  EXPECT_TRUE(phone_->await({R"("event":"received")", R"("text":"hello")"}));
}

TEST_F(App, prints_text_for_people) {
  startPhone();
  const Ran app = runProgram(loop_, signals_, {LINKAPP_TOOL, "app", "--send", "hello", "--expect", "1"});
  EXPECT_EQ(app.code, 0);
  EXPECT_THAT(app.lines, Contains(HasSubstr("onReceivedMsg         size=5 text=hello count=1")));
  EXPECT_THAT(app.lines, Not(Contains(HasSubstr("\033"))));
}

TEST_F(App, sends_each_line_of_its_input_and_long_ones_in_pieces) {
  startPhone();
  const Ran app =
      runShell("(printf 'a\\n\\nbc\\n'; head -c 5000 /dev/zero | tr '\\0' x) | " LINKAPP_TOOL " app --json --expect 4");
  EXPECT_EQ(app.code, 0);
  EXPECT_THAT(app.lines.back(), HasSubstr(R"("received":4,"received-bytes":5003)"));
}

TEST_F(App, sends_a_file_in_pieces) {
  startPhone();
  const std::string name = folder_.path() + "/file";
  std::ofstream(name) << std::string(10000, 'x');
  const Ran app = runApp({"--file", name, "--size", "3000", "--expect", "4"});
  EXPECT_EQ(app.code, 0);
  EXPECT_THAT(app.lines.back(), HasSubstr(R"("received":4,"received-bytes":10000)"));
}

TEST_F(App, paces_a_generator_by_its_send_results_and_loses_nothing) {
  startPhone();
  phone_->tell("events off");  // nobody reads them meanwhile
  ASSERT_TRUE(phone_->await({R"("reply":"events")"}));
  const Ran app = runApp({"--generate", "3000", "--size", "512", "--expect", "3000", "--quiet"});
  EXPECT_EQ(app.code, 0);
  EXPECT_THAT(app.lines.back(), HasSubstr(R"("sent":3000,"refused":0,"results":3000,"failed":0,"received":3000)"));
  EXPECT_THAT(app.lines.back(), HasSubstr(R"("numbered":3000,"missing":0,"repeated":0)"));
  EXPECT_THAT(app.lines, Not(Contains(HasSubstr("onReceivedMsg"))));
}

TEST_F(App, ends_with_1_when_a_message_is_not_delivered) {
  startPhone({"--do", "results failure", "--do", "plug usb"});
  const Ran app = runShell(LINKAPP_TOOL " app --json --send hello 2>&1");
  EXPECT_EQ(app.code, 1);
  EXPECT_THAT(app.lines, Contains("linkapp app: 1 of 1 messages were not delivered"));
}

class AppThatWaitsInVain : public App, public testing::WithParamInterface<std::pair<Arguments, std::string>> {};

TEST_P(AppThatWaitsInVain, ends_with_1_and_says_for_what) {
  if (!GetParam().first.empty()) {
    startPhone(GetParam().first);
  }
  // Long enough for every step before the one that does not come.
  const std::string patience = std::to_string(static_cast<int>(test_support::kSlowness)) + "s";
  const Ran app = runShell(LINKAPP_TOOL " app --json --send hello --expect 1 --patience " + patience + " 2>&1");
  EXPECT_EQ(app.code, 1);
  EXPECT_THAT(app.lines, Contains("linkapp app: nothing has happened for " + patience + ": " + GetParam().second));
}

INSTANTIATE_TEST_SUITE_P(Kinds, AppThatWaitsInVain,
                         testing::Values(std::pair(Arguments{}, "no phone is connected"),
                                         std::pair(Arguments{"--do", "launches refuse", "--do", "plug usb"},
                                                   "the phone has not opened the app"),
                                         std::pair(Arguments{"--do", "results none", "--do", "plug usb"},
                                                   "0 of 1 send results have come"),
                                         std::pair(Arguments{"--do", "app-sink *", "--do", "plug usb"},
                                                   "0 of 1 expected messages have come")));

TEST_F(App, obeys_commands_and_tells_every_callback) {
  // The app first: a connection that is announced while its listener is being set is not told.
  const auto app = startApp({"--name", "navi"});
  startPhone();
  ASSERT_TRUE(app->await({R"("event":"onDeviceStatus")", R"("type":"ios","device":1,"iap":2,"usb.status":1)"}));
  app->tell("launch method no-alert");
  ASSERT_TRUE(app->await({R"("reply":"launch","ok":true,"accepted":true)"}));
  ASSERT_TRUE(app->await({R"("event":"onDeviceStatus")", R"("usb.status":2,"usb.app":"navi")"}));
  app->tell("send-hex 00ff");
  ASSERT_TRUE(app->await({R"("reply":"send-hex","ok":true,"accepted":true)"}));
  ASSERT_TRUE(app->await({R"("event":"onReceivedMsg")", R"("size":2,"head":"00ff")"}));
  ASSERT_TRUE(app->await({R"("event":"onSendResult")", R"("failed":false)"}));
  phone_->tell("hands-free up");
  ASSERT_TRUE(app->await({R"("event":"onHfpStatus")", R"("kind":"ios","device":1,"connected":true)"}));
  phone_->tell("play Example Player");
  ASSERT_TRUE(app->await({R"("event":"onPlaybackAppInfo")", R"("device":1,"name":"Example Player")"}));
  app->tell("state");
  EXPECT_TRUE(app->await({R"("reply":"state","ok":true,"name":"navi","app":1,"registered":true,"usb.status":2)",
                          R"("open":true)", R"("hands-free":1,"playing":"Example Player")", R"("sent":1)"}));
  app->tell("quit");
  EXPECT_EQ(app->awaitEnd(), 0);
}

TEST_F(App, says_of_a_send_that_the_library_refuses_it_was_not_accepted) {
  const auto app = startApp();
  app->tell("send hello");
  EXPECT_TRUE(app->await({R"("reply":"send","ok":true,"accepted":false)"}));
  app->tell("state");
  EXPECT_TRUE(app->await({R"("sent":0,"refused":1)"}));
}

TEST_F(App, keeps_a_burst_until_its_session_is_open) {
  const auto app = startApp({"--launch"});
  app->tell("burst 100 size 64 rate 2000");
  ASSERT_TRUE(app->await({R"("reply":"burst","ok":true)"}));
  startPhone();
  EXPECT_TRUE(app->await({R"("event":"sending-ended")", R"("sent":100)"}));
}

TEST_F(App, sends_back_what_comes) {
  startPhone({"--do", "app-source * count 50 rate 1000 size 100", "--do", "plug usb"});
  const auto app = startApp({"--launch", "--do", "echo on"});
  for (int i = 0; i < 50; ++i) {
    ASSERT_TRUE(phone_->await({R"("event":"received")"}));
  }
}

TEST_F(App, has_only_the_listeners_it_was_asked_for) {
  startPhone();
  const auto handsFree = startApp({"--listen", "hands-free"});
  const auto playback = startApp({"--listen", "playback"});
  const auto status = startApp({"--listen", "device-status"});
  const auto app = startApp();
  handsFree->tell("send hello");
  EXPECT_TRUE(handsFree->await({R"("reply":"send","ok":false,"error":"this application has listeners only)"}));
  phone_->tell("hands-free up");
  EXPECT_TRUE(handsFree->await({"onHfpStatus"}));
  phone_->tell("play Radio");
  EXPECT_TRUE(playback->await({"onPlaybackAppInfo", "Radio"}));
  EXPECT_TRUE(status->await({"onDeviceStatus", R"("from":"device-status")"}));

  app->tell("state");
  EXPECT_TRUE(app->await({R"("reply":"state")", R"("app":1,)"})) << "listeners take no place in the table";
  EXPECT_THAT(handsFree->lines(), Not(Contains(testing::AnyOf(HasSubstr("onPlayback"), HasSubstr("onDevice")))));
  EXPECT_THAT(playback->lines(), Not(Contains(testing::AnyOf(HasSubstr("onHfp"), HasSubstr("onDevice")))));
  EXPECT_THAT(status->lines(), Not(Contains(testing::AnyOf(HasSubstr("onHfp"), HasSubstr("onPlayback")))));
}

TEST_F(App, sets_and_removes_listeners_late) {
  // The app first: a connection that is announced while its listener is being set is not told.
  const auto app = startApp({"--listen", "app"});
  startPhone();
  ASSERT_TRUE(app->await({"onDeviceStatus"}));
  app->tell("listen app");
  EXPECT_TRUE(app->await({R"("reply":"listen","ok":false)"}));
  app->tell("listen hands-free");
  ASSERT_TRUE(app->await({R"("reply":"listen","ok":true)"}));
  phone_->tell("hands-free up");
  ASSERT_TRUE(app->await({"onHfpStatus", R"("connected":true)"}));
  app->tell("unlisten app");
  ASSERT_TRUE(app->await({R"("reply":"unlisten","ok":true)"}));
  const std::size_t before = app->lines().size();
  phone_->tell("unplug");
  ASSERT_TRUE(app->await({"onHfpStatus", R"("connected":false)"}));
  for (std::size_t i = before; i < app->lines().size(); ++i) {
    EXPECT_THAT(app->lines()[i], Not(HasSubstr("onDeviceStatus")));
  }
}

TEST_F(App, that_finds_the_registration_table_full_is_told_what_to_do) {
  for (int i = 1; i <= 20; ++i) {
    ASSERT_EQ(runShell(LINKAPP_TOOL " app --json --commands </dev/null").code, 0);
  }
  for (int i = 21; i <= 25; ++i) {
    const auto app = startApp();
    EXPECT_TRUE(app->await({R"("event":"registration-full")", R"("places":20)", "run `linkapp reset`"}));
    app->tell("launch");
    EXPECT_TRUE(app->await({R"("reply":"launch","ok":true,"accepted":false)"}));
    app->tell("quit");
    EXPECT_EQ(app->awaitEnd(), 0);
  }
  const Ran sending = runApp({"--send", "hello"});
  EXPECT_EQ(sending.code, 1);
  EXPECT_THAT(sending.lines, Contains(HasSubstr("registration-full")));
}

TEST_F(App, answers_on_a_control_socket) {
  const std::string path = folder_.path() + "/socket";
  const auto app = startApp({"--control", path});
  ControlClient client(path);
  EXPECT_THAT(client.ask(R"({"id":1,"command":"send hello"})"),
              HasSubstr(R"({"id":1,"reply":"send","ok":true,"accepted":false})"));
  EXPECT_THAT(client.ask(R"({"id":2,"command":"lunch"})"), HasSubstr(R"("ok":false,"error":"unknown command 'lunch')"));
}

TEST_F(App, ends_with_its_input_and_when_it_is_asked_by_a_signal) {
  const auto first = startApp();
  first->closeInput();
  EXPECT_EQ(first->awaitEnd(), 0);
  const auto second = startApp();
  second->signal(SIGTERM);
  EXPECT_EQ(second->awaitEnd(), 0);
  const auto third = startApp();
  third->signal(SIGINT);
  EXPECT_EQ(third->awaitEnd(), 128 + SIGINT);
}

TEST_F(App, that_is_ended_before_it_has_sent_everything_does_not_end_with_0) {
  for (const int number : {SIGTERM, SIGHUP, SIGINT}) {
    ToolProcess sut(loop_, signals_, {"app", "--json", "--send", "hello"});  // there is no phone
    ASSERT_TRUE(sut.await({R"("event":"ready")"}));
    sut.signal(number);
    EXPECT_EQ(sut.awaitEnd(), 128 + number);
  }
}

TEST_F(App, explains_itself) {
  const Ran help = runApp({"--help"});
  EXPECT_EQ(help.code, 0);
  EXPECT_THAT(help.lines, Contains(HasSubstr("linkapp app --send hello --expect 1")));
  EXPECT_THAT(help.lines, Contains(HasSubstr("spp-standby")));
  EXPECT_EQ(runApp({"--version"}).code, 0);
}

class AppUsage : public App, public testing::WithParamInterface<Arguments> {};

TEST_P(AppUsage, that_is_wrong_ends_with_2_and_says_why) {
  std::string command = LINKAPP_TOOL " app";
  for (const std::string& argument : GetParam()) {
    command += " '" + argument + "'";
  }
  const Ran app = runShell(command + " 2>&1 </dev/null");
  EXPECT_EQ(app.code, 2);
  EXPECT_THAT(app.lines, Contains(HasSubstr("linkapp app: ")));
}

INSTANTIATE_TEST_SUITE_P(Kinds, AppUsage,
                         testing::Values(Arguments{"--surprise"}, Arguments{"word"},
                                         Arguments{"--listen", "everything"}, Arguments{"--send", ""},
                                         Arguments{"--send", "a", "--generate", "3"}, Arguments{"--generate", "0"},
                                         Arguments{"--generate", "x"}, Arguments{"--size", "4097"},
                                         Arguments{"--patience", "soon"}, Arguments{"--spp-auto"},
                                         Arguments{"--iap1", "elevenchars"}, Arguments{"--name", ""},
                                         Arguments{"--commands", "--send", "a"},
                                         Arguments{"--listen", "playback", "--send", "a"}, Arguments{"--do", "lunch"}));

TEST_F(App, says_why_a_file_cannot_be_sent) {
  const Ran missing = runShell(LINKAPP_TOOL " app --file /there/is/none 2>&1");
  EXPECT_EQ(missing.code, 1);
  EXPECT_THAT(missing.lines, Contains("linkapp app: /there/is/none: No such file or directory"));
  const Ran folder = runShell(LINKAPP_TOOL " app --file / 2>&1");
  EXPECT_EQ(folder.code, 1);
  EXPECT_THAT(folder.lines, Contains(HasSubstr("linkapp app: /: ")));
}

}  // namespace
