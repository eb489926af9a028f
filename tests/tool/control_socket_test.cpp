#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>

#include <filesystem>
#include <memory>

#include "scenario/source.h"
#include "tests/tool/control_client.h"
#include "tests/tool/tool_fixture.h"

namespace {

using testing::HasSubstr;

class ControlSocket : public ToolTest {
 public:
  ControlSocket() : path_(folder_.path() + "/phone.sock") {
    phone_ =
        std::make_unique<ToolProcess>(loop_, signals_, std::vector<std::string>{"phone", "--json", "--control", path_});
    EXPECT_TRUE(phone_->await({R"("event":"ready")", path_}));
  }

  // The phone still serves others.
  void expectPhoneGoesOn() {
    ControlClient other(path_);
    ASSERT_TRUE(other.isConnected());
    EXPECT_THAT(other.ask(R"({"command":"state"})"), HasSubstr(R"("reply":"state","ok":true)"));
  }

  scenario::TemporaryFolder folder_;
  const std::string path_;
  std::unique_ptr<ToolProcess> phone_;
};

TEST_F(ControlSocket, is_its_owners_alone) {
  struct stat status = {};
  ASSERT_EQ(stat(path_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0077, 0U);
}

TEST_F(ControlSocket, answers_each_command_with_its_id) {
  ControlClient sut(path_);
  EXPECT_EQ(sut.ask(R"({"id":1,"command":"plug usb"})"), R"({"id":1,"reply":"plug","ok":true})");
  EXPECT_EQ(sut.ask(R"({"id":"two","command":["plug","usb"]})"),
            R"({"id":"two","reply":"plug","ok":false,"error":"the phone is connected over usb already"})");
  EXPECT_THAT(sut.ask(R"({"command":"state"})"), HasSubstr(R"("connected":true,"link":"usb")"));
}

TEST_F(ControlSocket, tells_what_is_wrong_with_a_command_and_goes_on) {
  ControlClient sut(path_);
  EXPECT_EQ(sut.ask(R"({"id":1,"command":"plug lan"})"),
            R"({"id":1,"reply":"plug","ok":false,"error":"'lan' is not usb or bluetooth","column":6})");
  EXPECT_THAT(sut.ask(R"({"command":"plug usb"})"), HasSubstr(R"("ok":true)"));
}

TEST_F(ControlSocket, survives_a_folder_where_a_file_is_meant) {
  ControlClient sut(path_);
  EXPECT_EQ(sut.ask(R"({"id":1,"command":"app-script x /"})"),
            R"({"id":1,"reply":"app-script","ok":false,"error":"/: Is a directory"})");
  expectPhoneGoesOn();
}

TEST_F(ControlSocket, tells_events_to_those_who_want_them) {
  ControlClient watcher(path_);
  ControlClient other(path_);
  EXPECT_THAT(watcher.ask(R"({"command":"events on"})"), HasSubstr(R"("ok":true)"));
  EXPECT_THAT(other.ask(R"({"command":"plug bluetooth iap1"})"), HasSubstr(R"("ok":true)"));
  EXPECT_THAT(watcher.readLine().value_or(""), HasSubstr(R"("event":"connected")"));
  EXPECT_THAT(other.ask(R"({"command":"state"})"), HasSubstr(R"("reply":"state")"));
}

TEST_F(ControlSocket, answers_several_commands_that_come_at_once) {
  ControlClient sut(path_);
  std::string lines;
  for (int i = 0; i < 500; ++i) {
    lines += R"({"id":)" + std::to_string(i) + R"(,"command":"state"})" + "\n";
  }
  sut.send(lines);
  for (int i = 0; i < 500; ++i) {
    EXPECT_THAT(sut.readLine().value_or(""), HasSubstr("{\"id\":" + std::to_string(i) + ","));
  }
}

TEST_F(ControlSocket, answers_all_that_a_client_asked_before_it_ended_its_side) {
  ControlClient sut(path_);
  std::string lines;
  for (int i = 0; i < 500; ++i) {
    lines += R"({"id":)" + std::to_string(i) + R"(,"command":"help"})" + "\n";
  }
  sut.send(lines);
  sut.finish();
  ControlClient other(path_);
  for (int i = 0; i < 3; ++i) {  // then the phone has seen the end, and more waits than a socket holds
    EXPECT_THAT(other.ask(R"({"command":"state"})"), HasSubstr(R"("ok":true)"));
  }
  for (int i = 0; i < 500; ++i) {
    ASSERT_THAT(sut.readLine().value_or(""), HasSubstr("{\"id\":" + std::to_string(i) + ","));
  }
  EXPECT_TRUE(sut.isAtEnd());
}

class ControlGarbage : public ControlSocket, public testing::WithParamInterface<const char*> {};

TEST_P(ControlGarbage, is_answered_with_an_error_and_ends_the_connection_alone) {
  ControlClient sut(path_);
  EXPECT_THAT(sut.ask(GetParam()), HasSubstr(R"("ok":false,"error":)"));
  EXPECT_TRUE(sut.isAtEnd());
  expectPhoneGoesOn();
}

INSTANTIATE_TEST_SUITE_P(Kinds, ControlGarbage,
                         testing::Values("hello", "{\"command\":\"state\"", "[1,2]", "{}", "\x01\x02\xff\xfe",
                                         "\"state\"", "{\"command\":{\"a\":1}}"));

TEST_F(ControlSocket, answers_half_a_line_with_an_error) {
  ControlClient sut(path_);
  sut.send(R"({"command":"sta)");
  sut.finish();
  EXPECT_EQ(sut.readLine().value_or(""), R"({"ok":false,"error":"the last line has no end"})");
  EXPECT_TRUE(sut.isAtEnd());
  expectPhoneGoesOn();
}

TEST_F(ControlSocket, answers_ten_megabytes_without_an_end_with_an_error) {
  ControlClient sut(path_);
  const std::string flood(std::size_t{10} * 1024 * 1024, 'x');
  EXPECT_LT(sut.send(flood), flood.size());
  EXPECT_EQ(sut.readLine().value_or(""), R"({"ok":false,"error":"a line is longer than 65536 bytes"})");
  EXPECT_TRUE(sut.isAtEnd());
  expectPhoneGoesOn();
}

TEST_F(ControlSocket, forgets_a_client_that_leaves_in_the_middle) {
  for (int i = 0; i < 50; ++i) {
    ControlClient sut(path_);
    sut.send(R"({"command":"events on"})"
             "\n{");
  }
  expectPhoneGoesOn();
}

TEST_F(ControlSocket, refuses_more_clients_than_it_has_room_for) {
  std::vector<std::unique_ptr<ControlClient>> clients;
  for (int i = 0; i < 16; ++i) {
    clients.push_back(std::make_unique<ControlClient>(path_));
    EXPECT_THAT(clients.back()->ask(R"({"command":"state"})"), HasSubstr(R"("ok":true)"));
  }
  ControlClient sut(path_);
  EXPECT_EQ(sut.readLine().value_or(""), R"({"ok":false,"error":"there are 16 clients already"})");
  EXPECT_TRUE(sut.isAtEnd());
}

TEST_F(ControlSocket, is_not_taken_from_a_process_that_listens) {
  const Ran second = runProgram(loop_, signals_, {LINKAPP_TOOL, "phone", "--control", path_});
  EXPECT_EQ(second.code, 1);
  expectPhoneGoesOn();
}

TEST_F(ControlSocket, is_taken_over_from_a_process_that_died) {
  phone_->signal(SIGKILL);
  EXPECT_EQ(phone_->awaitEnd(), 128 + SIGKILL);
  ToolProcess next(loop_, signals_, {"phone", "--json", "--control", path_});
  EXPECT_TRUE(next.await({R"("event":"ready")"}));
  expectPhoneGoesOn();
}

TEST_F(ControlSocket, is_removed_at_the_end_that_a_client_asks_for) {
  ControlClient sut(path_);
  EXPECT_THAT(sut.ask(R"({"command":"quit"})"), HasSubstr(R"("ok":true)"));
  EXPECT_EQ(phone_->awaitEnd(), 0);
  EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(ControlSocket, serves_the_python_client_of_the_examples) {
  const Ran client = runProgram(loop_, signals_, {"python3", LINKAPP_EXAMPLES "/control_client.py", path_});
  EXPECT_EQ(client.code, 0);
  EXPECT_THAT(client.lines, testing::Contains("connected over usb"));
}

}  // namespace
