// Thousands of signals while processes send, receive, register, take locks, write settings and destroy.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "LinkAppCommon/iOSAppCommonServer.h"
#include "VQFramework/Settings/SaveFileAccessFactory.h"
#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "VQFramework/SharedMemory/VQSharedMemory.h"
#include "tests/faults/storm.h"
#include "tests/process/channel_fixture.h"
#include "tests/process/listener.h"
#include "tests/support/roles.h"

namespace {

using test_support::say;

constexpr std::uint32_t kManySignals = 2000;
constexpr unsigned int kId = 0x7D000001U;

class Storm : public ChannelTest {
 public:
  Storm() { setenv("LINKAPP_STORM", "1", 1); }
  ~Storm() override { unsetenv("LINKAPP_STORM"); }

 protected:
  static std::uint32_t signalsOf(const Child& child) {
    return test_support::shmWord(storm::countOf(child.pid()), 0).value_or(0);
  }

  // Ended well, after many signals, and nothing was logged.
  static void expectEndured(Child& child) {
    EXPECT_EQ(child.finish(), 0);
    EXPECT_GE(signalsOf(child), kManySignals);
    EXPECT_EQ(child.log(), "");
  }
};

TEST_F(Storm, CostsNoDataMessageInEitherDirection) {
  Child server("server", {"phone"});
  expectReady(server);
  Child client("client", {"app", "launch"});
  expectReady(client);
  expectServerKnowsApp(server, 1, "launch");
  EXPECT_EQ(server.ask("connect 0 1"), "ok");
  EXPECT_TRUE(test_support::waitUntil([&] { return client.ask("connected") == "1"; }));
  EXPECT_EQ(client.ask("launch 0"), "1");
  EXPECT_TRUE(test_support::waitUntil([&] { return client.ask("session 1") == "1"; }));

  // Every size, and until the storm has passed over both often enough.
  constexpr int kAtOnce = 256;
  const auto isOver = [&] { return std::min(signalsOf(client), signalsOf(server)) >= 10 * kManySignals; };
  int from = 1;
  do {
    ASSERT_EQ(client.ask("exchange " + std::to_string(from) + " " + std::to_string(from + kAtOnce - 1)), "ok");
    from = (from + kAtOnce) % 4096;
  } while (from != 1 || !isOver());

  expectEndured(client);
  expectEndured(server);
}

// Messages 1, 2, 3, ... of one sender.
struct Order {
  std::atomic<unsigned int> last{0};
  std::atomic<bool> isBroken{false};
  Listener listener{[this](unsigned int /*id*/, void* data, unsigned int /*size*/) {
    unsigned int number = 0;
    memcpy(&number, data, sizeof number);
    isBroken = isBroken || number != last + 1;
    last = number;
  }};
};

// Receives its own messages, while other observers of the process come and go.
TEST_ROLE(storm_messages) {
  VQSharedMemNotifier notifier(false);
  Order order;
  bool works = notifier.AddObserver(order.listener.observer(), &kId, 1);
  unsigned int number = 0;
  while (works && storm::signals() < kManySignals) {
    Listener passing([](unsigned int, void*, unsigned int) {});
    works = notifier.AddObserver(passing.observer(), &kId, 1);
    for (int i = 0; works && i < 16; ++i) {
      ++number;
      works = notifier.NotifyDataUpdate(kId, &number, sizeof number);
    }
    works = works && notifier.RemoveObserver(passing.observer()) &&
            test_support::waitUntil([&] { return order.last == number; }) && !order.isBroken;
  }
  notifier.RemoveObserver(order.listener.observer());
  say(works ? "all messages" : "message " + std::to_string(order.last) + " of " + std::to_string(number));
  return 0;
}

TEST_F(Storm, CostsNoMessageWhileObserversComeAndGo) {
  Child process("storm_messages");
  EXPECT_TRUE(process.expect("all messages"));
  expectEndured(process);
}

struct Counter {
  std::uint32_t value;
};
using CounterSegment = VQSharedMemory<Counter, 1>;

// Counts under the segment's lock; segments, locks and descriptors come and go.
TEST_ROLE(storm_locks) {
  unsigned int count = 0;
  while (storm::signals() < kManySignals) {
    CounterSegment segment("LinkAppStorm");
    if (segment.mapping == MAP_FAILED) {
      return 1;
    }
    for (int i = 0; i < 100; ++i, ++count) {
      VQSyncGuard guard(segment);
      ++static_cast<Counter*>(static_cast<void*>(static_cast<char*>(segment.mapping) + 4))->value;
    }
  }
  say(std::to_string(count));
  return 0;
}

TEST_F(Storm, CostsNoLockOfTwoProcesses) {
  Child first("storm_locks");
  Child second("storm_locks");
  const auto firstCount = first.nextLine();
  const auto secondCount = second.nextLine();
  ASSERT_TRUE(firstCount && secondCount);
  expectEndured(first);
  expectEndured(second);
  EXPECT_EQ(test_support::shmWord("LinkAppStorm", 4), std::stoul(*firstCount) + std::stoul(*secondCount));
}

// Whole clients and a server come and go, and with them endpoints, registrations and the delivery thread.
TEST_ROLE(storm_clients) {
  unsigned int rounds = 0;
  while (storm::signals() < kManySignals) {
    iOSAppCommonServer server(1);
    iOSAppCommonClient client("", rounds == 0 ? "app" : "", "launch");
    iosapp_def_::ConnectInfo info = {0, 1, 0, 1};
    server.notifyConnectionState(info);
    if (!test_support::waitUntil([&] { return client.isDeviceConnected(1) == 1; })) {
      return 1;
    }
    ++rounds;
  }
  say("done");
  return 0;
}

TEST_F(Storm, CostsNoClientThatComesOrGoes) {
  Child process("storm_clients");
  EXPECT_TRUE(process.expect("done", 3 * test_support::kDeadline));
  expectEndured(process);
}

TEST_ROLE(storm_settings) {
  const std::unique_ptr<SaveFileAccessMetaText> access(
      SaveFileAccessFactory::getInstance()->CreateMetaText("storm.ini", "a+"));
  for (unsigned int i = 0; storm::signals() < kManySignals; ++i) {
    unsigned int value = 0;
    if (!access->FOpen() || !access->Set("key", i) || !access->Flush() || !access->FClose() || !access->FOpen() ||
        !access->Get("key", &value) || value != i || !access->FClose()) {
      return 1;
    }
  }
  say("done");
  return 0;
}

TEST_F(Storm, CostsNoSetting) {
  setenv("VQ_SETTINGS_DIR", "/dev/shm", 1);
  Child process("storm_settings");
  unsetenv("VQ_SETTINGS_DIR");
  EXPECT_TRUE(process.expect("done"));
  expectEndured(process);
}

}  // namespace
