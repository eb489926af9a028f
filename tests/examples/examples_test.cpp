// Each example program, from its first line to the end of its input, against the device side of the process tests.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "tests/process/channel_fixture.h"
#include "tests/support/child.h"
#include "tests/support/roles.h"

namespace {

TEST_ROLE(example) {
  const std::string program = LINKAPP_EXAMPLES_FOLDER "/" + args.at(0);
  setenv("VQ_SETTINGS_DIR", "/dev/shm", 1);  // no user's settings
  execl(program.c_str(), program.c_str(), nullptr);
  return 127;
}

class Examples : public ChannelTest {
 public:
  // What the device side announces reaches only those who are there, so the example comes first.
  static void expectWaiting(Child& sut, const std::string& forWhat) {
    ASSERT_TRUE(sut.expect("waiting for " + forWhat + "; Enter ends"));
  }

  static void tell(Child& device, const std::string& command) { ASSERT_EQ(device.ask(command), "ok"); }
};

TEST_F(Examples, HelloLaunchesItsAppAndPrintsWhatComesBack) {
  Child device("server", {"phone"});
  expectReady(device);
  Child sut("example", {"hello"});
  expectWaiting(sut, "the phone");

  tell(device, "connect 2 1");
  EXPECT_TRUE(sut.expect("hello"));
  EXPECT_EQ(sut.finish(), 0);
}

TEST_F(Examples, DeviceStatusPrintsEachChangeOnceForEachOfItsTwoWays) {
  Child device("server");
  expectReady(device);
  Child sut("example", {"device_status"});
  expectWaiting(sut, "phones");

  tell(device, "connect 2 1");
  EXPECT_TRUE(sut.expect("operator: iPhone 1: Bluetooth none, USB there"));
  EXPECT_TRUE(sut.expect("stand-alone: iPhone 1: Bluetooth none, USB there"));
  tell(device, "open 1 101");
  EXPECT_TRUE(sut.expect("operator: iPhone 1: Bluetooth none, USB open for viewer"));
  tell(device, "disconnect 2 1");
  EXPECT_TRUE(sut.expect("operator: iPhone 1: Bluetooth none, USB none"));
  EXPECT_TRUE(sut.expect("stand-alone: iPhone 1: Bluetooth none, USB none"));
  EXPECT_EQ(sut.finish(), 0);
}

TEST_F(Examples, IosWrapperSendsEachMessageWhenTheOneBeforeHasItsResult) {
  Child device("server", {"phone"});
  expectReady(device);
  Child sut("example", {"ios_wrapper"});
  expectWaiting(sut, "the phone");

  tell(device, "connect 2 1");
  for (const std::string text : {"one", "two", "three"}) {
    EXPECT_TRUE(sut.expect("sent " + text));
    EXPECT_TRUE(sut.expect("received " + text));
  }
  EXPECT_EQ(sut.finish(), 0);
}

TEST_F(Examples, IosWrapperSaysWhichMessageWasNotSent) {
  Child device("server");
  expectReady(device);
  Child sut("example", {"ios_wrapper"});
  expectWaiting(sut, "the phone");
  tell(device, "connect 2 1");
  ASSERT_TRUE(device.expect("launch 1 1 com.example.sender 1"));
  tell(device, "open 1 101");
  ASSERT_TRUE(device.nextLine().has_value());  // the first message

  tell(device, "result 101 0");
  EXPECT_TRUE(sut.expect("not sent one"));
  ASSERT_TRUE(device.nextLine().has_value());  // the second comes all the same
  tell(device, "result 101 1");
  EXPECT_TRUE(sut.expect("sent two"));
  EXPECT_EQ(sut.finish(), 0);
}

TEST_F(Examples, HandsFreePrintsWhatTheDeviceSideAnnounces) {
  Child device("server");
  expectReady(device);
  Child sut("example", {"hands_free"});
  expectWaiting(sut, "phones");

  tell(device, "connect 2 1");
  tell(device, "handsfree 1 123456789abc");
  EXPECT_TRUE(sut.expect("iPhone 1: hands-free up"));
  tell(device, "handsfree 0 123456789abc");
  EXPECT_TRUE(sut.expect("iPhone 1: hands-free down"));
  EXPECT_EQ(sut.finish(), 0);
}

// The announcement of a connection does not carry the hands-free state.
TEST_F(Examples, HandsFreePrintsDownWhenAConnectionIsAnnouncedUntilTheStateIsToldAgain) {
  Child device("server");
  expectReady(device);
  Child sut("example", {"hands_free"});
  expectWaiting(sut, "phones");
  tell(device, "handsfree 1 123456789abc");
  ASSERT_TRUE(sut.expect("iPhone 1: hands-free up"));

  tell(device, "connect 2 1");
  EXPECT_TRUE(sut.expect("iPhone 1: hands-free down"));
  tell(device, "handsfree 1 123456789abc");
  EXPECT_TRUE(sut.expect("iPhone 1: hands-free up"));
  EXPECT_EQ(sut.finish(), 0);
}

TEST_F(Examples, PlaybackInfoPrintsTheAppThatPlays) {
  Child device("server");
  expectReady(device);
  Child sut("example", {"playback_info"});
  expectWaiting(sut, "the phone");

  tell(device, "playback Player");
  EXPECT_TRUE(sut.expect("iPhone 1 plays with Player"));
  EXPECT_EQ(sut.finish(), 0);
}

// There is no bus here.
TEST_F(Examples, SppSaysThatThereIsNoBluetooth) {
  Child sut("example", {"spp"});
  EXPECT_TRUE(sut.expect("no Bluetooth here"));
  EXPECT_EQ(sut.finish(), 1);
}

}  // namespace
