// A receiver that is stopped blocks nobody, and says what it lost.
#include <atomic>

#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "tests/process/channel_fixture.h"
#include "tests/process/listener.h"
#include "tests/process/message_pattern.h"
#include "tests/support/roles.h"
#include "tests/support/wait_until.h"

using test_support::answer;
using test_support::hear;
using test_support::say;

namespace {

constexpr unsigned int kStatusId = 4;
constexpr unsigned int kOtherId = 20;  // shares a wake-up group with the former
constexpr std::uint32_t kMessages = 10000;
constexpr std::uint32_t kLast = 0xFFFFFFFF;

// Counts messages, and says "out of order" where their numbers do not grow. Hears "count".
TEST_ROLE(counting_receiver) {
  std::atomic<std::uint32_t> count{0};
  std::uint32_t previous = 0;
  VQSharedMemNotifier notifier(false);
  Listener listener([&](unsigned int, void* data, unsigned int) {
    const std::uint32_t number = *static_cast<const std::uint32_t*>(data);
    if (number <= previous) {
      say("out of order");
    }
    previous = number == kLast ? 0 : number;
    if (number == kLast) {
      say("last");
    } else {
      ++count;
    }
  });
  notifier.AddObserver(listener.observer(), &kStatusId, 1);
  say("ready");
  while (hear()) {
    answer(std::to_string(count));
  }
  return 0;
}

// Hears "ID COUNT FIRST", posts COUNT numbered messages of 304 bytes under ID, the first with the number FIRST.
TEST_ROLE(numbering_sender) {
  VQSharedMemNotifier notifier(false);
  say("ready");
  while (const auto line = hear()) {
    const std::vector<std::string> words = wordsOf(*line);
    std::uint32_t message[76] = {};
    for (std::uint32_t i = 0; i < numberOf(words.at(1)); ++i) {
      message[0] = numberOf(words.at(2)) + i;
      notifier.NotifyDataUpdate(numberOf(words.at(0)), message, sizeof message);
    }
    answer("sent");
  }
  return 0;
}

class StoppedReceiver : public ChannelTest {
 protected:
  void SetUp() override {
    expectReady(sender_);
    expectReady(sut_);
    post(kStatusId, kLast, 1);
    ASSERT_TRUE(sut_.expect("last"));  // from here on the receiver is idle and in no lock
  }

  void post(unsigned int id, std::uint32_t first, std::uint32_t count) {
    ASSERT_EQ(sender_.ask(std::to_string(id) + " " + std::to_string(count) + " " + std::to_string(first)), "sent");
  }

  // What the log says was lost. One line at most.
  std::uint32_t lost() const {
    const std::string log = sut_.log();
    const std::string before = "[VQFramework/SharedMemory/VQSharedMemNotifier:0 deliver 1] too slow: ";
    const std::size_t at = log.find(before);
    EXPECT_LE(sut_.countInLog("too slow"), 1U);
    EXPECT_EQ(sut_.countInLog(" messages lost\n"), sut_.countInLog("too slow"));
    return at == std::string::npos ? 0 : numberOf(log.substr(at + before.size()));
  }

  Child sender_{"numbering_sender"};
  Child sut_{"counting_receiver"};
};

TEST_F(StoppedReceiver, never_blocks_the_sender_and_tells_its_losses_once_when_it_proceeds) {
  sut_.stop();
  post(kStatusId, 1, kMessages);
  sut_.proceed();
  ASSERT_TRUE(sut_.waitForLog("too slow"));
  post(kStatusId, kLast, 1);
  ASSERT_TRUE(sut_.expect("last"));

  const std::uint32_t received = numberOf(sut_.ask("count"));
  EXPECT_EQ(received + lost(), kMessages);
  EXPECT_GE(received, 4096U);  // so many at least are kept for a slow receiver
  EXPECT_GT(lost(), 0U);
}

TEST_F(StoppedReceiver, has_lost_nothing_where_only_messages_of_others_passed) {
  sut_.stop();
  post(kOtherId, 1, kMessages);
  post(kStatusId, 1, 3);
  sut_.proceed();
  post(kStatusId, kLast, 1);
  ASSERT_TRUE(sut_.expect("last"));

  EXPECT_EQ(sut_.ask("count"), "3");
  EXPECT_EQ(lost(), 0U);
}

TEST_F(StoppedReceiver, has_lost_nothing_that_still_fits_the_log) {
  sut_.stop();
  post(kStatusId, 1, 4096);
  sut_.proceed();
  post(kStatusId, kLast, 1);
  ASSERT_TRUE(sut_.expect("last"));

  EXPECT_EQ(sut_.ask("count"), "4096");
  EXPECT_EQ(lost(), 0U);
}

TEST_F(StoppedReceiver, that_is_killed_leaves_the_others_undisturbed) {
  Child other("counting_receiver");
  expectReady(other);
  sut_.stop();
  post(kStatusId, 1, 100);
  sut_.kill();
  post(kStatusId, 101, 100);
  post(kStatusId, kLast, 1);

  ASSERT_TRUE(other.expect("last"));
  EXPECT_EQ(other.ask("count"), "200");
}

}  // namespace
