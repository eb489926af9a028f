// A program that forks before it makes its first object of the channel, as daemons do.
#include <sys/wait.h>
#include <unistd.h>

#include "LinkAppCommon/iOSAppCommonLocalMem_ConnectStatus.h"
#include "tests/process/channel_fixture.h"
#include "tests/process/listener.h"
#include "tests/support/roles.h"

using test_support::answer;
using test_support::hear;
using test_support::say;

namespace {

// Says "ready", then "message" for each message. Hears "post"; answered by the notifier's result.
int serve() {
  iOSAppCommonLocalMem_ConnectStatus endpoint;
  Listener listener([](unsigned int, void*, unsigned int) { say("message"); });
  endpoint.AddObserver(listener.observer());
  say("ready");
  while (hear()) {
    const unsigned char byte = 1;
    answer(endpoint.notifier.NotifyDataUpdate(4, &byte, 1) ? "1" : "0");
  }
  endpoint.RemoveObserver(listener.observer());
  return 0;
}

TEST_ROLE(daemon) {
  const pid_t child = fork();
  if (child == 0) {
    exit(serve());
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

TEST_F(ChannelTest, a_program_that_forks_before_its_first_use_works_in_its_child) {
  Child sut("daemon");
  Child other("endpoint", {kStatusSegment.name});
  expectReady(sut);
  expectReady(other);

  EXPECT_EQ(sut.ask("post"), "1");
  EXPECT_TRUE(sut.expect("message"));
  EXPECT_TRUE(other.expect("message 4 1 01"));
  EXPECT_EQ(other.ask("post 4 02"), "1");
  EXPECT_TRUE(sut.expect("message"));
  EXPECT_EQ(sut.finish(), 0);
}

}  // namespace
