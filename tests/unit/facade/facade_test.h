// What the tests with several threads share: a clean start, and a call that lasts as long as a test wants.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "facade_ports.h"
#include "platform/fake/FakeBluetooth.h"
#include "tests/support/wait_until.h"
#include "tests/unit/LinkAppCommon/channel_fixture.h"

// Sanitized code is slower: fewer rounds find the same there.
inline unsigned int roundsHere(unsigned int rounds) {
  return test_support::roundsUnderTool(test_support::kSlowness > 1 ? rounds / 4 + 1 : rounds);
}

class FacadeTest : public ChannelTest {
 public:
  void SetUp() override {
    ChannelTest::SetUp();
    vqfake::resetBluetooth();
  }

  // The SPP service lives until the process exits; here every test starts without one.
  void TearDown() override {
    vqfake::resetBluetooth();
    VQSingleton<VQSBtApps>::destroy();
    ChannelTest::TearDown();
  }
};

// A call of a port's listener, which is set, on a thread of its own. It lasts until the test lets it end.
class RunningCall {
 public:
  // `inCall` runs within the call, after it was let go.
  explicit RunningCall(
      Port& port, std::function<void()> inCall = [] {}) {
    port.listener.during = [this, inCall = std::move(inCall)] {
      began_.open();
      mayEnd_.pass();
      inCall();
      hasEnded_ = true;
    };
    thread_ = std::make_unique<conformance::Worker>([&port] { port.tell(); });
    began_.pass();
  }
  ~RunningCall() { letEnd(); }
  RunningCall(const RunningCall&) = delete;
  RunningCall& operator=(const RunningCall&) = delete;

  void letEnd() { mayEnd_.open(); }
  bool hasEnded() const { return hasEnded_; }
  const conformance::Worker& thread() const { return *thread_; }

 private:
  conformance::Gate began_;
  conformance::Gate mayEnd_;
  std::atomic<bool> hasEnded_{false};
  std::unique_ptr<conformance::Worker> thread_;
};
