#include "benchmarks/support/stage.h"

#include <errno.h>
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <exception>
#include <fstream>
#include <stdexcept>

#include "benchmarks/support/placement.h"

namespace bench {
namespace {

constexpr const char* kDaemonLog = "/tmp/daemons.log";

std::vector<pid_t>& daemons() {
  static std::vector<pid_t> pids;
  return pids;
}

void enterPrivateWorld() {
  if (unshare(CLONE_NEWNS | CLONE_NEWIPC) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      mount("tmpfs", "/dev/shm", "tmpfs", 0, "mode=1777") != 0 ||
      mount("tmpfs", "/tmp", "tmpfs", 0, "mode=1777") != 0) {
    throw std::runtime_error(std::string("measuring needs mount and IPC namespaces of its own: ") + strerror(errno));
  }
}

pid_t forkWith(const std::string& name, const std::function<void()>& main) {
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child == -1) {
    throw std::runtime_error("cannot start a process: " + std::string(strerror(errno)));
  }
  if (child != 0) {
    return child;
  }
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) {  // it may have died before it could be watched
    _exit(1);
  }
  try {
    main();
  } catch (const std::exception& error) {
    fprintf(stderr, "%s: %s\n", name.c_str(), error.what());
    _exit(1);
  }
  _exit(0);  // not exit: the parent's objects are not ours to destroy
}

bool hasEndedWell(int status) {
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// Ends with the last of the roles that end by themselves, or with the first one that fails.
void waitForRoles(const std::vector<Role>& roles, const std::vector<pid_t>& pids) {
  std::size_t running = 0;
  for (const Role& role : roles) {
    running += role.isBackground ? 0 : 1;
  }
  while (running != 0) {
    int status = 0;
    const pid_t ended = wait(&status);
    if (ended == -1) {
      throw std::runtime_error("lost its children");
    }
    for (std::size_t i = 0; i < roles.size(); ++i) {
      if (pids[i] != ended) {
        continue;
      }
      if (!hasEndedWell(status) || roles[i].isBackground) {
        throw std::runtime_error(roles[i].name + " failed");
      }
      --running;
    }
  }
}

// Daemons talk about much that matters only where something went wrong.
void printDaemonLog() {
  std::ifstream file(kDaemonLog);
  for (std::string line; std::getline(file, line);) {
    fprintf(stderr, "daemon: %s\n", line.c_str());
  }
}

void playRoles(const std::function<void()>& prepare, const std::vector<Role>& roles, unsigned int seconds) {
  enterPrivateWorld();
  alarm(seconds);  // ends the stage, and the stage's end ends all that is on it
  prepare();
  std::vector<pid_t> pids;
  pids.reserve(roles.size());
  for (const Role& role : roles) {
    pids.push_back(forkWith(role.name, [&role] {
      alarm(0);
      pinTo(role.processor);
      role.main();
    }));
  }
  try {
    waitForRoles(roles, pids);
  } catch (const std::exception&) {
    printDaemonLog();
    throw;
  }
}

// What is left on the stage dies with it; a subreaper sees the end of it, so that nothing of it disturbs what is next.
void waitUntilEmpty() {
  while (waitpid(-1, nullptr, 0) != -1 || errno == EINTR) {
  }
}

}  // namespace

void runOnStage(const std::function<void()>& prepare, const std::vector<Role>& roles, unsigned int seconds) {
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  fflush(nullptr);
  const pid_t stage = forkWith("stage", [&] { playRoles(prepare, roles, seconds); });
  int status = 0;
  while (waitpid(stage, &status, 0) == -1 && errno == EINTR) {
  }
  waitUntilEmpty();
  if (WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM) {
    throw std::runtime_error("not done after " + std::to_string(seconds) + " seconds");
  }
  if (!hasEndedWell(status)) {
    throw std::runtime_error("a process failed");
  }
}

pid_t startDaemon(int processor, const std::vector<std::string>& command) {
  const pid_t pid = forkWith(command.at(0), [&] {
    std::vector<char*> argv;
    argv.reserve(command.size() + 1);
    for (const std::string& word : command) {
      argv.push_back(const_cast<char*>(word.c_str()));  // execvp leaves them as they are
    }
    argv.push_back(nullptr);
    alarm(0);
    pinTo(processor);
    const int log = open(kDaemonLog, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    dup2(log, STDOUT_FILENO);
    dup2(log, STDERR_FILENO);
    execvp(argv[0], argv.data());
    throw std::runtime_error(strerror(errno));
  });
  daemons().push_back(pid);
  return pid;
}

const std::vector<pid_t>& daemonsOnStage() {
  return daemons();
}

void writeFile(const std::string& path, const std::string& text) {
  std::ofstream file(path);
  file << text;
  if (!file.flush()) {
    throw std::runtime_error("cannot write " + path);
  }
}

}  // namespace bench
