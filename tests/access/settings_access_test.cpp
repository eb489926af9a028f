// The settings file, which processes of several users may replace.
#include <sys/syscall.h>

#include <fstream>

#include "tests/access/access_fixture.h"

namespace access_tests {
namespace {

// Whether the main thread waits in this system call now.
bool isInSystemCall(const test_support::Child& child, long number) {
  std::ifstream file("/proc/" + std::to_string(child.pid()) + "/syscall");
  long current = -1;
  return file >> current && current == number;
}

class SettingsAccess : public AccessTest {
 protected:
  // Makes the file.
  void ownerSets(mode_t mask) const {
    Child owner("as_user", as(kOwner, mask, "settings_user", {folder()}));
    expectReady(owner);
    ASSERT_EQ(owner.ask("set LinkAppDevice 7"), "1");
  }

  struct stat status() const {
    struct stat result = {};
    EXPECT_EQ(stat(settingsFile().c_str(), &result), 0);
    return result;
  }
};

TEST_F(SettingsAccess, of_a_member_keeps_group_and_mode_whatever_its_umask) {
  ownerSets(0007);
  Child sut("as_user", as(kMember, 0077, "settings_user", {folder()}));
  expectReady(sut);

  EXPECT_EQ(sut.ask("get LinkAppDevice"), "7");
  EXPECT_EQ(sut.ask("set LinkAppDevice 8"), "1");

  EXPECT_EQ(status().st_mode & 07777U, 0660U);
  EXPECT_EQ(status().st_gid, kSharedGroup);
  EXPECT_EQ(status().st_uid, kMember.uid);
  Child owner("as_user", as(kOwner, 0007, "settings_user", {folder()}));
  expectReady(owner);
  EXPECT_EQ(owner.ask("get LinkAppDevice"), "8");
}

// The folder hands its group on no longer; the member's own group must not get the file.
TEST_F(SettingsAccess, of_a_member_with_another_group_of_its_own_keeps_the_files_group) {
  ownerSets(0007);
  ASSERT_EQ(chmod(folder().c_str(), 0775), 0);
  Child sut("as_user", as(kGuest, 0002, "settings_user", {folder()}));
  expectReady(sut);

  EXPECT_EQ(sut.ask("set LinkAppDevice 8"), "1");

  EXPECT_EQ(status().st_mode & 07777U, 0660U);
  EXPECT_EQ(status().st_gid, kSharedGroup);
}

// A stranger who may write the folder can replace the file; the group, which he cannot give it, gets no rights then.
TEST_F(SettingsAccess, of_a_stranger_in_an_open_folder_gives_his_group_no_rights) {
  ownerSets(0002);
  ASSERT_EQ(chmod(folder().c_str(), 0777), 0);
  Child sut("as_user", as(kStranger, 0002, "settings_user", {folder()}));
  expectReady(sut);

  EXPECT_EQ(sut.ask("set LinkAppDevice 8"), "1");

  EXPECT_EQ(status().st_mode & 07777U, 0604U);
  EXPECT_EQ(status().st_gid, kStrangersGroup);
}

TEST_F(SettingsAccess, of_a_stranger_is_refused_with_a_line_and_changes_nothing) {
  ownerSets(0007);
  Child sut("as_user", as(kStranger, 0022, "settings_user", {folder()}));
  expectReady(sut);

  EXPECT_EQ(sut.ask("get LinkAppDevice"), "-");
  EXPECT_EQ(sut.ask("set LinkAppDevice 8"), "-");

  EXPECT_EQ(sut.countInLog(settingsFile() + " cannot be read: Permission denied\n"), 2U);
  EXPECT_EQ(status().st_uid, kOwner.uid);
}

TEST_F(SettingsAccess, of_a_reader_reads_and_may_not_replace) {
  ownerSets(0022);
  Child sut("as_user", as(kStranger, 0022, "settings_user", {folder()}));
  expectReady(sut);

  EXPECT_EQ(sut.ask("get LinkAppDevice"), "7");
  EXPECT_EQ(sut.ask("set LinkAppDevice 8"), "0");

  EXPECT_EQ(sut.countInLog(settingsFile() + " cannot be written: Permission denied\n"), 1U);
  EXPECT_EQ(sut.ask("get LinkAppDevice"), "7");
}

// Writers take turns by a lock on the folder, and the right to open it is enough to hold that.
TEST_F(SettingsAccess, of_a_writer_waits_for_whoever_can_open_the_folder) {
  ownerSets(0007);
  Child stranger("as_user", as(kStranger, 0022, "raw"));
  expectReady(stranger);
  ASSERT_EQ(stranger.ask("lock-folder " + folder()), "done");
  Child sut("as_user", as(kOwner, 0007, "settings_user", {folder()}));
  expectReady(sut);

  sut.tell("set LinkAppDevice 8");
  EXPECT_TRUE(test_support::waitUntil([&] { return isInSystemCall(sut, SYS_flock); }));
  EXPECT_FALSE(sut.hasAnswered());

  stranger.kill();
  EXPECT_TRUE(sut.expectAnswer("1"));
}

TEST_F(SettingsAccess, of_a_writer_cannot_be_held_up_from_outside_a_closed_folder) {
  ownerSets(0007);
  ASSERT_EQ(chmod(folder().c_str(), 02770), 0);
  Child stranger("as_user", as(kStranger, 0022, "raw"));
  expectReady(stranger);

  EXPECT_EQ(stranger.ask("lock-folder " + folder()), "Bad file descriptor");
  EXPECT_EQ(stranger.ask("may " + folder()), "--");
  EXPECT_EQ(stranger.ask("may " + settingsFile()), "--");
}

// The library makes the folder where there is none.
TEST_F(SettingsAccess, of_the_first_writer_makes_a_folder_that_its_umask_closes) {
  const std::string made = folder() + "/made";
  Child sut("as_user", as(kOwner, 0007, "settings_user", {made}));
  expectReady(sut);

  EXPECT_EQ(sut.ask("set LinkAppDevice 8"), "1");

  struct stat status = {};
  ASSERT_EQ(stat(made.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0750U);
}

}  // namespace
}  // namespace access_tests
