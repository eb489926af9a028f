#include "phone/program_app.h"

#include <gtest/gtest.h>
#include <signal.h>

#include "tests/support/interruption.h"
#include "tests/support/wait_until.h"
#include "tests/unit/linkapp_tool/fake_session.h"

namespace {

using phone::Bytes;
using std::chrono::milliseconds;
using std::chrono::seconds;

Bytes bytes(const std::string& text) {
  return {text.begin(), text.end()};
}

class ProgramApp : public testing::Test {
 public:
  void run(const std::string& command, const phone::ProgramLimits& limits = {}) {
    host_ = std::make_unique<phone::ProgramHost>(loop_, signals_, limits);
    sut_ = host_->app(command).run(session_);
  }
  bool await(const std::function<bool()>& condition) {
    return loop_.runUntil(condition, milliseconds(static_cast<int>(test_support::kDeadline * 1000)));
  }
  bool awaitClose() {
    return await([this] { return session_.closes != 0; });
  }

  loop::Loop loop_;
  loop::Signals signals_{loop_, &test_support::endBy};
  FakeSession session_;
  std::unique_ptr<phone::ProgramHost> host_;
  std::unique_ptr<phone::App> sut_;
};

TEST_F(ProgramApp, gets_messages_as_frames_and_sends_frames) {
  run("exec cat");
  const std::vector<Bytes> messages = {bytes("a"), Bytes(4096, 'b'), bytes(std::string("\0c", 2))};
  for (const Bytes& message : messages) {
    EXPECT_TRUE(sut_->onMessage(message));
  }
  EXPECT_TRUE(await([&] { return session_.sent.size() == messages.size(); }));
  EXPECT_EQ(session_.sent, messages);
}

TEST_F(ProgramApp, finds_its_session_in_the_environment) {
  run(R"(printf '\000\000\000\026%s %s %s' "$LINKAPP_LAUNCH_STRING" "$LINKAPP_SESSION" "$LINKAPP_APP_ID")");
  EXPECT_TRUE(await([&] { return !session_.sent.empty(); }));
  EXPECT_EQ(session_.sent, std::vector<Bytes>{bytes("com.example.navi 101 1")});
}

TEST_F(ProgramApp, that_exits_has_its_last_messages_sent_and_ends_its_session) {
  run(R"(printf '\000\000\000\002hi\000\000'; exit 3)");
  EXPECT_TRUE(awaitClose());
  EXPECT_EQ(session_.sent, std::vector<Bytes>{bytes("hi")});
  EXPECT_EQ(session_.reports.back(), "program-ended how=\"exit code 3\" cut-off=2");
  EXPECT_FALSE(sut_->onMessage(bytes("x")));
}

TEST_F(ProgramApp, that_cannot_be_started_ends_its_session) {
  run("exec /there/is/no/program 2>/dev/null");
  EXPECT_TRUE(awaitClose());
  EXPECT_EQ(session_.reports.back(), "program-ended how=\"exit code 127\" cut-off=0");
}

TEST_F(ProgramApp, that_breaks_the_framing_is_killed_and_ends_its_session) {
  run("exec yes");
  EXPECT_TRUE(awaitClose());
  EXPECT_EQ(session_.reports.back(), "program-broke-framing length=2030729482");
  EXPECT_TRUE(session_.sent.empty());
}

TEST_F(ProgramApp, that_takes_no_input_fails_sends_and_is_killed_after_a_while) {
  phone::ProgramLimits limits;
  limits.pending = 100000;
  limits.patience = milliseconds(50);
  run("exec sleep 1000", limits);
  unsigned int taken = 0;
  while (taken < 1000 && sut_->onMessage(Bytes(4096, 'x'))) {
    ++taken;
  }
  EXPECT_LT(taken, 1000U);
  EXPECT_TRUE(awaitClose());
  EXPECT_EQ(session_.reports.back().substr(0, 14), "program-hangs ");
}

TEST_F(ProgramApp, that_floods_is_held_back_and_killed_in_the_end) {
  phone::ProgramLimits limits;
  limits.perSecond = 100;
  const auto start = std::chrono::steady_clock::now();
  run(R"(while :; do printf '\000\000\000\001x\000\000\000\001x\000\000\000\001x\000\000\000\001x'; done)", limits);
  EXPECT_TRUE(awaitClose());
  const double took = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  EXPECT_EQ(session_.reports.back(), "program-floods limit=100");
  EXPECT_LE(static_cast<double>(session_.sent.size()), 20 + 100 * took + 1);
}

// Each time its pipe is read there are fewer messages than it takes a second to send on.
TEST_F(ProgramApp, that_floods_with_few_messages_at_a_time_is_killed_too) {
  run(R"sh(exec python3 -c "import sys
while True: sys.stdout.buffer.write(b'\0\0\0\4more')")sh");
  EXPECT_TRUE(awaitClose());
  EXPECT_EQ(session_.reports.back(), "program-floods limit=5000");
}

TEST_F(ProgramApp, that_is_faster_than_the_limit_for_a_while_loses_nothing) {
  phone::ProgramLimits limits;
  limits.perSecond = 1000;
  run(R"(i=0; while [ $i -lt 200 ]; do printf '\000\000\000\001x'; i=$((i+1)); done; exec cat)", limits);
  EXPECT_TRUE(await([&] { return session_.sent.size() == 200; }));
  EXPECT_EQ(session_.closes, 0);
}

TEST_F(ProgramApp, ends_with_its_session_by_force_if_need_be) {
  run(R"(trap '' TERM; printf '\000\000\000\001x'; while :; do sleep 1; done)");
  ASSERT_TRUE(await([&] { return session_.sent.size() == 1; }));
  const std::string started = session_.reports.front();
  const pid_t pid = std::stoi(started.substr(started.find('=') + 1));
  sut_.reset();
  EXPECT_TRUE(await([pid] { return kill(pid, 0) == -1; }));
}

}  // namespace
