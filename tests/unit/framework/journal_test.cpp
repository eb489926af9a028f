// The log's way into the journal, with a socket of the test's own in the journal's place.
#include <errno.h>
#include <gmock/gmock.h>
#include <string.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "VQFramework/Debug/VQDbgOutput.h"
#include "tests/support/child.h"
#include "tests/support/roles.h"

namespace {

using test_support::Child;
using testing::HasSubstr;

constexpr const char* kFolder = "/run/systemd/journal";
constexpr const char* kSocket = "/run/systemd/journal/socket";
constexpr const char* kLine = "[f:0 o 1] line\n";

class Journal {
 public:
  Journal() : fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    std::filesystem::create_directories(kFolder);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, kSocket, sizeof address.sun_path - 1);
    EXPECT_EQ(bind(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0) << strerror(errno);
    const timeval deadline = {static_cast<time_t>(test_support::kDeadline), 0};
    setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &deadline, sizeof deadline);
  }
  ~Journal() {
    close(fd_);
    unlink(kSocket);
  }
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  // Empty where none came.
  std::string nextEntry() const {
    char buffer[4096];
    const ssize_t count = recv(fd_, buffer, sizeof buffer, 0);
    return count <= 0 ? "" : std::string(buffer, static_cast<std::size_t>(count));
  }

 private:
  const int fd_;
};

// Logs a line for each line it hears.
TEST_ROLE(logs_what_it_hears) {
  while (const auto text = test_support::hear()) {
    VQDbgOutput::DbgPrint("f", "o", 0, 1, "%s\n", text->c_str());
    test_support::say("logged");
  }
  return 0;
}

class JournalTest : public testing::Test {
 public:
  ~JournalTest() override {
    unsetenv("VQDBG");
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
  static void log(Child& process, const std::string& text) {
    process.tell(text);
    EXPECT_TRUE(process.expect("logged"));
  }

 private:
  bool isMounted_ = false;
};

TEST_F(JournalTest, ALineIsOneEntry) {
  const Journal journal;
  setenv("VQDBG", "journal", 1);
  Child process("logs_what_it_hears");
  log(process, "line");
  EXPECT_THAT(journal.nextEntry(), HasSubstr("\nMESSAGE=[f:0 o 1] line\n"));
  EXPECT_EQ(process.log(), "");
}

TEST_F(JournalTest, ATextCannotAddFieldsOfItsOwn) {
  const Journal journal;
  setenv("VQDBG", "journal", 1);
  Child process("logs_what_it_hears");
  log(process, "line\rPRIORITY=0");
  EXPECT_THAT(journal.nextEntry(), HasSubstr("\nMESSAGE=[f:0 o 1] line\\x0dPRIORITY=0\n"));
}

TEST_F(JournalTest, WithoutAJournalLinesGoToStandardError) {
  setenv("VQDBG", "journal", 1);
  Child process("logs_what_it_hears");
  log(process, "line");
  EXPECT_EQ(process.log(), std::string("VQDBG=journal cannot be had; the log goes to standard error\n") + kLine);
}

TEST_F(JournalTest, WhileTheJournalIsAwayLinesGoToStandardError) {
  setenv("VQDBG", "journal", 1);
  Child process("logs_what_it_hears");
  {
    const Journal journal;
    log(process, "first");
  }
  log(process, "line");
  EXPECT_EQ(process.log(), kLine);
}

TEST_F(JournalTest, AJournalThatComesBackGetsTheNextLine) {
  setenv("VQDBG", "journal", 1);
  Child process("logs_what_it_hears");
  {
    const Journal journal;
    log(process, "first");
  }
  const Journal journal;
  log(process, "line");
  EXPECT_THAT(journal.nextEntry(), HasSubstr("\nMESSAGE=[f:0 o 1] line\n"));
}

}  // namespace
