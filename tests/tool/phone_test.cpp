#include <gmock/gmock.h>
#include <signal.h>

#include <memory>

#include "tests/support/child.h"
#include "tests/tool/tool_fixture.h"

namespace {

using test_support::Child;
using testing::HasSubstr;

class Phone : public ToolTest {
 public:
  void startPhone(const std::vector<std::string>& arguments) {
    std::vector<std::string> all = {"phone", "--json"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    phone_ = std::make_unique<ToolProcess>(loop_, signals_, all);
    ASSERT_TRUE(phone_->await({R"("event":"ready")"}));
  }

  void startClient() {
    client_ = std::make_unique<Child>("client", std::vector<std::string>{"navi", "com.example.navi"});
  }
  // Opens its session.
  void launch() {
    ASSERT_TRUE(test_support::waitUntil([this] { return client_->ask("connected") == "1"; }));
    ASSERT_EQ(client_->ask("launch 0"), "1");
    ASSERT_TRUE(phone_->await({R"("event":"session-opened")"}));
    ASSERT_TRUE(test_support::waitUntil([this] { return client_->ask("session 1") == "1"; }));
  }

  std::unique_ptr<ToolProcess> phone_;
  std::unique_ptr<Child> client_;
};

TEST_F(Phone, lets_a_python_program_answer_every_message_and_loses_no_byte) {
  startPhone({"--app", "com.example.navi=exec python3 " LINKAPP_EXAMPLES "/counterpart.py", "--do", "plug usb"});
  startClient();
  launch();

  phone_->tell("events off");  // nobody reads them meanwhile
  ASSERT_TRUE(phone_->await({R"("reply":"events")"}));
  // One message of each size, three times.
  for (int round = 0; round < 3; ++round) {
    for (int from = 1; from < 3500; from += 250) {
      const std::string sizes = std::to_string(from) + " " + std::to_string(from + 249);
      ASSERT_EQ(client_->ask("exchange " + sizes), "ok") << "round " << round << ", sizes " << sizes;
    }
  }

  phone_->tell("sessions");
  EXPECT_TRUE(phone_->await({R"("reply":"sessions")", R"("received":10500,"sent":10500,"waiting":0)"}));
}

TEST_F(Phone, reports_a_program_that_exits_and_goes_on) {
  startPhone({"--app", "com.example.navi=exit 3", "--do", "plug usb"});
  startClient();
  ASSERT_TRUE(test_support::waitUntil([this] { return client_->ask("connected") == "1"; }));
  ASSERT_EQ(client_->ask("launch 0"), "1");
  EXPECT_TRUE(phone_->await({R"("event":"program-ended")", "exit code 3"}));
  EXPECT_TRUE(phone_->await({R"("event":"session-closed")", R"("by":"app")"}));

  phone_->tell("app-echo com.example.navi");
  EXPECT_TRUE(phone_->await({R"("reply":"app-echo","ok":true)"}));
  // While the client takes the session for open, its launch asks for nothing.
  ASSERT_TRUE(test_support::waitUntil([this] { return client_->ask("session 1") == "0"; }));
  launch();
  EXPECT_EQ(client_->ask("exchange 1 10"), "ok");
}

TEST_F(Phone, isolates_a_program_that_breaks_the_framing) {
  startPhone({"--app", "com.example.music=exec yes", "--do", "plug usb"});
  startClient();
  launch();
  const Child other("client", {"music", "com.example.music"});
  ASSERT_TRUE(phone_->await({R"("event":"app-registered")", "com.example.music"}));

  phone_->tell("open com.example.music");
  EXPECT_TRUE(phone_->await({R"("event":"program-broke-framing")"}));
  EXPECT_TRUE(phone_->await({R"("event":"session-closed","time":)", "com.example.music"}));
  EXPECT_EQ(client_->ask("exchange 1 100"), "ok");
}

TEST_F(Phone, tells_an_application_that_comes_late_what_it_has_missed) {
  startPhone({"--do", "plug usb", "--do", "hands-free up"});
  startClient();
  // Where the client listens too late for the first messages, the hands-free message alone tells it everything.
  std::optional<std::string> line;
  do {
    line = client_->nextLine();
  } while (line && *line != "info 1 spp 0 - usb 1 navi iap 2 hfp 1 12:34:56:78:9a:bc");
  EXPECT_TRUE(line);
}

TEST_F(Phone, that_was_killed_is_replaced_by_one_that_starts_anew) {
  startPhone({"--do", "plug usb"});
  startClient();
  launch();
  phone_->signal(SIGKILL);
  EXPECT_EQ(phone_->awaitEnd(), 128 + SIGKILL);

  startPhone({});
  EXPECT_TRUE(test_support::waitUntil([this] { return client_->ask("connected") == "0"; }));
  EXPECT_EQ(client_->ask("session 1"), "0");
  phone_->tell("plug usb");
  launch();
  EXPECT_EQ(client_->ask("exchange 1 10"), "ok");
}

TEST_F(Phone, tells_applications_that_it_is_gone_when_it_ends) {
  startPhone({"--do", "plug usb"});
  startClient();
  launch();
  phone_->tell("quit");
  EXPECT_EQ(phone_->awaitEnd(), 0);
  EXPECT_TRUE(test_support::waitUntil([this] { return client_->ask("connected") == "0"; }));
}

TEST_F(Phone, ends_with_its_input) {
  startPhone({});
  phone_->closeInput();
  EXPECT_EQ(phone_->awaitEnd(), 0);
}

TEST_F(Phone, ends_when_it_is_asked_by_a_signal) {
  startPhone({});
  phone_->signal(SIGTERM);
  EXPECT_EQ(phone_->awaitEnd(), 0);
  startPhone({});
  phone_->signal(SIGINT);
  EXPECT_EQ(phone_->awaitEnd(), 128 + SIGINT);
}

TEST_F(Phone, answers_bad_lines_and_goes_on) {
  startPhone({});
  phone_->tell("plug \"lan");
  EXPECT_TRUE(phone_->await({R"("reply":"","ok":false)", R"("column":6)"}));
  phone_->tell(std::string(200000, 'x'));
  EXPECT_TRUE(phone_->await({R"("ok":false)", "a line is longer than 65536 bytes"}));
  phone_->tell("");
  phone_->tell("plug usb");
  EXPECT_TRUE(phone_->await({R"("reply":"plug","ok":true)"}));
}

TEST_F(Phone, explains_itself) {
  const Ran help = runProgram(loop_, signals_, {LINKAPP_TOOL, "phone", "--help"});
  EXPECT_EQ(help.code, 0);
  EXPECT_THAT(help.lines, testing::Contains(HasSubstr("linkapp phone --do \"plug usb\"")));
  EXPECT_THAT(help.lines, testing::Contains(HasSubstr("hands-free")));
  EXPECT_EQ(runProgram(loop_, signals_, {LINKAPP_TOOL, "phone", "--version"}).code, 0);
}

class PhoneUsage : public Phone, public testing::WithParamInterface<std::vector<std::string>> {};

TEST_P(PhoneUsage, that_is_wrong_ends_with_2) {
  std::vector<std::string> arguments = {LINKAPP_TOOL, "phone"};
  arguments.insert(arguments.end(), GetParam().begin(), GetParam().end());
  EXPECT_EQ(runProgram(loop_, signals_, arguments).code, 2);
}

using Arguments = std::vector<std::string>;
INSTANTIATE_TEST_SUITE_P(Kinds, PhoneUsage,
                         testing::Values(Arguments{"--surprise"}, Arguments{"--app", "nocommand"},
                                         Arguments{"--app", "=x"}, Arguments{"--do", "plug lan"},
                                         Arguments{"--control"}, Arguments{"word"},
                                         Arguments{"--scenario", "/there/is/none.scn"}));

}  // namespace
