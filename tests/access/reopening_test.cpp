// Opening another owner's object in a sticky folder: /dev/shm is one, and a kernel with fs.protected_regular set
// refuses O_CREAT there even where the mode would let the user in.
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdlib>

#include "tests/access/access_fixture.h"
#include "tests/support/roles.h"

namespace access_tests {
namespace {

constexpr const char* kSetting = "/proc/sys/fs/protected_regular";
constexpr const char* kMayChange = "LINKAPP_TEST_KERNEL_SETTINGS";

char settingIn(int fd) {
  char digit = '?';
  return pread(fd, &digit, 1, 0) == 1 ? digit : '?';
}

// Sets fs.protected_regular to 2 until its end, and outlives the test process for that. One at a time on the machine.
TEST_ROLE(protect_regular_files) {
  prctl(PR_SET_PDEATHSIG, 0);
  const int fd = open(kSetting, O_RDWR | O_CLOEXEC);
  if (fd == -1 || flock(fd, LOCK_EX) != 0) {
    test_support::say("cannot be set");
    return 0;
  }
  const char before = settingIn(fd);
  const bool isSet = pwrite(fd, "2", 1, 0) == 1;
  test_support::say(isSet ? "ready" : "cannot be set");
  test_support::waitForParent();
  return !isSet || pwrite(fd, &before, 1, 0) == 1 ? 0 : 1;
}

// While it lives, no test changes fs.protected_regular.
class SettingThatStays {
 public:
  SettingThatStays() : fd_(open(kSetting, O_RDONLY | O_CLOEXEC)) { EXPECT_EQ(flock(fd_, LOCK_SH), 0); }
  ~SettingThatStays() { close(fd_); }
  SettingThatStays(const SettingThatStays&) = delete;
  SettingThatStays& operator=(const SettingThatStays&) = delete;

 private:
  const int fd_;
};

std::vector<std::string> opensOf(const test_support::Child& child, const std::string& name) {
  std::vector<std::string> opens;
  const std::string log = child.log();
  const std::string mark = "shm_open " + name + " ";
  for (std::size_t at = log.find(mark); at != std::string::npos; at = log.find(mark, at + 1)) {
    const std::size_t from = at + mark.size();
    opens.push_back(log.substr(from, log.find('\n', from) - from));
  }
  return opens;
}

using Opens = std::vector<std::string>;

// A server of the owner in a channel that is closed to a group.
class Reopening : public AccessTest {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(AccessTest::SetUp());
    server_.emplace("as_user", as(kOwner, 0007, "server"));
    expectReady(*server_);
  }

  static std::vector<std::string> tracedClient(const User& user, const char* protection) {
    return as(user, 0007, "traced_opens", {protection, "client", "app", "launch"});
  }

  void expectMemberGetsInAtTheSecondTry(const char* protection) {
    Child sut("as_user", tracedClient(kMember, protection));
    expectReady(sut);

    expectEach(sut, "opened");
    expectServerKnowsApp(*server_, 1, "launch");
    expectServerHasDevice(*server_);
    EXPECT_TRUE(sut.expect(connectedInfo("app")));
  }

  static void expectStrangerTriesOnceMore(const char* protection) {
    Child sut("as_user", tracedClient(kStranger, protection));
    expectReady(sut);

    expectEach(sut, "Permission denied");
    EXPECT_EQ(sut.finish(), 0);
  }

  static void expectEach(const Child& sut, const std::string& last) {
    const std::string refused = "create Permission denied";
    for (const Segment& segment : kSegments) {
      EXPECT_EQ(opensOf(sut, segment.name), (Opens{"exclusive File exists", refused, "plain " + last}));
      EXPECT_EQ(opensOf(sut, lockObject(segment)), (Opens{refused, "plain " + last}));
    }
    // The log is asked for again where it could not be had.
    const Opens opens = opensOf(sut, kLogObject);
    ASSERT_GE(opens.size(), 2U);
    for (std::size_t i = 0; i < opens.size(); i += 2) {
      EXPECT_EQ(
          Opens(opens.begin() + static_cast<std::ptrdiff_t>(i), opens.begin() + static_cast<std::ptrdiff_t>(i) + 2),
          (Opens{refused, "plain " + last}));
    }
  }

  std::optional<Child> server_;
};

TEST_F(Reopening, without_creation_lets_a_member_in_where_creation_is_refused) {
  expectMemberGetsInAtTheSecondTry("ON");
}

TEST_F(Reopening, is_tried_once_where_the_mode_refuses_it) {
  expectStrangerTriesOnceMore("ON");
}

TEST_F(Reopening, is_not_needed_where_nothing_refuses_creation) {
  const SettingThatStays stays;
  Child setting("as_user", as(kStranger, 0022, "raw"));
  expectReady(setting);
  if (setting.ask(std::string("bytes ") + kSetting + " 0 1") != "30") {
    GTEST_SKIP() << "fs.protected_regular is set on this machine";
  }
  Child sut("as_user", tracedClient(kMember, "OFF"));
  expectReady(sut);

  for (const Segment& segment : kSegments) {
    EXPECT_EQ(opensOf(sut, segment.name), (Opens{"exclusive File exists", "create opened"}));
    EXPECT_EQ(opensOf(sut, lockObject(segment)), (Opens{"create opened"}));
  }
  EXPECT_EQ(opensOf(sut, kLogObject), (Opens{"create opened"}));
}

// The setting is the whole machine's, not a namespace's: it is changed only where that was allowed.
TEST_F(Reopening, works_the_same_under_the_kernels_own_setting) {
  const int fd = open(kSetting, O_RDONLY | O_CLOEXEC);
  const char now = settingIn(fd);
  close(fd);
  std::optional<Child> setting;
  if (now != '2') {
    if (getenv(kMayChange) == nullptr) {
      GTEST_SKIP() << "fs.protected_regular is " << now << " here, and " << kMayChange
                   << "=1 does not stand in the environment, which would allow to change it for a moment";
    }
    setting.emplace("protect_regular_files");
    ASSERT_TRUE(setting->expect("ready"));
  }

  expectMemberGetsInAtTheSecondTry("OFF");
  expectStrangerTriesOnceMore("OFF");

  if (setting) {
    EXPECT_EQ(setting->finish(), 0);
  }
}

}  // namespace
}  // namespace access_tests
