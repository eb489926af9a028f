// The clock: only the monotonic one is asked, and whatever it does costs no message and keeps nobody awake.
#include <dirent.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <string>

#include "VQFramework/SharedMemory/VQSharedMemNotifier.h"
#include "tests/faults/clock.h"
#include "tests/faults/plan.h"
#include "tests/faults/receiver.h"
#include "tests/support/child.h"
#include "tests/support/roles.h"
#include "tests/support/shm_files.h"

namespace {

using test_support::answer;
using test_support::Child;
using test_support::hear;
using test_support::say;

constexpr unsigned int kId = 0x7D000001U;
constexpr long kDay = 24L * 60 * 60;
constexpr unsigned int kBurst = 64;

// "ahead", "behind" by a day, "stopped", "right".
void setClock(const std::string& state) {
  if (state == "stopped") {
    faults::stopClock();
  } else {
    faults::bendClock(state == "ahead" ? kDay : state == "behind" ? -kDay : 0);
  }
}

// The delivery thread's state as the kernel shows it: 'S' = asleep.
char stateOfDelivery() {
  char state = '?';
  DIR* const folder = opendir("/proc/self/task");
  while (const dirent* const entry = readdir(folder)) {
    std::ifstream file(std::string("/proc/self/task/") + entry->d_name + "/stat");
    std::string line;
    std::getline(file, line);
    if (line.find("(vq-delivery)") != std::string::npos) {
      state = line[line.rfind(')') + 2];
    }
  }
  closedir(folder);
  return state;
}

// Messages with numbers 1, 2, 3, ...
class Order {
 public:
  VQObserver_* observer() { return &observer_; }
  unsigned int last() const { return last_; }
  bool isBroken() const { return isBroken_; }

 private:
  unsigned int update(unsigned int /*id*/, void* data, unsigned int size) {
    unsigned int number = 0;
    memcpy(&number, data, std::min<std::size_t>(size, sizeof number));
    isBroken_ = isBroken_ || number != last_ + 1;
    last_ = number;
    return 0;
  }

  std::atomic<unsigned int> last_{0};
  std::atomic<bool> isBroken_{false};
  VQObserver<Order> observer_{this, &Order::update};
};

// Hears "clock STATE", "await NUMBER" (answered by what has come), "sleeps" and "clocks".
TEST_ROLE(receives_by_a_strange_clock) {
  faults::watchDelivery(true);
  VQSharedMemNotifier notifier(false);
  Order order;
  notifier.AddObserver(order.observer(), &kId, 1);
  say("ready");
  while (const auto line = hear()) {
    const std::string word = line->substr(0, line->find(' '));
    const std::string rest = line->substr(std::min(line->size(), word.size() + 1));
    if (word == "clock") {
      setClock(rest);
      answer("ok");
    } else if (word == "await") {
      const unsigned int number = static_cast<unsigned int>(std::stoul(rest));
      const bool hasCome = test_support::waitUntil([&] { return order.last() >= number; });
      answer(!hasCome ? "lost" : order.isBroken() ? "out of order" : "all");
    } else if (word == "sleeps") {
      answer(test_support::waitUntil([] { return stateOfDelivery() == 'S'; }) ? "asleep" : "awake");
    } else {
      answer(faults::wasAnotherClockUsed() ? "another" : "monotonic only");
    }
  }
  notifier.RemoveObserver(order.observer());
  return 0;
}

// Hears "clock STATE", "send FROM TO" and "clocks".
TEST_ROLE(sends_by_a_strange_clock) {
  VQSharedMemNotifier notifier(false);
  while (const auto line = hear()) {
    const std::string word = line->substr(0, line->find(' '));
    const std::string rest = line->substr(std::min(line->size(), word.size() + 1));
    if (word == "clock") {
      setClock(rest);
      answer("ok");
    } else if (word == "send") {
      const faults::Watch watch;
      const std::size_t space = rest.find(' ');
      const unsigned int to = static_cast<unsigned int>(std::stoul(rest.substr(space + 1)));
      for (unsigned int number = static_cast<unsigned int>(std::stoul(rest)); number <= to; ++number) {
        notifier.NotifyDataUpdate(kId, &number, sizeof number);
      }
      answer("sent");
    } else {
      answer(faults::wasAnotherClockUsed() ? "another" : "monotonic only");
    }
  }
  return 0;
}

class StrangeClock : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(receiver_.expect("ready")); }

  void sendBurst() {
    const std::string from = std::to_string(sent_ + 1);
    sent_ += kBurst;
    EXPECT_EQ(sender_.ask("send " + from + " " + std::to_string(sent_)), "sent");
    EXPECT_EQ(receiver_.ask("await " + std::to_string(sent_)), "all");
  }

  void setClocks(const std::string& sender, const std::string& receiver) {
    EXPECT_EQ(sender_.ask("clock " + sender), "ok");
    EXPECT_EQ(receiver_.ask("clock " + receiver), "ok");
  }

  static bool arrange() {
    test_support::clearShm();
    return setenv("VQ_NOTIFIER_POLL", "auto", 1) == 0;
  }

  const bool isArranged_ = arrange();  // before the processes start
  Child receiver_{"receives_by_a_strange_clock"};
  Child sender_{"sends_by_a_strange_clock"};
  unsigned int sent_ = 0;
};

const char* const kStates[] = {"right", "ahead", "behind", "stopped"};

TEST_F(StrangeClock, CostsNoMessageHoweverItJumps) {
  for (int round = 0; round < 5; ++round) {
    for (const std::string sender : kStates) {
      for (const std::string receiver : kStates) {
        setClocks(sender, receiver);
        sendBurst();
      }
    }
  }
}

TEST_F(StrangeClock, KeepsNobodyAwake) {
  for (const std::string sender : kStates) {
    for (const std::string receiver : kStates) {
      SCOPED_TRACE("sender's clock " + sender + ", receiver's " + receiver);
      setClocks(sender, receiver);
      // Several, so that the receiver expects another soon.
      for (int burst = 0; burst < 4; ++burst) {
        sendBurst();
      }
      EXPECT_EQ(receiver_.ask("sleeps"), "asleep");
    }
  }
}

TEST_F(StrangeClock, IsTheMonotonicOneOnly) {
  sendBurst();
  EXPECT_EQ(sender_.ask("clocks"), "monotonic only");
  EXPECT_EQ(receiver_.ask("clocks"), "monotonic only");
}

}  // namespace
