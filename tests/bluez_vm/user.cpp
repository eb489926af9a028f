#include "tests/bluez_vm/user.h"

#include <errno.h>
#include <grp.h>
#include <pwd.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

void becomeUser(const std::string& name) {
  if (name.empty()) {
    return;
  }
  const passwd* const user = getpwnam(name.c_str());
  const std::string folder = "/run/settings-of-" + name;
  const bool isDone =
      user != nullptr && (mkdir(folder.c_str(), 0700) == 0 || errno == EEXIST) &&
      chown(folder.c_str(), user->pw_uid, user->pw_gid) == 0 && setenv("VQ_SETTINGS_DIR", folder.c_str(), 1) == 0 &&
      initgroups(user->pw_name, user->pw_gid) == 0 && setgid(user->pw_gid) == 0 && setuid(user->pw_uid) == 0;
  if (!isDone) {
    fprintf(stderr, "cannot become %s: %s\n", name.c_str(), strerror(errno));
    _exit(1);
  }
}
