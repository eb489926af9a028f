// A process that is killed while it holds a segment's lock stops nobody.
#include <signal.h>

#include <optional>

#include "tests/process/channel_fixture.h"
#include "tests/support/wait_until.h"

namespace {

class KilledHolder : public ChannelTest, public testing::WithParamInterface<Segment> {
 protected:
  void SetUp() override {
    expectReady(server_.emplace("server", std::vector<std::string>{"phone"}));
    expectReady(client_.emplace("client", std::vector<std::string>{"app", "launch-app"}));
    expectReady(next_.emplace("endpoint", std::vector<std::string>{GetParam().name}));
    expectReady(holder_.emplace("endpoint", std::vector<std::string>{GetParam().name}));
    ASSERT_EQ(holder_->ask("lock"), "ok");
  }

  // One message each way over every part of the channel.
  void expectChannelWorks() {
    ASSERT_EQ(server_->ask("connect 0 1"), "ok");
    ASSERT_TRUE(client_->expect("info 1 spp 0 - usb 1 app iap 2 hfp 0 00:00:00:00:00:00"));
    ASSERT_EQ(client_->ask("launch 0"), "1");
    ASSERT_TRUE(client_->expect("info 1 spp 0 - usb 2 app iap 2 hfp 0 00:00:00:00:00:00"));
    ASSERT_EQ(client_->ask("exchange 1 50"), "ok");
    expectReady(late_.emplace("client", std::vector<std::string>{"late", "launch-late"}));
    expectServerKnowsApp(*server_, 2, "launch-late");
  }

  unsigned int countTakeOvers() const {
    unsigned int count = 0;
    for (const Child* const child : {&*server_, &*client_, &*next_, &*late_}) {
      count += child->countInLog("[VQFramework/SharedMemory/VQSharedSyncObject:0 lock 1] lock \"" +
                                 std::string(GetParam().name) + "\": its holder died; taken over\n");
      EXPECT_EQ(child->countInLog("died"), child->countInLog(GetParam().name));
    }
    return count;
  }

  // Made one after the other, so that nobody hears how another one starts.
  std::optional<Child> server_;
  std::optional<Child> client_;
  std::optional<Child> next_;
  std::optional<Child> holder_;
  std::optional<Child> late_;
};

TEST_P(KilledHolder, gives_the_lock_to_the_next_locker_who_tells_so_once) {
  holder_->kill();

  next_->tell("lock");
  EXPECT_TRUE(next_->expectAnswer("ok"));
  EXPECT_EQ(next_->ask("unlock"), "ok");

  expectChannelWorks();
  EXPECT_EQ(countTakeOvers(), 1U);
}

TEST_P(KilledHolder, leaves_a_lock_that_excludes_as_before) {
  holder_->kill();
  ASSERT_EQ(next_->ask("lock"), "ok");
  ASSERT_EQ(next_->ask("unlock"), "ok");
  Child rival("endpoint", {GetParam().name});
  expectReady(rival);

  ASSERT_EQ(next_->ask("lock"), "ok");
  rival.tell("wait");
  ASSERT_TRUE(rival.expect("waiting"));
  EXPECT_TRUE(test_support::waitUntil([&] { return rival.isAsleep(); }));
  EXPECT_FALSE(rival.hasAnswered());
  ASSERT_EQ(next_->ask("unlock"), "ok");
  EXPECT_TRUE(rival.expectAnswer("ok"));
}

TEST_P(KilledHolder, gives_the_lock_to_a_locker_that_waits_already) {
  next_->tell("wait");
  ASSERT_TRUE(next_->expect("waiting"));
  ASSERT_TRUE(test_support::waitUntil([this] { return next_->isAsleep(); }));

  holder_->kill();
  EXPECT_TRUE(next_->expectAnswer("ok"));
  EXPECT_EQ(next_->ask("unlock"), "ok");

  expectChannelWorks();
  EXPECT_EQ(countTakeOvers(), 1U);
}

TEST_P(KilledHolder, does_not_stop_the_channel_itself) {
  holder_->kill();

  expectChannelWorks();
  EXPECT_EQ(countTakeOvers(), 1U);  // whoever came first; at the latest the process that started late
}

INSTANTIATE_TEST_SUITE_P(Channel, KilledHolder, testing::ValuesIn(kSegments), testNameOf);

}  // namespace
