#include "tests/support/private_shm.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <pwd.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <string.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

namespace test_support {
namespace {

constexpr const char* kShmFolder = "/dev/shm";
constexpr const char* kInsideMark = "LINKAPP_TEST_INSIDE_NAMESPACE";

bool mountOwnShm() {
  // Nobody reads name and type here; without them memory checkers complain.
  return mount("none", "/", "none", MS_REC | MS_PRIVATE, nullptr) == 0 &&
         mount("tmpfs", kShmFolder, "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777") == 0;
}

bool writeFile(const char* path, const std::string& text) {
  const int fd = open(path, O_WRONLY | O_CLOEXEC);
  if (fd == -1) {
    return false;
  }
  const bool isWritten = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  close(fd);
  return isWritten;
}

bool becomeRootOfUserNamespace(uid_t uid, gid_t gid) {
  return writeFile("/proc/self/setgroups", "deny") &&
         writeFile("/proc/self/uid_map", "0 " + std::to_string(uid) + " 1") &&
         writeFile("/proc/self/gid_map", "0 " + std::to_string(gid) + " 1");
}

// Users besides root that tests become: five numbers from here on, and the one that is nobody.
constexpr unsigned long kFirstUser = 61001;
constexpr unsigned long kUserCount = 5;
constexpr unsigned long kNobody = 65534;

// The first of the numbers that the file gives to this user, 0 where there are not enough.
unsigned long firstSubordinate(const char* path, uid_t uid) {
  const passwd* const entry = getpwuid(uid);
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    std::replace(line.begin(), line.end(), ':', ' ');
    char who[64] = {};
    unsigned long first = 0;
    unsigned long count = 0;
    const bool isRange = sscanf(line.c_str(), "%63s %lu %lu", who, &first, &count) == 3 && count > kUserCount;
    if (isRange && (std::to_string(uid) == who || (entry != nullptr && strcmp(entry->pw_name, who) == 0))) {
      return first;
    }
  }
  return 0;
}

bool runMapper(const char* program, pid_t child, unsigned long own, unsigned long first) {
  std::vector<std::string> words = {program, std::to_string(child)};
  for (const unsigned long number : {0UL, own, 1UL, kFirstUser, first, kUserCount, kNobody, first + kUserCount, 1UL}) {
    words.push_back(std::to_string(number));
  }
  std::vector<char*> arguments(words.size() + 1, nullptr);
  std::transform(words.begin(), words.end(), arguments.begin(), [](std::string& word) { return word.data(); });
  pid_t mapper = -1;
  int status = 1;
  return posix_spawnp(&mapper, program, nullptr, nullptr, arguments.data(), environ) == 0 &&
         waitpid(mapper, &status, 0) == mapper && status == 0;
}

// Whether the child's namespace has these users now. It takes numbers that the machine gives to this user for that; one
// without them gets root alone, and tests of other users cannot run.
bool mapUsers(pid_t child, uid_t uid, gid_t gid) {
  const unsigned long firstUser = firstSubordinate("/etc/subuid", uid);
  const unsigned long firstGroup = firstSubordinate("/etc/subgid", uid);
  return firstUser != 0 && firstGroup != 0 && runMapper("newuidmap", child, uid, firstUser) &&
         runMapper("newgidmap", child, gid, firstGroup);
}

// The child of a bare clone: one thread, and a parent that passes its end on. It begins when the parent has mapped its
// users ('y') or cannot ('n').
[[noreturn]] void startAnewInside(char** argv, uid_t uid, gid_t gid, int mapped, int report) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  char mapping = 'n';
  const bool isAsked = read(mapped, &mapping, 1) == 1;
  const bool isInside = isAsked && (mapping == 'y' || becomeRootOfUserNamespace(uid, gid)) && mountOwnShm();
  const char answer = isInside ? 'y' : 'n';
  if (write(report, &answer, 1) != 1 || !isInside) {
    _exit(1);
  }
  setenv(kInsideMark, "1", 1);
  execv(pathOfThisProgram().c_str(), argv);
  _exit(127);
}

[[noreturn]] void passOnEndOf(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) == -1 && errno == EINTR) {
  }
  if (WIFSIGNALED(status)) {
    signal(WTERMSIG(status), SIG_DFL);
    raise(WTERMSIG(status));
  }
  _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 1);
}

// Returns only where it cannot be done.
void startAnewInNamespaces(char** argv) {
  const uid_t uid = geteuid();
  const gid_t gid = getegid();
  int report[2];
  int mapped[2];
  if (pipe2(report, O_CLOEXEC) != 0 || pipe2(mapped, O_CLOEXEC) != 0) {
    return;
  }
  // Not fork: sanitizers hook it and start threads of their own in the child.
  const long child = syscall(SYS_clone, CLONE_NEWUSER | CLONE_NEWNS | SIGCHLD, nullptr, nullptr, nullptr, nullptr);
  if (child == 0) {
    startAnewInside(argv, uid, gid, mapped[0], report[1]);
  }
  close(report[1]);
  close(mapped[0]);
  const char mapping = child != -1 && mapUsers(static_cast<pid_t>(child), uid, gid) ? 'y' : 'n';
  char answer = 'n';
  const bool isInside =
      child != -1 && write(mapped[1], &mapping, 1) == 1 && read(report[0], &answer, 1) == 1 && answer == 'y';
  close(mapped[1]);
  close(report[0]);
  if (isInside) {
    passOnEndOf(static_cast<pid_t>(child));
  }
  if (child != -1) {
    waitpid(static_cast<pid_t>(child), nullptr, 0);
  }
}

std::set<std::string> ownObjects() {
  std::set<std::string> names;
  DIR* const folder = opendir(kShmFolder);
  if (folder == nullptr) {
    return names;
  }
  while (const dirent* const entry = readdir(folder)) {
    struct stat status = {};
    if (fstatat(dirfd(folder), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(status.st_mode) &&
        status.st_uid == geteuid()) {
      names.insert(entry->d_name);
    }
  }
  closedir(folder);
  return names;
}

std::set<std::string>& objectsBefore() {
  static std::set<std::string>* const names = new std::set<std::string>(ownObjects());
  return *names;
}

void removeNewObjects() {
  for (const std::string& name : ownObjects()) {
    if (objectsBefore().count(name) == 0) {
      unlink((std::string(kShmFolder) + "/" + name).c_str());
    }
  }
}

void runAlone(const char* reason) {
  fprintf(stderr, "no /dev/shm of its own for this test (%s): tests run one at a time\n", reason);
  const char* const folder = getenv("TMPDIR");
  const std::string path = std::string(folder != nullptr ? folder : "/tmp") + "/linkapp-tests.lock";
  const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);  // held until the process ends
  if (fd == -1 || flock(fd, LOCK_EX) != 0) {
    fprintf(stderr, "%s: %s\n", path.c_str(), strerror(errno));
    exit(1);
  }
  objectsBefore();
  atexit(&removeNewObjects);
}

}  // namespace

// The program lies on a mount of the namespace that it was started in; in a changed root only that one knows its path.
std::string pathOfThisProgram() {
  static const std::string path = std::filesystem::read_symlink("/proc/self/exe").string();
  return path;
}

void enterPrivateShm(char** argv) {
  pathOfThisProgram();
  if (getenv(kInsideMark) != nullptr) {
    unsetenv(kInsideMark);
    return;
  }
  if (unshare(CLONE_NEWNS) == 0) {
    if (mountOwnShm()) {
      return;
    }
  } else {
    startAnewInNamespaces(argv);
  }
  runAlone(strerror(errno));
}

}  // namespace test_support
