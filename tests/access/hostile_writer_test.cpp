// A process that may write the objects writes garbage into the four segments and the log's slots. Nobody ends, hangs or
// reads what is not his; the sanitizers' builds of this test see the latter.
#include <cstdlib>

#include "tests/access/access_fixture.h"
#include "tests/process/message_pattern.h"

namespace access_tests {
namespace {

constexpr mode_t kClosed = 0007;

// More in the nightly run.
std::uint32_t seeds() {
  const char* const wanted = getenv("LINKAPP_HOSTILE_SEEDS");
  return wanted == nullptr ? 4 : numberOf(wanted);
}

std::vector<std::string> untrustedObjects() {
  std::vector<std::string> names = {kLogObject};
  for (const Segment& segment : kSegments) {
    names.emplace_back(segment.name);
  }
  return names;
}

class HostileWriter : public AccessTest {
 protected:
  void startScribbler() {
    scribbler_.emplace("as_user", as(kMember, kClosed, "scribbler"));
    expectReady(*scribbler_);
  }

  std::optional<Child> scribbler_;
};

// Owner's server, and a client with app id 1 and session 9.
class HostileWriterAtRest : public HostileWriter, public testing::WithParamInterface<std::string> {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(HostileWriter::SetUp());
    server_.emplace("as_user", as(kOwner, kClosed, "server"));
    expectReady(*server_);
    client_.emplace("as_user", as(kOwner, kClosed, "client", {"app", "launch"}));
    expectReady(*client_);
    expectServerKnowsApp(*server_, 1, "launch");
    expectServerHasDevice(*server_);
    ASSERT_TRUE(client_->expect(connectedInfo("app")));
    ASSERT_EQ(client_->ask("launch 0"), "1");
    ASSERT_TRUE(server_->expect("launch 1 1 launch 0"));
    ASSERT_EQ(server_->ask("open 1 9"), "ok");
    ASSERT_TRUE(client_->expect(sessionInfo("app")));
    startScribbler();
  }

  void expectChannelGoesOn() {
    EXPECT_EQ(client_->ask("send 700 1"), "1");
    EXPECT_TRUE(server_->expect("data 1 9 " + describePattern(700, 1)));
    EXPECT_EQ(server_->ask("data 9 800 2"), "ok");
    EXPECT_TRUE(client_->expect("data 1 app " + describePattern(800, 2) + " 0"));
    EXPECT_EQ(server_->ask("playback radio"), "ok");
    EXPECT_TRUE(client_->expect("playback 1 radio"));
  }

  // Reads what is there, registers, and ends in good order. No device is announced meanwhile, and none of them asks for
  // a launch: those who are there hear nothing of it.
  static void expectOthersCanStart() {
    Child server("as_user", as(kOwner, kClosed, "target_server"));
    expectReady(server);
    Child client("as_user", as(kOwner, kClosed, "target_client", {"late"}));
    expectReady(client);
    EXPECT_EQ(client.finish(), 0);
    EXPECT_EQ(server.finish(), 0);
  }

  // A table of zeros gives app id 1 away once more, and that app has no session.
  void openSessionAnew() {
    EXPECT_EQ(server_->ask("open 1 9"), "ok");
    EXPECT_TRUE(client_->expect(sessionInfo("app")));
  }

  std::optional<Child> server_;
  std::optional<Child> client_;
};

TEST_P(HostileWriterAtRest, fills_an_object_with_garbage_and_the_channel_goes_on) {
  for (std::uint32_t seed = 0; seed < seeds() && !HasFailure(); ++seed) {
    ASSERT_EQ(scribbler_->ask("fill " + GetParam() + " " + std::to_string(seed)), "done");
    expectChannelGoesOn();
    expectOthersCanStart();
    openSessionAnew();
  }
}

TEST_P(HostileWriterAtRest, fills_an_object_with_one_byte_and_the_channel_goes_on) {
  for (const char* const byte : {"0", "1", "127", "128", "255"}) {
    ASSERT_EQ(scribbler_->ask("fill-with " + GetParam() + " " + byte), "done");
    expectChannelGoesOn();
    expectOthersCanStart();
    openSessionAnew();
  }
}

INSTANTIATE_TEST_SUITE_P(Of, HostileWriterAtRest, testing::ValuesIn(untrustedObjects()), [](const auto& tested) {
  std::string name = tested.param;
  name = name.substr(0, name.find('.'));
  return name;
});

// Two processes at work, and a third that is to start.
class HostileWriterAtWork : public HostileWriter {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(HostileWriter::SetUp());
    server_.emplace("as_user", as(kOwner, kClosed, "target_server"));
    expectReady(*server_);
    client_.emplace("as_user", as(kOwner, kClosed, "target_client", {"app"}));
    expectReady(*client_);
    startScribbler();
  }

  void expectAllSurvive(const std::string& command, const std::string& count) {
    for (std::uint32_t seed = 0; seed < seeds() && !HasFailure(); ++seed) {
      server_->tell("work 100");
      client_->tell("work 200");
      scribbler_->tell(command + " " + std::to_string(seed) + " " + count);
      Child late("as_user", as(kOwner, kClosed, "target_server"));
      expectReady(late);
      EXPECT_TRUE(scribbler_->expectAnswer("done"));
      EXPECT_TRUE(server_->expectAnswer("done"));
      EXPECT_TRUE(client_->expectAnswer("done"));
      EXPECT_EQ(late.ask("work 1"), "done");
      EXPECT_EQ(late.finish(), 0);
    }
    EXPECT_EQ(server_->finish(), 0);
    EXPECT_EQ(client_->finish(), 0);
  }

  std::optional<Child> server_;
  std::optional<Child> client_;
};

TEST_F(HostileWriterAtWork, changes_segments_and_slots_under_traffic_and_nobody_ends_or_hangs) {
  expectAllSurvive("scribble", "200000");
}

TEST_F(HostileWriterAtWork, posts_anything_and_nobody_ends_or_hangs) {
  expectAllSurvive("post", "2000");
}

}  // namespace
}  // namespace access_tests
