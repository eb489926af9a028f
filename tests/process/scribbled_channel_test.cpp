// A process scribbles over the four records and the log's entries while an application and a device side talk. Nobody
// ends or hangs; the sanitizers' builds of this test see who reads what is not his. When it is over, the two go on.
#include <cstdlib>

#include "channel_fixture.h"
#include "message_pattern.h"

namespace {

constexpr const char* kHandsFreeDown = "handsfree 0 000000000000";

// More in the nightly run.
std::uint32_t seeds() {
  const char* const wanted = getenv("LINKAPP_HOSTILE_SEEDS");
  return wanted == nullptr ? 3 : numberOf(wanted);
}

class ScribbledChannel : public ChannelTest {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(expectReady(server_));
    client_ = std::make_unique<Child>("client", std::vector<std::string>{"app", "launch"});
    ASSERT_NO_FATAL_FAILURE(expectReady(*client_));
    ASSERT_NO_FATAL_FAILURE(expectServerKnowsApp(server_, 1, "launch"));
    scribbler_ = std::make_unique<Child>("scribbler");
    ASSERT_NO_FATAL_FAILURE(expectReady(*scribbler_));
  }

  // Whatever comes before it is what the scribbling has left.
  static bool hearsAtLast(Child& child, const std::string& line) {
    return test_support::waitUntil([&child, &line] {
      const std::optional<std::string> next = child.nextLine(0.1);
      return next == line;
    });
  }

  // What the device side says when it starts, and an application when it is asked to: no process begins anew.
  void startSession() {
    ASSERT_EQ(server_.ask(kHandsFreeDown), "ok");
    ASSERT_EQ(server_.ask("connect 0 1"), "ok");
    ASSERT_TRUE(hearsAtLast(*client_, "info 1 spp 0 - usb 1 app iap 2 hfp 0 00:00:00:00:00:00"));
    ASSERT_EQ(client_->ask("launch 0"), "1");
    ASSERT_EQ(server_.ask("open 1 9"), "ok");
    ASSERT_TRUE(hearsAtLast(*client_, "info 1 spp 0 - usb 2 app iap 2 hfp 0 00:00:00:00:00:00"));
  }

  void talkAndScribble(std::uint32_t seed) {
    scribbler_->tell("scribble " + std::to_string(seed) + " 100000");
    do {
      ASSERT_NE(client_->ask("send 700 1"), "");
      ASSERT_NE(client_->ask("launch 1"), "");
      ASSERT_EQ(server_.ask("data 9 4096 2"), "ok");
      ASSERT_EQ(server_.ask("result 9 1"), "ok");
      ASSERT_EQ(server_.ask("playback radio"), "ok");
      ASSERT_EQ(server_.ask("connect 1 0"), "ok");
    } while (!scribbler_->hasAnswered());
    ASSERT_TRUE(scribbler_->expectAnswer("done"));
  }

  void expectEverythingArrives() {
    ASSERT_EQ(client_->ask("send 11 7"), "1");
    ASSERT_TRUE(hearsAtLast(server_, "data 1 9 " + describePattern(11, 7)));
    ASSERT_EQ(server_.ask("data 9 12 8"), "ok");
    ASSERT_TRUE(hearsAtLast(*client_, "data 1 app " + describePattern(12, 8) + " 0"));
    for (std::uint32_t size = 1; size <= 4096; size += 100) {  // every slot of both rings is used
      ASSERT_EQ(client_->ask("send " + std::to_string(size) + " 3"), "1");
      ASSERT_TRUE(server_.expect("data 1 9 " + describePattern(size, 3)));
      ASSERT_EQ(server_.ask("data 9 " + std::to_string(size) + " 4"), "ok");
      ASSERT_TRUE(client_->expect("data 1 app " + describePattern(size, 4) + " 0"));
      ASSERT_EQ(server_.ask("result 9 1"), "ok");
      ASSERT_TRUE(client_->expect("result 1 0 app 1"));
    }
  }

  Child server_{"server"};
  std::unique_ptr<Child> client_;
  std::unique_ptr<Child> scribbler_;
};

TEST_F(ScribbledChannel, works_again_without_a_restart_when_the_scribbling_ends) {
  for (std::uint32_t seed = 0; seed < seeds() && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    ASSERT_NO_FATAL_FAILURE(startSession());
    ASSERT_NO_FATAL_FAILURE(talkAndScribble(seed));
    ASSERT_NO_FATAL_FAILURE(startSession());
    ASSERT_NO_FATAL_FAILURE(expectEverythingArrives());
  }
  EXPECT_EQ(client_->finish(), 0);
  EXPECT_EQ(server_.finish(), 0);
}

}  // namespace
