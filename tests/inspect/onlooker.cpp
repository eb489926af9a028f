#include "tests/inspect/onlooker.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "inspect/processes.h"
#include "tests/support/wait_until.h"

Onlooker::Onlooker(const OnlookerKind& kind) : file_(memfd_create("onlooker", 0)) {
  std::vector<std::string> arguments = {LINKAPP_TOOL};
  bool hasFile = false;
  for (const std::string& argument : kind.arguments) {
    hasFile = hasFile || argument == "FILE";
    arguments.push_back(argument == "FILE" ? "/proc/self/fd/" + std::to_string(file_) : argument);
  }
  std::vector<char*> words;
  words.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) {
    words.push_back(argument.data());
  }
  words.push_back(nullptr);
  pid_ = fork();
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    dup2(nothing, STDIN_FILENO);
    dup2(hasFile ? nothing : file_, STDOUT_FILENO);
    execv(words[0], words.data());
    _exit(127);
  }
}

Onlooker::~Onlooker() {
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  close(file_);
}

off_t Onlooker::written() const {
  struct stat status = {};
  return fstat(file_, &status) == 0 ? status.st_size : 0;
}

bool Onlooker::writesMore() const {
  const off_t before = written();
  return test_support::waitUntil([this, before] { return written() > before; });
}

void Onlooker::signal(int number) const {
  EXPECT_EQ(kill(pid_, number), 0);
}

bool Onlooker::suspend() const {
  signal(SIGSTOP);
  return test_support::waitUntil(
      [this] { return inspect::readProcess(inspect::kProc, static_cast<std::uint32_t>(pid_)).isStopped(); });
}

std::optional<int> Onlooker::awaitEnd() {
  int status = 0;
  if (!test_support::waitUntil([&] { return waitpid(pid_, &status, WNOHANG) == pid_; })) {
    return std::nullopt;
  }
  pid_ = -1;
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}
