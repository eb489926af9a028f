// A million messages from four processes to four others, or as many as LINKAPP_STRESS_MESSAGES says.
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "LinkAppCommon/iOSAppRecords.h"
#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "tests/process/channel_fixture.h"
#include "tests/process/listener.h"
#include "tests/process/shared_page.h"
#include "tests/support/roles.h"

namespace {

using iosapp_def_::ConnectStatusNotify;

constexpr unsigned int kStatusId = 4;
constexpr std::uint32_t kSenders = 4;
constexpr std::uint32_t kReceivers = 4;
constexpr std::uint32_t kDefaultMessages = 1000000;
constexpr std::uint32_t kMaxBehind = 2048;  // half of what a slow receiver may be behind without losing any
constexpr std::uint32_t kProgressStep = 128;
constexpr const char* kPage = "stress";

// Senders wait here for the slowest receiver.
struct StressPage {
  std::atomic<std::uint32_t> taken;  // messages that some sender has taken on
  std::atomic<std::uint32_t> received[kReceivers];
  std::atomic<std::uint32_t> progress;  // changes when a receiver has come a step further
  std::atomic<std::uint32_t> waiting;   // senders asleep
};

StressPage& page() {
  static StressPage* const mapped = static_cast<StressPage*>(mapSharedPage(kPage, sizeof(StressPage)));
  return *mapped;
}

std::uint32_t slowestReceiver() {
  std::uint32_t least = UINT_MAX;
  for (const std::atomic<std::uint32_t>& received : page().received) {
    least = std::min(least, received.load());
  }
  return least;
}

void waitForTurn(std::uint32_t number) {
  for (;;) {
    const std::uint32_t progress = page().progress.load();
    if (number < slowestReceiver() + kMaxBehind) {
      return;
    }
    ++page().waiting;
    sleepWhile(page().progress, progress);
    --page().waiting;
  }
}

void publishProgress(std::uint32_t receiver, std::uint32_t count) {
  page().received[receiver].store(count);
  if (count % kProgressStep == 0) {
    ++page().progress;
    if (page().waiting.load() != 0) {
      wakeAll(page().progress);
    }
  }
}

std::uint32_t checksumOf(std::uint32_t sender, std::uint32_t number) {
  return (sender * 0x9E3779B1U) ^ (number * 0x85EBCA6BU);
}

ConnectStatusNotify messageOf(std::uint32_t sender, std::uint32_t number) {
  ConnectStatusNotify message = {};
  message.notifyType = iosapp_def_::NOTIFYID_PLAYBACKAPPINFO;
  message.deviceId = sender;
  message.appId = number;
  memset(message.playbackAppName, static_cast<int>(number & 0xFF), sizeof message.playbackAppName);
  message.launchMethod = checksumOf(sender, number);
  return message;
}

bool isWhole(const ConnectStatusNotify& message) {
  const ConnectStatusNotify expected = messageOf(message.deviceId, message.appId);
  return memcmp(&message, &expected, sizeof message) == 0;
}

// What one receiver has seen. Its own delivery thread alone touches it.
class Account {
 public:
  explicit Account(std::uint32_t receiver, std::uint32_t expected) : receiver_(receiver), expected_(expected) {}

  void add(unsigned int id, const void* data, unsigned int size) {
    const ConnectStatusNotify& message = *static_cast<const ConnectStatusNotify*>(data);
    if (id != kStatusId || size != sizeof message || message.deviceId >= kSenders || !isWhole(message)) {
      fail("a damaged message");
      return;
    }
    if (message.appId != next_[message.deviceId]) {
      fail("message " + std::to_string(message.appId) + " of sender " + std::to_string(message.deviceId) +
           " instead of " + std::to_string(next_[message.deviceId]));
    }
    next_[message.deviceId] = message.appId + 1;
    hash_ = (hash_ ^ message.launchMethod) * 1099511628211U;
    ++count_;
    publishProgress(receiver_, count_);
    if (count_ == expected_) {
      test_support::say("done " + std::to_string(hash_));
    }
  }

 private:
  void fail(const std::string& what) {
    if (!hasFailed_) {
      test_support::say("after " + std::to_string(count_) + " messages: " + what);
    }
    hasFailed_ = true;
  }

  const std::uint32_t receiver_;
  const std::uint32_t expected_;
  std::uint32_t next_[kSenders] = {};
  std::uint64_t hash_ = 14695981039346656037U;
  std::uint32_t count_ = 0;
  bool hasFailed_ = false;
};

TEST_ROLE(stress_receiver) {
  Account account(static_cast<std::uint32_t>(std::stoul(args.at(0))),
                  static_cast<std::uint32_t>(std::stoul(args.at(1))));
  VQSharedMemNotifier notifier(false);
  Listener listener([&](unsigned int id, void* data, unsigned int size) { account.add(id, data, size); });
  notifier.AddObserver(listener.observer(), &kStatusId, 1);
  test_support::say("ready");
  test_support::waitForParent();
  return 0;
}

TEST_ROLE(stress_sender) {
  const std::uint32_t sender = static_cast<std::uint32_t>(std::stoul(args.at(0)));
  const std::uint32_t count = static_cast<std::uint32_t>(std::stoul(args.at(1)));
  VQSharedMemNotifier notifier(false);
  for (std::uint32_t number = 0; number < count; ++number) {
    waitForTurn(page().taken++);
    const ConnectStatusNotify message = messageOf(sender, number);
    notifier.NotifyDataUpdate(kStatusId, &message, sizeof message);
  }
  return 0;
}

std::uint32_t messagesPerSender() {
  const char* const text = getenv("LINKAPP_STRESS_MESSAGES");
  const unsigned long all = text != nullptr ? std::strtoul(text, nullptr, 10) : kDefaultMessages;
  return static_cast<std::uint32_t>(std::max(all / kSenders, 1UL));
}

class Stress : public ChannelTest {
 protected:
  static constexpr double kLongDeadline = 500;

  std::vector<std::unique_ptr<Child>> start(const char* role, std::uint32_t count, std::uint32_t messages) {
    std::vector<std::unique_ptr<Child>> children;
    for (std::uint32_t i = 0; i < count; ++i) {
      children.push_back(
          std::make_unique<Child>(role, std::vector<std::string>{std::to_string(i), std::to_string(messages)}));
    }
    return children;
  }
};

TEST_F(Stress, every_receiver_gets_every_message_once_and_all_in_one_order) {
  const std::uint32_t perSender = messagesPerSender();
  const auto receivers = start("stress_receiver", kReceivers, perSender * kSenders);
  for (const auto& receiver : receivers) {
    expectReady(*receiver);
  }

  const auto senders = start("stress_sender", kSenders, perSender);

  const std::string first = receivers[0]->nextLine(kLongDeadline).value_or("nothing");
  EXPECT_EQ(first.substr(0, 5), "done ");
  for (std::uint32_t i = 1; i < kReceivers; ++i) {
    EXPECT_TRUE(receivers[i]->expect(first, kLongDeadline));
  }
  for (const auto& sender : senders) {
    EXPECT_EQ(sender->wait(), 0);
  }
  for (const auto& receiver : receivers) {
    EXPECT_EQ(receiver->finish(), 0);
    EXPECT_EQ(receiver->log(), "");
  }
}

}  // namespace
