#include "tests/storm/process.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace storm {

const char* nameOf(Kind kind) {
  switch (kind) {
    case Kind::kApp:
      return "app";
    case Kind::kPhone:
      return "phone";
    case Kind::kWatcher:
      return "watcher";
    default:
      return "poster";
  }
}

Common::Common() : boardFd_(memfd_create("board", MFD_CLOEXEC)), logFd_(memfd_create("log", MFD_CLOEXEC)) {
  if (boardFd_ == -1 || ftruncate(boardFd_, sizeof(Board)) != 0 || logFd_ == -1 ||
      fcntl(logFd_, F_SETFL, O_APPEND) != 0) {
    throw std::runtime_error("no memory to share");
  }
  void* const pages = mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED, boardFd_, 0);
  if (pages == MAP_FAILED) {
    throw std::runtime_error("cannot map what is shared");
  }
  board_ = static_cast<Board*>(pages);
}

Common::~Common() {
  munmap(board_, sizeof(Board));
  close(boardFd_);
  close(logFd_);
}

std::string Common::takeLog() {
  std::string text;
  char buffer[4096];
  for (ssize_t count = 0; (count = pread(logFd_, buffer, sizeof buffer, static_cast<off_t>(text.size()))) > 0;) {
    text.append(buffer, static_cast<std::size_t>(count));
  }
  if (ftruncate(logFd_, 0) != 0) {
    throw std::runtime_error("cannot empty the log");
  }
  return text;
}

Process::Process(const Common& common, Kind kind, std::uint32_t number, std::uint32_t incarnation, std::uint32_t seed) {
  life_.name = std::string(nameOf(kind)) + " " + std::to_string(number) + "." + std::to_string(incarnation);
  life_.kind = kind;
  life_.number = number;
  life_.startTime = nanoseconds();
  const std::vector<std::string> arguments = {"/proc/self/exe", std::string("--role=storm_") + nameOf(kind),
                                              std::to_string(number), std::to_string(incarnation),
                                              std::to_string(seed)};
  const pid_t parent = getpid();
  life_.pid = fork();
  if (life_.pid == 0) {
    becomeRole(common, arguments, parent);
  }
  if (life_.pid == -1) {
    throw std::runtime_error(std::string("no process: ") + strerror(errno));
  }
}

void Process::becomeRole(const Common& common, const std::vector<std::string>& arguments, pid_t parent) const {
  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  for (const std::string& argument : arguments) {
    argv.push_back(const_cast<char*>(argument.c_str()));  // execv leaves them as they are
  }
  argv.push_back(nullptr);
  // By way of high numbers: one of these may have the number that the other one is to have.
  const int board = fcntl(common.boardDescriptor(), F_DUPFD_CLOEXEC, 100);
  const int journal = fcntl(journal_.descriptor(), F_DUPFD_CLOEXEC, 100);
  const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
  dup2(nothing, STDIN_FILENO);
  dup2(nothing, STDOUT_FILENO);
  dup2(common.logDescriptor(), STDERR_FILENO);
  dup2(board, kBoardDescriptor);
  dup2(journal, kJournalDescriptor);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() == parent) {  // it may have died before it could be watched
    execv(argv[0], argv.data());
  }
  _exit(127);
}

Process::~Process() {
  kill([] {});
}

std::vector<pid_t> Process::threads() const {
  std::vector<pid_t> threads;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/" + std::to_string(life_.pid) + "/task", error)) {
    threads.push_back(static_cast<pid_t>(std::atoi(entry.path().filename().c_str())));
  }
  return threads;
}

std::optional<std::string> Process::ownEnd() {
  int status = 0;
  if (isGone_ || waitpid(life_.pid, &status, WNOHANG) != life_.pid) {
    return std::nullopt;
  }
  isGone_ = true;
  life_.killTime = life_.deathTime = nanoseconds();
  return WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                             : "exit code " + std::to_string(WEXITSTATUS(status));
}

void Process::signal(int number) const {
  if (!isGone_) {
    ::kill(life_.pid, number);
  }
}

void Process::stop() const {
  signal(SIGSTOP);
  siginfo_t how = {};
  waitid(P_PID, static_cast<id_t>(life_.pid), &how, WSTOPPED | WEXITED | WNOWAIT);
}

void Process::kill(const std::function<void()>& look) {
  if (isGone_) {
    return;
  }
  life_.killTime = nanoseconds();
  ::kill(life_.pid, SIGKILL);
  while (waitpid(life_.pid, nullptr, WNOHANG) == 0) {
    look();
  }
  life_.deathTime = nanoseconds();
  isGone_ = true;
}

Life Process::takeLife() {
  life_.readyTime = journal_.readyTime();
  life_.readyHead = journal_.readyHead();
  life_.events = journal_.events();
  for (Event& event : life_.events) {
    if (event.exhibit != kNoExhibit) {
      const Exhibit& exhibit = journal_.exhibit(event.exhibit);
      life_.exhibits.emplace_back(exhibit.bytes, exhibit.bytes + kLargestMessage);
      event.exhibit = static_cast<std::int32_t>(life_.exhibits.size()) - 1;
    }
  }
  return std::move(life_);
}

}  // namespace storm
