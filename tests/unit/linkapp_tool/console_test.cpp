#include "phone/console.h"

#include <gtest/gtest.h>

#include "phone/commands.h"
#include "platform/fake/FakeFramework.h"
#include "tests/support/interruption.h"

namespace {

class Console : public testing::Test {
 public:
  Console() { vqfake::reset(); }

  std::vector<std::string> events_;
  loop::Loop loop_;
  loop::Signals signals_{loop_, &test_support::endBy};
  phone::EventSink sink_ = [this](const phone::Event& event) {
    events_.push_back(event.name + " " + text::toText(event.fields));
  };
  phone::ProgramHost programs_{loop_, signals_, {}};
  phone::SimulatedPhone phone_{loop_, sink_};
  phone::DeviceSide side_{loop_, phone_, sink_};
  bool hasQuit_ = false;
  phone::Console sut_{loop_, phone_, side_, programs_, [this] { hasQuit_ = true; }};
};

TEST_F(Console, obeys_the_example_of_every_command) {
  sut_.obey("plug usb");
  for (const command::Command& command : phone::commands().commands()) {
    ASSERT_FALSE(command.example.empty()) << command.name;
    const command::Reply reply = sut_.obey(command.example);
    EXPECT_EQ(reply.column, 0U) << command.example << ": " << reply.error;  // refused it may be, but understood
  }
  EXPECT_TRUE(hasQuit_);
}

TEST_F(Console, tells_events_that_its_table_lists) {
  for (const char* const line : {"plug usb", "hands-free up", "play x", "app-sink *", "switch bluetooth", "reboot"}) {
    EXPECT_TRUE(sut_.obey(line).isOk) << line;
  }
  for (const std::string& event : events_) {
    bool isKnown = false;
    for (const talk::EventKind& kind : phone::eventKinds()) {
      isKnown = isKnown || event.compare(0, kind.name.size() + 1, kind.name + " ") == 0;
    }
    EXPECT_TRUE(isKnown) << event;
  }
}

TEST_F(Console, has_the_state_fields_that_its_table_lists) {
  const command::Reply reply = sut_.obey("state");
  std::vector<std::string> names;
  for (const text::Field& field : reply.fields) {
    names.push_back(field.name);
  }
  EXPECT_EQ(names, phone::stateFields());
}

TEST_F(Console, refuses_what_cannot_be_done_with_the_reason) {
  EXPECT_EQ(sut_.obey("unplug").error, "the phone is not connected");
  EXPECT_EQ(sut_.obey("close com.example.navi").error, "no session of com.example.navi is open");
  EXPECT_EQ(sut_.obey("launches accept after 1s").error, "'after' belongs to slow");
  EXPECT_EQ(sut_.obey("results none after 1s").error, "'after' belongs to late");
  EXPECT_EQ(sut_.obey("app-script x /there/is/no/file").error, "/there/is/no/file: No such file or directory");
  EXPECT_EQ(sut_.obey("app-script x /").error, "/: Is a directory");
  EXPECT_EQ(sut_.obey("help teleport").error, "unknown command 'teleport'");
}

TEST_F(Console, says_of_a_send_that_the_channel_does_not_take_it_was_not_done) {
  sut_.obey("plug usb");
  phone_.launch({1, "com.example.navi", 0});
  for (const std::string& line :
       {std::string(R"(send-hex com.example.navi "")"), "send com.example.navi " + std::string(4097, 'x')}) {
    const command::Reply reply = sut_.obey(line);
    EXPECT_FALSE(reply.isOk);
    EXPECT_EQ(reply.error, "the channel takes 1 to 4096 bytes");
  }
  EXPECT_TRUE(sut_.obey("send com.example.navi " + std::string(4096, 'x')).isOk);
}

TEST_F(Console, refuses_what_it_does_not_understand_with_the_column) {
  const command::Reply reply = sut_.obey("plug lan");
  EXPECT_FALSE(reply.isOk);
  EXPECT_EQ(reply.column, 6U);
}

}  // namespace
