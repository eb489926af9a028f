// Users of the tests: processes of different users, groups and umasks.
//
//   Child sut("as_user", as(kMember, 0022, "client", {"app", "launch"}));
//
// runs the role "client" as that user. The users need no entry in any file; where the machine does not let this process
// become them the tests are skipped, and say what it must allow.
#pragma once

#include <sys/types.h>

#include <ostream>
#include <string>
#include <vector>

namespace access_tests {

struct User {
  const char* name;
  uid_t uid;
  gid_t gid;                  // what the user makes belongs to this group
  std::vector<gid_t> groups;  // further ones
};

inline std::ostream& operator<<(std::ostream& out, const User& user) {
  return out << user.name;
}

constexpr gid_t kSharedGroup = 61003;
constexpr gid_t kMembersOwnGroup = 61004;
constexpr gid_t kStrangersGroup = 61005;

// Makes the objects.
inline const User kOwner = {"owner", 61001, kSharedGroup, {}};
// In the owner's group.
inline const User kMember = {"member", 61002, kSharedGroup, {}};
// In the owner's group, too, but what it makes belongs to a group of its own.
inline const User kGuest = {"guest", 61002, kMembersOwnGroup, {kSharedGroup}};
// In none of these groups.
inline const User kStranger = {"stranger", 61005, kStrangersGroup, {}};

inline const std::vector<User> kEverybody = {kOwner, kMember, kStranger};

// Arguments of the role "as_user".
std::vector<std::string> as(const User& user, mode_t mask, const std::string& role,
                            const std::vector<std::string>& args = {});

// Whether processes of these users can be had.
struct Switching {
  bool isRefused = false;  // by the machine
  std::string error;       // empty = they can
};
Switching trySwitching();

}  // namespace access_tests
