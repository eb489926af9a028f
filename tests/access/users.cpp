#include "tests/access/users.h"

#include <errno.h>
#include <grp.h>
#include <signal.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/child.h"
#include "tests/support/roles.h"

namespace access_tests {
namespace {

constexpr std::size_t kFirstRoleWord = 4;

std::string joined(const std::vector<gid_t>& groups) {
  std::string text = "-";
  for (const gid_t group : groups) {
    text += std::to_string(group) + "-";
  }
  return text;
}

std::vector<gid_t> groupsOf(const std::string& text) {
  std::vector<gid_t> groups;
  for (std::size_t at = 1; at < text.size(); at = text.find('-', at) + 1) {
    groups.push_back(static_cast<gid_t>(std::stoul(text.substr(at))));
  }
  return groups;
}

// 0 or the error number.
int become(uid_t uid, gid_t gid, const std::vector<gid_t>& groups) {
  const pid_t parent = getppid();
  if (setgroups(groups.size(), groups.data()) != 0 || setresgid(gid, gid, gid) != 0 || setresuid(uid, uid, uid) != 0) {
    return errno;
  }
  // Both are taken away with the rights: the death with the parent, and what makes this a process like any other.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  prctl(PR_SET_DUMPABLE, 1);
  if (getppid() != parent) {
    _exit(1);
  }
  return 0;
}

// "as_user UID GID GROUPS UMASK ROLE ARGUMENT...". Ends with code 9 where it cannot become the user.
TEST_ROLE(as_user) {
  const auto number = [&args](std::size_t index, int base) { return std::stoul(args.at(index), nullptr, base); };
  const int error = become(static_cast<uid_t>(number(0, 10)), static_cast<gid_t>(number(1, 10)), groupsOf(args.at(2)));
  if (error != 0) {
    test_support::say(strerror(error));
    return 9;
  }
  umask(static_cast<mode_t>(number(3, 8)));
  const auto first = args.begin() + kFirstRoleWord;
  return test_support::runRole(*first, {first + 1, args.end()});
}

TEST_ROLE(tell_user) {
  test_support::say("user " + std::to_string(geteuid()) + " group " + std::to_string(getegid()));
  return 0;
}

}  // namespace

std::vector<std::string> as(const User& user, mode_t mask, const std::string& role,
                            const std::vector<std::string>& args) {
  char octal[16];
  snprintf(octal, sizeof octal, "%o", static_cast<unsigned int>(mask));
  std::vector<std::string> all = {std::to_string(user.uid), std::to_string(user.gid), joined(user.groups), octal, role};
  all.insert(all.end(), args.begin(), args.end());
  return all;
}

Switching trySwitching() {
  for (const User& user : {kOwner, kMember, kGuest, kStranger}) {
    test_support::Child probe("as_user", as(user, 0022, "tell_user"));
    const std::string said = probe.nextLine().value_or("nothing");
    if (said != "user " + std::to_string(user.uid) + " group " + std::to_string(user.gid)) {
      // Without the right to it, and to a user that is not mapped into this namespace.
      return {said == strerror(EPERM) || said == strerror(EINVAL), std::string(user.name) + ": " + said};
    }
  }
  return {};
}

}  // namespace access_tests
