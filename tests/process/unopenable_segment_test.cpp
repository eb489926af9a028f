// Objects that this user may not open.
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>

#include "LinkAppCommon/iOSAppCommonClient.h"
#include "tests/process/channel_fixture.h"
#include "tests/support/roles.h"

namespace {

constexpr uid_t kOtherUser = 65534;

bool becomeOtherUser() {
  return setgroups(0, nullptr) == 0 && setresgid(kOtherUser, kOtherUser, kOtherUser) == 0 &&
         setresuid(kOtherUser, kOtherUser, kOtherUser) == 0;
}

// A client of another user. Says "ready" or "not another user", then what a round of operations gave.
TEST_ROLE(client_of_another_user) {
  if (!becomeOtherUser()) {
    test_support::say("not another user");
    return 0;
  }
  iOSAppCommonClient client("", "other", "launch");
  test_support::say("ready");
  while (test_support::hear()) {
    const unsigned char byte = 1;
    const unsigned int sent = client.sendDataFromHU(&byte, 1);
    test_support::answer(std::to_string(client.launch(1, iosapp_def_::APPLAUNCH_WITH_USER_ALERT)) + " " +
                         std::to_string(sent));
  }
  return 0;
}

class UnopenableSegment : public ChannelTest {
 protected:
  void SetUp() override {
    Child probe("client_of_another_user");
    if (probe.nextLine() == "not another user") {
      GTEST_SKIP() << "this process may not start processes of another user";
    }
    probe.kill();
    test_support::clearShm();
    umask(0022);
    server_.emplace("server");
    expectReady(*server_);
  }

  static void setModeOfAll(mode_t mode) {
    for (const std::string& name : test_support::shmNames()) {
      ASSERT_EQ(chmod(test_support::shmFile(name).c_str(), mode), 0);
    }
  }

  static constexpr const char* kMmapError = "[VQFramework/SharedMemory/VQSharedMemory:151 VQSharedMemory] mmap error\n";

  std::optional<Child> server_;
};

TEST_F(UnopenableSegment, of_mode_0000_gives_a_log_line_and_a_client_that_refuses) {
  setModeOfAll(0000);

  Child sut("client_of_another_user");
  ASSERT_TRUE(sut.expect("ready"));

  EXPECT_EQ(sut.countInLog(kMmapError), 4U);  // one per segment
  EXPECT_EQ(sut.countInLog(" cannot be shared with other processes: shm_open: Permission denied\n"), 5U);
  EXPECT_EQ(sut.ask("try"), "0 0");
  EXPECT_EQ(sut.finish(), 0);
}

TEST_F(UnopenableSegment, of_another_owner_with_mode_0644_gives_the_same) {
  setModeOfAll(0644);

  Child sut("client_of_another_user");
  ASSERT_TRUE(sut.expect("ready"));

  EXPECT_EQ(sut.countInLog(kMmapError), 4U);
  EXPECT_EQ(sut.finish(), 0);
}

// /dev/shm is sticky: the kernel may refuse to open another owner's object with O_CREAT even where the mode allows it.
TEST_F(UnopenableSegment, is_none_that_another_owner_shares_with_this_group) {
  for (const std::string& name : test_support::shmNames()) {
    ASSERT_EQ(chown(test_support::shmFile(name).c_str(), 0, kOtherUser), 0);
  }
  setModeOfAll(0664);

  Child sut("client_of_another_user");
  ASSERT_TRUE(sut.expect("ready"));

  EXPECT_EQ(sut.log(), "");
  EXPECT_EQ(server_->ask("connect 0 1"), "ok");
  EXPECT_TRUE(test_support::waitUntil([&] { return sut.ask("try") == "1 0"; }));
  EXPECT_TRUE(server_->expect("launch 1 1 launch 0"));
}

TEST_F(UnopenableSegment, does_not_harm_those_who_have_it_open) {
  setModeOfAll(0000);

  EXPECT_EQ(server_->ask("connect 0 1"), "ok");
  EXPECT_EQ(server_->log(), "");
}

}  // namespace
