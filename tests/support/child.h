// Child: this test executable once more, in a role (roles.h), as a process of its own.
//
//   Child sut("echo", {"argument"});
//   ASSERT_TRUE(sut.expect("ready"));
//   sut.tell("line");
//   EXPECT_EQ(sut.finish(), 0);          // closes its standard input and waits for its end
//
// The child shares the test's /dev/shm, dies with the test process, and is killed at the end of the scope. Where the
// test has failed, what the child said and logged is printed then.
// Threads: start children on the main thread, since a child dies with the thread that started it.
#pragma once

#include <sys/types.h>

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/wait_until.h"

namespace test_support {

class Child {
 public:
  explicit Child(const std::string& role, const std::vector<std::string>& args = {});
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  pid_t pid() const { return pid_; }

  // Sends one line.
  void tell(const std::string& line);

  // The next line that the child said; none at its end or after the deadline.
  std::optional<std::string> nextLine(double seconds = kDeadline);
  // Whether the child's next line is this one. A failure is reported with what came instead.
  [[nodiscard]] bool expect(const std::string& line, double seconds = kDeadline);
  // The same for the child's next answer.
  [[nodiscard]] bool expectAnswer(const std::string& line, double seconds = kDeadline);
  // Whether an answer has come that nobody has asked for yet.
  bool hasAnswered();
  // Sends one line and returns the answer, empty where none came. Lines that were said before it stay for nextLine.
  std::string ask(const std::string& line);

  // Everything on its standard error so far, the debug log included.
  std::string log() const;
  // How often `text` stands in the log now.
  unsigned int countInLog(const std::string& text) const;
  [[nodiscard]] bool waitForLog(const std::string& text, double seconds = kDeadline) const;

  // Whether its main thread sleeps now, and has read everything that it was told. After a line that makes it take a
  // lock: whether it waits there, or is done and has answered.
  bool isAsleep() const;

  void signal(int number) const;
  // Returns when the child is stopped, so that it does nothing any more.
  void stop() const;
  void proceed() const;
  // Ends it with SIGKILL and waits for its end.
  void kill();

  // Closes the child's standard input.
  void release();
  // Waits for its end: the exit code, 128 + signal, or none (reported) after the deadline.
  std::optional<int> wait(double seconds = kDeadline);
  // Both.
  std::optional<int> finish(double seconds = kDeadline);

 private:
  [[noreturn]] void becomeRole(const std::vector<std::string>& arguments, int input, int output, pid_t parent) const;
  bool isNext(std::deque<std::string>& lines, const char* verb, const std::string& line, double seconds);
  std::optional<std::string> next(std::deque<std::string>& lines, double seconds);
  bool readMore(double seconds);
  void sortLines();
  void reap(int options);

  const std::string name_;
  pid_t pid_ = -1;
  int input_ = -1;   // writes the child's standard input
  int output_ = -1;  // reads its standard output
  int log_ = -1;     // its standard error, a file in memory
  std::string unsorted_;
  std::deque<std::string> said_;
  std::deque<std::string> answers_;
  std::string transcript_;
  std::optional<int> end_;
};

}  // namespace test_support
