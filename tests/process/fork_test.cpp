// A process that has the channel open forks. The child may exit or exec, and must leave its parent's things alone.
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <optional>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "LinkAppCommon/iOSAppCommonLocalMem_ConnectStatus.h"
#include "LinkAppCommon/iOSAppCommonServer.h"
#include "tests/process/channel_fixture.h"
#include "tests/process/listener.h"
#include "tests/support/roles.h"
#include "tests/support/wait_until.h"

using test_support::answer;
using test_support::hear;
using test_support::say;

namespace {

// The child lives until the pipe is closed, then ends in one of the ways that are allowed to it.
class ForkedChild {
 public:
  using End = void (*)();

  explicit ForkedChild(End end) {
    if (pipe(pipe_) != 0) {
      return;
    }
    pid_ = fork();
    if (pid_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      close(pipe_[1]);
      char byte = 0;
      while (read(pipe_[0], &byte, 1) > 0) {
      }
      end();
      _exit(99);
    }
    close(pipe_[0]);
  }

  // Its exit code, or -1.
  int finish() {
    close(pipe_[1]);
    int status = 0;
    return waitpid(pid_, &status, 0) == pid_ && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  int pipe_[2] = {-1, -1};
  pid_t pid_ = -1;
};

std::atomic<std::uint32_t> messages{0};

void exitQuietly() {
  exit(0);
}

// By exit code: how many messages this copy of the process has seen.
void exitWithCount() {
  exit(static_cast<int>(messages.load()));
}

void becomeAnotherProgram() {
  execl("/bin/true", "true", nullptr);
}

// Everything that exit destroys: in a forked child too.
struct Channel {
  Listener listener{[](unsigned int, void*, unsigned int) {
    ++messages;
    say("message");
  }};
  iOSAppCommonLocalMem_ConnectStatus endpoint;
  iOSAppCommonServer server{1};
  iOSAppCommonClient client{"", "app", "launch"};
};
std::unique_ptr<Channel> channel;

void unlockAndExit() VQ_NO_THREAD_SAFETY_ANALYSIS {
  channel->endpoint.unlock();
  exit(0);
}

ForkedChild::End endOf(const std::string& command) {
  if (command == "fork count") {
    return &exitWithCount;
  }
  if (command == "fork unlock") {
    return &unlockAndExit;
  }
  return command == "fork exec" ? &becomeAnotherProgram : &exitQuietly;
}

// Has a server, a client and an endpoint. Says "message" for each message of the endpoint. Hears
//   fork exit | fork count | fork unlock | fork exec     makes a child that waits; answered by "ok"
//   finish                                               lets it end; answered by its exit code
//   lock | unlock                                        the endpoint's; answered by "ok"
TEST_ROLE(forker) VQ_NO_THREAD_SAFETY_ANALYSIS {
  channel = std::make_unique<Channel>();
  channel->endpoint.AddObserver(channel->listener.observer());
  std::unique_ptr<ForkedChild> child;
  say("ready");
  while (const auto line = hear()) {
    std::string result = "ok";
    if (*line == "finish") {
      result = std::to_string(child->finish());
    } else if (*line == "lock") {
      channel->endpoint.lock();
    } else if (*line == "unlock") {
      channel->endpoint.unlock();
    } else {
      child = std::make_unique<ForkedChild>(endOf(*line));
    }
    answer(result);
  }
  channel.reset();
  return 0;
}

// A forked child has no delivery thread, so what that thread's stack refers to looks leaked when the child exits.
class WithoutLeakCheck {
 public:
  WithoutLeakCheck() {
    const char* const options = getenv(kName);
    before_ = options != nullptr ? options : "";
    setenv(kName, (before_ + ":detect_leaks=0").c_str(), 1);
  }
  ~WithoutLeakCheck() { setenv(kName, before_.c_str(), 1); }
  WithoutLeakCheck(const WithoutLeakCheck&) = delete;
  WithoutLeakCheck& operator=(const WithoutLeakCheck&) = delete;

 private:
  static constexpr const char* kName = "ASAN_OPTIONS";
  std::string before_;
};

class Fork : public ChannelTest {
 protected:
  void SetUp() override {
    expectReady(other_);
    const WithoutLeakCheck scope;
    expectReady(sut_.emplace("forker"));
  }

  void expectMessageArrives() {
    ASSERT_EQ(other_.ask("post 4 00"), "1");
    ASSERT_TRUE(other_.expect("message 4 1 00"));
    ASSERT_TRUE(sut_->expect("message"));
  }

  Child other_{"endpoint", {kStatusSegment.name}};
  std::optional<Child> sut_;
};

TEST_F(Fork, a_child_that_exits_leaves_its_parents_channel_alone) {
  for (const char* const command : {"fork exit", "fork exit", "fork exec"}) {
    ASSERT_EQ(sut_->ask(command), "ok");
    expectMessageArrives();
    EXPECT_EQ(sut_->ask("finish"), "0");
    expectMessageArrives();
  }
  EXPECT_EQ(sut_->finish(), 0);
}

TEST_F(Fork, a_child_does_not_deliver) {
  ASSERT_EQ(sut_->ask("fork count"), "ok");

  expectMessageArrives();
  expectMessageArrives();

  EXPECT_EQ(sut_->ask("finish"), "0");
}

TEST_F(Fork, a_child_does_not_give_up_its_parents_lock) {
  for (const char* const command : {"fork exit", "fork unlock", "fork exec"}) {
    ASSERT_EQ(sut_->ask("lock"), "ok");
    ASSERT_EQ(sut_->ask(command), "ok");
    ASSERT_EQ(sut_->ask("finish"), "0");

    other_.tell("wait");
    ASSERT_TRUE(other_.expect("waiting"));
    EXPECT_TRUE(test_support::waitUntil([this] { return other_.isAsleep(); }));
    EXPECT_FALSE(other_.hasAnswered());

    ASSERT_EQ(sut_->ask("unlock"), "ok");
    EXPECT_TRUE(other_.expectAnswer("ok"));
    ASSERT_EQ(other_.ask("unlock"), "ok");
    EXPECT_EQ(other_.log() + sut_->log(), "");
  }
}

}  // namespace
