// The log of the reference framework. It looks at VQDBG once, so each test logs in a process of its own.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "VQFramework/Debug/VQDbgOutput.h"
#include "tests/support/child.h"
#include "tests/support/roles.h"

namespace {

using test_support::Child;
using test_support::say;

constexpr const char* kFile = "LinkAppCommon/private/Some";
constexpr const char* kLine = "[LinkAppCommon/private/Some:79 work 1] text 5\n";

void logLine() {
  VQDbgOutput::DbgPrint(kFile, "work", 79, 1, "text %d\n", 5);
}

// What a process in this role logs to standard error where VQDBG has this value; null = unset.
std::string logOf(const std::string& role, const char* choice = nullptr, const std::string& argument = "") {
  if (choice != nullptr) {
    setenv("VQDBG", choice, 1);
  } else {
    unsetenv("VQDBG");
  }
  Child process(role, {argument});
  unsetenv("VQDBG");
  EXPECT_EQ(process.finish(), 0);
  return process.log();
}

std::string read(const std::string& path) {
  std::ifstream file(path);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

class DebugOutputTest : public testing::Test {
 public:
  DebugOutputTest() {
    std::string name = testing::TempDir() + "/log-XXXXXX";
    folder = mkdtemp(name.data()) == nullptr ? "" : name;
  }
  ~DebugOutputTest() override { std::filesystem::remove_all(folder); }

 protected:
  std::string folder;
};

TEST_ROLE(logs_one_line) {
  logLine();
  return 0;
}

TEST_F(DebugOutputTest, WritesToStandardErrorUnlessToldOtherwise) {
  EXPECT_EQ(logOf("logs_one_line"), kLine);
}

TEST_F(DebugOutputTest, AnEmptyChoiceIsNone) {
  EXPECT_EQ(logOf("logs_one_line", ""), kLine);
}

TEST_F(DebugOutputTest, WritesToStandardErrorWhenToldSo) {
  EXPECT_EQ(logOf("logs_one_line", "stderr"), kLine);
}

TEST_F(DebugOutputTest, WritesNothingWhenSwitchedOff) {
  EXPECT_EQ(logOf("logs_one_line", "off"), "");
}

TEST_F(DebugOutputTest, WritesToTheChosenFile) {
  const std::string path = folder + "/log";
  EXPECT_EQ(logOf("logs_one_line", ("file:" + path).c_str()), "");
  EXPECT_EQ(read(path), kLine);
}

TEST_F(DebugOutputTest, AppendsToTheChosenFile) {
  const std::string path = folder + "/log";
  std::ofstream(path) << "before\n";
  logOf("logs_one_line", ("file:" + path).c_str());
  EXPECT_EQ(read(path), std::string("before\n") + kLine);
}

TEST_F(DebugOutputTest, AFileThatCannotBeHadLeavesStandardErrorAndSaysSoOnce) {
  const std::string choice = "file:" + folder + "/missing/log";
  EXPECT_EQ(logOf("logs_one_line", choice.c_str()),
            "VQDBG=" + choice + " cannot be had; the log goes to standard error\n" + kLine);
}

TEST_F(DebugOutputTest, AnUnknownChoiceLeavesStandardErrorAndSaysSoOnce) {
  EXPECT_EQ(logOf("logs_one_line", "nonsense"),
            std::string("VQDBG=nonsense cannot be had; the log goes to standard error\n") + kLine);
}

TEST_ROLE(logs_chosen_after_the_first_line) {
  logLine();
  setenv("VQDBG", "off", 1);
  logLine();
  return 0;
}

TEST_F(DebugOutputTest, TheChoiceIsReadAtTheFirstLineOnly) {
  EXPECT_EQ(logOf("logs_chosen_after_the_first_line"), std::string(kLine) + kLine);
}

TEST_ROLE(logs_failed_call) {
  VQDbgOutput::DbgPrintStdErr(kFile, "work", 122, "shm_open error\n");
  return 0;
}

TEST_F(DebugOutputTest, FailedSystemCallsHaveNoTag) {
  EXPECT_EQ(logOf("logs_failed_call"), "[LinkAppCommon/private/Some:122 work] shm_open error\n");
}

TEST_ROLE(logs_line_breaks) {
  for (const char* text : {"none", "one\n", "two\n\n", "foreign\r\n", "", "\n", "in\nner\n", "\a\t\x7F\x1B\xC3\xA4"}) {
    VQDbgOutput::DbgPrint("f", "o", 0, 1, "%s", text);
  }
  return 0;
}

TEST_F(DebugOutputTest, EachCallGivesExactlyOneLineOfVisibleCharacters) {
  EXPECT_EQ(logOf("logs_line_breaks"),
            "[f:0 o 1] none\n[f:0 o 1] one\n[f:0 o 1] two\n[f:0 o 1] foreign\n[f:0 o 1] \n[f:0 o 1] \n"
            "[f:0 o 1] in\\x0aner\n[f:0 o 1] \\x07\\x09\\x7f\\x1b\xC3\xA4\n");
}

TEST_ROLE(logs_long_line) {
  VQDbgOutput::DbgPrint("f", "o", 0, 1, "%s\n", std::string(100000, 'x').c_str());
  return 0;
}

TEST_F(DebugOutputTest, ALongLineIsNotCut) {
  EXPECT_EQ(logOf("logs_long_line"), "[f:0 o 1] " + std::string(100000, 'x') + "\n");
}

TEST_ROLE(logs_with_error_number) {
  close(STDERR_FILENO);  // the write fails too
  errno = ENOSPC;
  logLine();
  return errno == ENOSPC ? 0 : 1;
}

TEST_F(DebugOutputTest, LeavesTheErrorNumberAloneWhateverHappensToTheLine) {
  EXPECT_EQ(logOf("logs_with_error_number"), "");
}

void logDuringExit() {
  logLine();
}

struct LogsWhenDestroyed {
  ~LogsWhenDestroyed() {
    if (isOn) {
      logLine();
    }
  }
  bool isOn = false;
};

LogsWhenDestroyed lateDestructor;

TEST_ROLE(logs_during_exit) {
  lateDestructor.isOn = true;
  atexit(&logDuringExit);
  logLine();
  return 0;
}

TEST_F(DebugOutputTest, WorksUntilTheLastDestructorHasRun) {
  EXPECT_EQ(logOf("logs_during_exit"), std::string(kLine) + kLine + kLine);
}

// The sink.

struct Records {
  std::vector<std::string> lines;
};

void keep(const VQDbgRecord& record, void* context) {
  std::ostringstream line;
  line << record.file << '|' << record.function << '|' << record.line << '|' << record.tag << '|' << record.isStdErr
       << '|' << record.text;
  static_cast<Records*>(context)->lines.push_back(line.str());
}

TEST_F(DebugOutputTest, TheSinkGetsAllFieldsAndTheTextAsItStands) {
  Records records;
  VQDbgOutput::SetSink(&keep, &records);
  VQDbgOutput::DbgPrint("f", "o", 79, 12, "a %s\r\n", "b");
  VQDbgOutput::DbgPrintStdErr("g", "p", 122, "c\n");
  VQDbgOutput::SetSink(nullptr, nullptr);
  EXPECT_THAT(records.lines, testing::ElementsAre("f|o|79|12|0|a b\r\n", "g|p|122|0|1|c\n"));
}

TEST_ROLE(logs_to_a_sink_and_back) {
  Records records;
  VQDbgOutput::SetSink(&keep, &records);
  VQDbgOutput::DbgPrint("f", "o", 0, 1, "for the sink\n");
  VQDbgOutput::SetSink(nullptr, nullptr);
  logLine();
  return records.lines.size() == 1 ? 0 : 1;
}

TEST_F(DebugOutputTest, TheSinkReplacesThePlaceUntilItIsTakenBack) {
  EXPECT_EQ(logOf("logs_to_a_sink_and_back"), kLine);
}

TEST_F(DebugOutputTest, TheSinkGetsLinesEvenWhenTheLogIsSwitchedOff) {
  EXPECT_EQ(logOf("logs_to_a_sink_and_back", "off"), "");
}

TEST_F(DebugOutputTest, CallsOfTheSinkNeverOverlap) {
  constexpr int kThreads = 8;
  constexpr int kLines = 500;
  Records records;  // no lock of its own: a sanitizer sees an overlap, and lines get lost
  VQDbgOutput::SetSink(&keep, &records);
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([] {
      for (int line = 0; line < kLines; ++line) {
        logLine();
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  VQDbgOutput::SetSink(nullptr, nullptr);
  EXPECT_EQ(records.lines.size(), static_cast<std::size_t>(kThreads) * kLines);
}

// Many writers.

constexpr int kThreads = 8;
constexpr int kLines = 1000;

const std::string& filling() {
  static const std::string text(64, 'x');
  return text;
}

void logFromManyThreads(const std::string& who) {
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&who, thread] {
      for (int line = 0; line < kLines; ++line) {
        VQDbgOutput::DbgPrint("f", who.c_str(), line, 1, "thread %d %s\n", thread, filling().c_str());
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

TEST_ROLE(logs_from_many_threads) {
  // A file in memory keeps the places of concurrent writers apart only where each appends; other files always do.
  fcntl(STDERR_FILENO, F_SETFL, O_APPEND);
  logFromManyThreads(args[0]);
  return 0;
}

// Takes each line of the text out of those that these processes log: none may be left over, none may be another.
void expectEveryLineOnce(const std::string& text, const std::vector<std::string>& processes) {
  std::set<std::string> missing;
  for (const std::string& who : processes) {
    for (int i = 0; i < kThreads * kLines; ++i) {
      missing.insert("[f:" + std::to_string(i / kThreads) + " " + who + " 1] thread " + std::to_string(i % kThreads) +
                     " " + filling());
    }
  }
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    ASSERT_EQ(missing.erase(line), 1U) << "torn or twice: " << line;
  }
  EXPECT_TRUE(missing.empty()) << missing.size() << " lines are missing";
}

TEST_F(DebugOutputTest, LinesOfManyThreadsStayWhole) {
  expectEveryLineOnce(logOf("logs_from_many_threads", nullptr, "a"), {"a"});
}

TEST_F(DebugOutputTest, LinesOfTwoProcessesInOneFileStayWhole) {
  const std::string path = folder + "/log";
  setenv("VQDBG", ("file:" + path).c_str(), 1);
  Child first("logs_from_many_threads", {"a"});
  Child second("logs_from_many_threads", {"b"});
  unsetenv("VQDBG");
  EXPECT_EQ(first.finish(), 0);
  EXPECT_EQ(second.finish(), 0);
  expectEveryLineOnce(read(path), {"a", "b"});
}

// A child forked while another thread is inside the sink.

struct BusySink {
  std::promise<void> isInside;
  std::promise<void> mayLeave;
  pid_t parent;
};

void beBusy(const VQDbgRecord& record, void* context) {
  BusySink* const busy = static_cast<BusySink*>(context);
  if (getpid() != busy->parent) {
    say(std::string("child logs ") + record.text);
    return;
  }
  busy->isInside.set_value();
  busy->mayLeave.get_future().wait();
}

TEST_ROLE(logs_in_a_forked_child) {
  BusySink busy{{}, {}, getpid()};
  VQDbgOutput::SetSink(&beBusy, &busy);
  std::thread logger([] { logLine(); });
  busy.isInside.get_future().wait();
  const pid_t child = fork();
  if (child == 0) {
    VQDbgOutput::DbgPrint("f", "o", 0, 1, "text");
    VQDbgOutput::SetSink(nullptr, nullptr);
    VQDbgOutput::DbgPrint("f", "o", 0, 1, "text");
    _exit(0);
  }
  int status = -1;
  waitpid(child, &status, 0);
  say("child has ended");
  busy.mayLeave.set_value();
  logger.join();
  return status;
}

TEST_F(DebugOutputTest, AForkedChildLogsAlthoughItsParentWasInTheMiddleOfALine) {
  Child process("logs_in_a_forked_child");
  EXPECT_TRUE(process.expect("child logs text"));
  EXPECT_TRUE(process.expect("child has ended"));
  EXPECT_EQ(process.finish(), 0);
  EXPECT_EQ(process.log(), "[f:0 o 1] text\n");
}

}  // namespace
