// Who may open what: every object of the channel, for each umask of whoever made it, seen by three users.
#include "tests/access/access_fixture.h"

namespace access_tests {
namespace {

struct Objects {
  mode_t mask;
  mode_t mode;
  std::vector<std::string> rights;  // of owner, member, stranger
};

std::ostream& operator<<(std::ostream& out, const Objects& objects) {
  return out << "umask " << std::oct << objects.mask;
}

// Server, client and settings of the owner have been there.
class Modes : public AccessTest, public testing::WithParamInterface<Objects> {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(AccessTest::SetUp());
    run(kOwner, GetParam().mask);
  }

  void run(const User& user, mode_t mask) {
    Child server("as_user", as(user, mask, "server"));
    expectReady(server);
    Child client("as_user", as(user, mask, "client", {"app", "launch"}));
    expectReady(client);
    Child settings("as_user", as(user, mask, "settings_user", {folder()}));
    expectReady(settings);
    settings.ask("set LinkAppDevice 7");
    EXPECT_EQ(server.finish(), 0);
    EXPECT_EQ(client.finish(), 0);
  }

  std::vector<std::string> files() const {
    std::vector<std::string> all = {settingsFile()};
    for (const std::string& name : channelObjects()) {
      all.push_back(test_support::shmFile(name));
    }
    return all;
  }

  void expectAllAsMade() const {
    for (const std::string& file : files()) {
      struct stat status = {};
      ASSERT_EQ(stat(file.c_str(), &status), 0) << file;
      EXPECT_EQ(status.st_mode & 07777U, GetParam().mode) << file;
      EXPECT_EQ(status.st_uid, kOwner.uid) << file;
      EXPECT_EQ(status.st_gid, kSharedGroup) << file;
    }
  }
};

TEST_P(Modes, are_0664_less_the_umask_of_whoever_made_the_object) {
  expectAllAsMade();
}

TEST_P(Modes, let_each_user_open_each_object_as_their_bits_say) {
  for (std::size_t i = 0; i < kEverybody.size(); ++i) {
    Child sut("as_user", as(kEverybody[i], 0022, "raw"));
    expectReady(sut);
    for (const std::string& file : files()) {
      EXPECT_EQ(sut.ask("may " + file), GetParam().rights.at(i)) << kEverybody[i] << " " << file;
    }
  }
}

TEST_P(Modes, stay_when_processes_of_other_users_and_umasks_attach) {
  run(kOwner, 0000);
  for (const User& user : {kMember, kStranger}) {
    for (const mode_t mask : {0000U, 0077U}) {
      Child server("as_user", as(user, mask, "server"));
      expectReady(server);
      Child client("as_user", as(user, mask, "client", {"app", "launch"}));
      expectReady(client);
    }
  }

  expectAllAsMade();
}

// The folder is sticky: only who made an object, and root, may remove it.
TEST_P(Modes, can_be_changed_and_objects_removed_by_their_owner_alone) {
  for (const User& user : {kMember, kStranger}) {
    Child sut("as_user", as(user, 0022, "raw"));
    expectReady(sut);
    for (const std::string& name : channelObjects()) {
      const std::string file = test_support::shmFile(name);
      EXPECT_EQ(sut.ask("chmod " + file), "Operation not permitted") << user << " " << name;
      EXPECT_EQ(sut.ask("unlink " + file), "Operation not permitted") << user << " " << name;
      EXPECT_EQ(sut.ask("rename " + file), "Operation not permitted") << user << " " << name;
    }
  }
  expectAllAsMade();

  Child owner("as_user", as(kOwner, 0022, "raw"));
  expectReady(owner);
  for (const std::string& name : channelObjects()) {
    EXPECT_EQ(owner.ask("unlink " + test_support::shmFile(name)), "done") << name;
  }
}

INSTANTIATE_TEST_SUITE_P(Of, Modes,
                         testing::Values(Objects{0000, 0664, {"rw", "rw", "r-"}},
                                         Objects{0022, 0644, {"rw", "r-", "r-"}},
                                         Objects{0002, 0664, {"rw", "rw", "r-"}},
                                         Objects{0007, 0660, {"rw", "rw", "--"}},
                                         Objects{0077, 0600, {"rw", "--", "--"}}),
                         [](const auto& tested) {
                           char name[16];
                           snprintf(name, sizeof name, "umask_%04o", tested.param.mask);
                           return std::string(name);
                         });

}  // namespace
}  // namespace access_tests
