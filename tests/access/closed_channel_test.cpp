// A channel that is closed to a group (umask 0007), and a process that is not in it.
#include <sys/mount.h>

#include <cstring>

#include "tests/access/access_fixture.h"

namespace access_tests {
namespace {

constexpr mode_t kClosed = 0007;

// Owner's server with a phone, and a member's client with an open session.
class ClosedChannel : public AccessTest {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(AccessTest::SetUp());
    start();
  }

  void start() {
    server_.emplace("as_user", as(kOwner, kClosed, "server", {"phone"}));
    expectReady(*server_);
    client_.emplace("as_user", as(kMember, kClosed, "client", {"app", "launch"}));
    expectReady(*client_);
    expectServerKnowsApp(*server_, 1, "launch");
    expectServerHasDevice(*server_);
    ASSERT_TRUE(client_->expect(connectedInfo("app")));
    ASSERT_EQ(client_->ask("launch 0"), "1");
    ASSERT_TRUE(client_->expect(sessionInfo("app")));
  }

  // One line for each object that it may not open, and no other.
  static void expectClearLines(const Child& child, unsigned int locks) {
    EXPECT_EQ(child.countInLog(kNoLog), 1U);
    EXPECT_EQ(child.countInLog(kNoLock), locks);
    EXPECT_EQ(child.countInLog(kNoSegment), locks);
  }

  std::optional<Child> server_;
  std::optional<Child> client_;
};

TEST_F(ClosedChannel, lets_members_of_the_group_take_part) {
  EXPECT_EQ(client_->ask("exchange 1 100"), "ok");
  EXPECT_EQ(server_->log() + client_->log(), "");
}

TEST_F(ClosedChannel, gives_a_client_outside_one_clear_line_per_object_and_refusals) {
  Child sut("as_user", as(kStranger, 0022, "client", {"outside", "launch"}));
  expectReady(sut);

  expectClearLines(sut, 4);
  EXPECT_EQ(sut.countInLog("\n"), 9U);
  EXPECT_EQ(sut.ask("launch 0"), "0");
  EXPECT_EQ(sut.ask("send 100 1"), "0");
  EXPECT_EQ(sut.ask("connected"), "0");
  EXPECT_EQ(sut.finish(), 0);
}

// It opens the three segments of a server, and the table with its registry.
TEST_F(ClosedChannel, gives_a_server_outside_the_same_and_harmless_operations) {
  Child sut("as_user", as(kStranger, 0022, "server"));
  expectReady(sut);

  expectClearLines(sut, 4);
  for (const char* const command : {"connect 0 1", "open 1 9", "data 9 4096 1", "result 9 1", "playback radio",
                                    "handsfree 1 010203040506", "close 9", "disconnect 0 1"}) {
    EXPECT_EQ(sut.ask(command), "ok") << command;
  }
  EXPECT_EQ(sut.ask("launch-string-of 1"), "-");
  EXPECT_EQ(sut.finish(), 0);
}

TEST_F(ClosedChannel, gives_an_application_outside_refusals) {
  Child sut("as_user", as(kStranger, 0022, "media_application", {"outside", "launch"}));
  expectReady(sut);

  EXPECT_GE(sut.countInLog(kNoSegment), 4U);
  EXPECT_EQ(sut.ask("launch 1 0"), "0");
  EXPECT_EQ(sut.ask("send 100 1"), "0");
  EXPECT_EQ(sut.finish(), 0);
}

TEST_F(ClosedChannel, is_not_disturbed_by_processes_outside_that_come_and_go) {
  client_->tell("exchange 1 300");
  for (int i = 0; i < 5; ++i) {
    Child outsideClient("as_user", as(kStranger, 0000, "client", {"outside", "launch"}));
    expectReady(outsideClient);
    Child outsideServer("as_user", as(kStranger, 0000, "server"));
    expectReady(outsideServer);
    EXPECT_EQ(outsideServer.ask("disconnect 0 1"), "ok");
    EXPECT_EQ(outsideClient.finish(), 0);
    EXPECT_EQ(outsideServer.finish(), 0);
  }

  EXPECT_TRUE(client_->expectAnswer("ok"));
  EXPECT_EQ(client_->ask("exchange 1 100"), "ok");
  EXPECT_EQ(client_->ask("connected"), "1");
  EXPECT_EQ(test_support::shmWord(kAppInfoSegment.name, kAppCount), 1U);
  EXPECT_EQ(server_->log() + client_->log(), "");
}

TEST_F(ClosedChannel, shows_strangers_names_sizes_modes_and_who_opens_when) {
  Child sut("as_user", as(kStranger, 0022, "raw"));
  expectReady(sut);
  for (const std::string& name : channelObjects()) {
    EXPECT_EQ(sut.ask("bytes " + test_support::shmFile(name) + " 0 4"), "Bad file descriptor");
  }
  ASSERT_EQ(sut.ask("watch /dev/shm"), "done");

  Child late("as_user", as(kMember, kClosed, "client", {"late", "launch"}));
  expectReady(late);

  EXPECT_EQ(sut.ask(std::string("seen ") + kFromHUSegment.name), "opened");
}

// What a process makes belongs to its own group, whatever other groups it is in.
TEST_F(ClosedChannel, is_closed_to_the_group_too_where_it_is_not_the_makers_own) {
  server_.reset();
  client_.reset();
  test_support::clearShm();
  Child server("as_user", as(kGuest, kClosed, "server"));
  expectReady(server);

  Child sut("as_user", as(kOwner, kClosed, "client", {"app", "launch"}));
  expectReady(sut);

  expectClearLines(sut, 4);
}

// A folder of the channel's own, in place of /dev/shm: as the page on security recommends.
class OwnFolder : public ClosedChannel {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(AccessTest::SetUp());  // NOLINT(bugprone-parent-virtual-call): it starts later
    const std::string options = "mode=3770,uid=0,gid=" + std::to_string(kSharedGroup);
    if (mount("tmpfs", "/dev/shm", "tmpfs", MS_NOSUID | MS_NODEV, options.c_str()) != 0) {
      GTEST_SKIP() << "NOT TESTED: no file system of its own for this test: " << strerror(errno);
    }
    isMounted_ = true;
  }

  void TearDown() override {
    server_.reset();
    client_.reset();
    if (isMounted_) {
      EXPECT_EQ(umount2("/dev/shm", MNT_DETACH), 0);
    }
  }

 private:
  bool isMounted_ = false;
};

TEST_F(OwnFolder, gives_every_object_to_the_group_whatever_group_its_maker_has) {
  Child server("as_user", as(kGuest, kClosed, "server", {"phone"}));
  expectReady(server);
  Child client("as_user", as(kOwner, kClosed, "client", {"app", "launch"}));
  expectReady(client);

  expectServerHasDevice(server);
  EXPECT_TRUE(client.expect(connectedInfo("app")));
  EXPECT_EQ(client.ask("launch 0"), "1");
  EXPECT_TRUE(client.expect(sessionInfo("app")));
  EXPECT_EQ(client.ask("exchange 1 50"), "ok");
  EXPECT_EQ(server.log() + client.log(), "");
}

TEST_F(OwnFolder, shows_strangers_nothing_and_lets_them_make_nothing) {
  start();
  Child sut("as_user", as(kStranger, 0022, "raw"));
  expectReady(sut);

  EXPECT_EQ(sut.ask("may /dev/shm"), "--");
  EXPECT_EQ(sut.ask("watch /dev/shm"), "Permission denied");
  EXPECT_EQ(sut.ask("make /dev/shm/anything 0666 1"), "Permission denied");
  for (const std::string& name : channelObjects()) {
    EXPECT_EQ(sut.ask("may " + test_support::shmFile(name)), "--");
  }
}

TEST_F(OwnFolder, keeps_a_process_outside_from_making_a_channel_of_its_own) {
  Child outside("as_user", as(kStranger, 0022, "client", {"outside", "launch"}));
  expectReady(outside);

  EXPECT_EQ(outside.countInLog("[VQFramework/SharedMemory/VQSharedMemory:122 VQSharedMemory] shm_open error\n"), 4U);
  EXPECT_EQ(outside.countInLog(kNoLock), 4U);
  EXPECT_EQ(outside.countInLog(kNoLog), 1U);
  EXPECT_EQ(test_support::shmNames(), std::vector<std::string>());
}

}  // namespace
}  // namespace access_tests
