// The debug log: each place that a line can go to.
#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <optional>

#include "VQFramework/Debug/VQDbgOutput.h"
#include "VQFramework/SharedMemory/VQSharedSyncObject.h"
#include "VQFramework/Sync/VQSyncGuard.h"
#include "tests/faults/matrix.h"
#include "tests/support/child.h"
#include "tests/support/roles.h"

namespace {

using faults::Expectation;
using faults::Operation;
using faults::Watch;

constexpr const char* kLine = "[f:0 o 1] line";

// Standard error is a file of the case's own.
class LoggedLine : public Operation {
 public:
  explicit LoggedLine(std::string choice) : choice_(std::move(choice)) {}

  void prepare() override {
    setenv("VQDBG", choice_.c_str(), 1);
    standardError_ = dup(STDERR_FILENO);
    caught_ = memfd_create("stderr", MFD_CLOEXEC);
    dup2(caught_, STDERR_FILENO);
    fcntl(STDERR_FILENO, F_SETFL, O_APPEND);
  }

  std::string attempt() override {
    EXPECT_EQ(ftruncate(caught_, 0), 0);
    errno = ENOSPC;
    {
      const Watch watch;
      VQDbgOutput::DbgPrint("f", "o", 0, 1, "line\n");
    }
    const std::string note = errno == ENOSPC ? "" : ", errno changed";
    const std::string place = placeOfLine();
    const std::string text = contentOf(caught_);
    const bool isOnError = text.find(kLine) != std::string::npos;
    const std::string told = text.find("cannot be had; the log goes to standard error") != std::string::npos
                                 ? ", told on standard error"
                                 : "";
    return (isOnError ? "on standard error" : place) + told + note;
  }

  void finish() override {
    dup2(standardError_, STDERR_FILENO);
    close(standardError_);
    close(caught_);
  }

 protected:
  virtual std::string placeOfLine() { return "lost"; }

  static std::string contentOf(int fd) {
    char buffer[4096];
    const ssize_t count = pread(fd, buffer, sizeof buffer, 0);
    return std::string(buffer, static_cast<std::size_t>(count < 0 ? 0 : count));
  }

 private:
  const std::string choice_;
  int standardError_ = -1;
  int caught_ = -1;
};

// `works`: where the line goes as a rule.
std::vector<Expectation> whileWriting(const std::string& works) {
  return {{"write", "", {EINTR}, works}, {"write", "", {}, "lost"}, {"new", "", {}, "lost"}};
}

TEST(Faults, OfALineForStandardError) {
  const std::string works = "on standard error";
  faults::Matrix matrix = {"log line, VQDBG=stderr", works, [] { return std::make_unique<LoggedLine>("stderr"); },
                           whileWriting(works)};
  matrix.keepsLog = false;
  faults::run(matrix);
}

class LineUnderANamedLock : public LoggedLine {
 public:
  LineUnderANamedLock() : LoggedLine("stderr") {}

  void prepare() override {
    LoggedLine::prepare();
    lock_.emplace("faults");
  }
  std::string attempt() override {
    const VQSyncGuard guard(*lock_);
    return LoggedLine::attempt();
  }
  void finish() override {
    lock_.reset();
    LoggedLine::finish();
  }

 private:
  std::optional<VQSharedSyncObject> lock_;
};

TEST(Faults, OfALineUnderANamedLock) {
  const std::string works = "on standard error";
  std::vector<Expectation> expectations = {{"poll", "", {EINTR}, works}, {"poll", "", {}, "lost"}};
  for (const Expectation& expectation : whileWriting(works)) {
    expectations.push_back(expectation);
  }
  faults::Matrix matrix = {"log line, a named lock held", works, [] { return std::make_unique<LineUnderANamedLock>(); },
                           expectations};
  matrix.keepsLog = false;
  faults::run(matrix);
}

TEST(Faults, OfALineForAnUnknownPlace) {
  const std::string works = "on standard error, told on standard error";
  const std::string again = "on standard error";
  faults::Matrix matrix = {"log line, VQDBG names no place",
                           works,
                           [] { return std::make_unique<LoggedLine>("nonsense"); },
                           {{"dprintf", "", {}, "on standard error"},
                            {"write", "", {EINTR}, works},
                            {"write", "", {}, "lost, told on standard error"},
                            // Without memory for the choice there is none yet: the next line makes it.
                            {"new", "", {}, "lost", {}, works, faults::Way::kAlways}}};
  matrix.worksAgain = again;
  matrix.leftOut = {"new"};
  matrix.keepsLog = false;
  faults::run(matrix);
}

class LineForAFile : public LoggedLine {
 public:
  LineForAFile() : LoggedLine(std::string("file:") + kPath) {}

 protected:
  std::string placeOfLine() override {
    const int fd = open(kPath, O_RDWR | O_CLOEXEC);
    const std::string text = fd == -1 ? "" : contentOf(fd);
    EXPECT_TRUE(fd == -1 || ftruncate(fd, 0) == 0);
    close(fd);
    return text.find(kLine) != std::string::npos ? "in the file" : "lost";
  }

 private:
  static constexpr const char* kPath = "/dev/shm/faults-log";
};

TEST(Faults, OfALineForAFile) {
  const std::string works = "in the file";
  std::vector<Expectation> expectations = {
      {"open", "", {EINTR}, works},
      {"open", "", {}, "on standard error, told on standard error", {}, "on standard error"}};
  for (const Expectation& expectation : whileWriting(works)) {
    expectations.push_back(expectation);
  }
  faults::Matrix matrix = {"log line, VQDBG=file:PATH", works, [] { return std::make_unique<LineForAFile>(); },
                           expectations};
  matrix.keepsLog = false;
  faults::run(matrix);
}

constexpr const char* kJournal = "/run/systemd/journal/socket";

class LineForTheJournal : public LoggedLine {
 public:
  LineForTheJournal() : LoggedLine("journal") {}

  void prepare() override {
    LoggedLine::prepare();
    std::filesystem::create_directories(std::filesystem::path(kJournal).parent_path());
    unlink(kJournal);
    journal_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, kJournal, sizeof address.sun_path - 1);
    EXPECT_EQ(bind(journal_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0) << strerror(errno);
  }
  void finish() override {
    close(journal_);
    LoggedLine::finish();
  }

 protected:
  std::string placeOfLine() override {
    char buffer[4096];
    const ssize_t count = recv(journal_, buffer, sizeof buffer, 0);
    const std::string text(buffer, static_cast<std::size_t>(count < 0 ? 0 : count));
    return text.find(kLine) != std::string::npos ? "in the journal" : "lost";
  }

 private:
  int journal_ = -1;
};

class JournalFaults : public testing::Test {
 public:
  ~JournalFaults() override {
    if (isMounted_) {
      umount("/run");
    }
  }

 protected:
  // An empty /run of the test's own.
  void SetUp() override {
    if (mount("tmpfs", "/run", "tmpfs", MS_NOSUID | MS_NODEV, "mode=755") != 0) {
      GTEST_SKIP() << "no /run of the test's own: " << strerror(errno);
    }
    isMounted_ = true;
  }

 private:
  bool isMounted_ = false;
};

TEST_F(JournalFaults, OfALineForTheJournal) {
  const std::string works = "in the journal";
  const std::string elsewhere = "on standard error, told on standard error";
  faults::Matrix matrix = {"log line, VQDBG=journal",
                           works,
                           [] { return std::make_unique<LineForTheJournal>(); },
                           {{"access", "", {}, elsewhere, {}, "on standard error"},
                            {"socket", "", {}, elsewhere, {}, "on standard error"},
                            {"sendto", "", {EINTR}, works},
                            {"sendto", "", {}, "on standard error"},
                            {"new", "", {}, "lost"}}};
  matrix.keepsLog = false;
  faults::run(matrix);
}

// A journal that is there and takes nothing.
TEST_ROLE(logs_to_a_frozen_journal) {
  LineForTheJournal operation;
  operation.prepare();
  for (int line = 0; line < 10000; ++line) {
    VQDbgOutput::DbgPrint("f", "o", 0, 1, "line\n");
  }
  operation.finish();
  test_support::say("logged");
  return 0;
}

TEST_F(JournalFaults, AJournalThatTakesNothingStopsNobody) {
  test_support::Child process("logs_to_a_frozen_journal");
  EXPECT_TRUE(process.expect("logged"));
  EXPECT_EQ(process.finish(), 0);
}

// Standard error is a pipe that nobody reads any more.
TEST_ROLE(logs_into_a_broken_pipe) {
  int ends[2] = {-1, -1};
  if (pipe(ends) != 0) {
    return 2;
  }
  dup2(ends[1], STDERR_FILENO);
  close(ends[0]);
  close(ends[1]);
  VQDbgOutput::DbgPrint("f", "o", 0, 1, "line\n");
  test_support::say("lives");
  sigset_t waiting;
  sigpending(&waiting);
  test_support::say(sigismember(&waiting, SIGPIPE) == 1 ? "signal waits" : "no signal waits");
  return 0;
}

TEST(DebugOutput, ABrokenPipeEndsNobody) {
  test_support::Child process("logs_into_a_broken_pipe");
  EXPECT_TRUE(process.expect("lives"));
  EXPECT_TRUE(process.expect("no signal waits"));
  EXPECT_EQ(process.finish(), 0);
}

}  // namespace
