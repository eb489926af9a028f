#include "tests/faults/case_process.h"

#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <sstream>

#include "VQFramework/Debug/VQDbgOutput.h"
#include "VQFramework/Observer/VQSubject.h"
#include "tests/faults/clock.h"
#include "tests/support/shm_files.h"
#include "tests/support/wait_until.h"

extern "C" int __lsan_do_recoverable_leak_check() __attribute__((weak));  // NOLINT(bugprone-reserved-identifier)

namespace faults {
namespace {

// No memory of the operation's own kind: what is kept here must not count as held.
char keptLog[1U << 16U];
std::size_t keptBytes = 0;

// The folder of the settings is the test's own business: "FOLDER" in what is kept.
std::string withoutFolder(const char* line) {
  std::string text = line;
  const char* const folder = getenv("VQ_SETTINGS_DIR");
  const std::size_t place = folder == nullptr ? std::string::npos : text.find(folder);
  return place == std::string::npos ? text : text.replace(place, strlen(folder), "FOLDER");
}

void keep(const VQDbgRecord& record, void* /*context*/) {
  const LookAway away;
  const std::string text = withoutFolder(record.text);
  std::size_t length = text.size();
  while (length != 0 && (text[length - 1] == '\n' || text[length - 1] == '\r')) {
    --length;
  }
  const int written = snprintf(keptLog + keptBytes, sizeof keptLog - keptBytes, "%s:%d %.*s\n", record.function,
                               record.line, static_cast<int>(length), text.c_str());
  keptBytes = std::min(sizeof keptLog - 1, keptBytes + static_cast<std::size_t>(std::max(written, 0)));
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

std::string takeLog() {
  std::string text(keptLog, keptBytes);
  keptBytes = 0;
  return text;
}

void writeAll(int fd, const std::string& text) {
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t count = write(fd, text.data() + done, text.size() - done);
    if (count <= 0) {
      _exit(4);
    }
    done += static_cast<std::size_t>(count);
  }
}

// Lines of "KEY VALUE".
void tell(std::string& report, const char* key, const std::string& lines) {
  for (const std::string& line : linesOf(lines)) {
    report += std::string(key) + " " + line + "\n";
  }
}

std::string attemptOf(Operation& operation) {
  try {
    return operation.attempt();
  } catch (const std::bad_alloc&) {
    return "std::bad_alloc";
  }
}

void tellPlaces(std::string& report) {
  for (const Place& place : seen()) {
    report += "place " + std::to_string(place.who == Who::kDelivery ? 1 : 0) + " " + std::to_string(place.nth) + "\t" +
              place.call + "\t" + place.object + "\n";
  }
}

// Ends with 0; 4: nobody listens; 5: memory is lost; 6: another clock than the monotonic one was asked.
[[noreturn]] void live(const Matrix& matrix, const std::optional<Fault>& fault, int output) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (matrix.keepsLog) {
    VQDbgOutput::SetSink(&keep, nullptr);
  }
  std::string report;
  report.reserve(1U << 20U);
  // What the framework notes of a thread it keeps for good. Whether this thread would need it later is up to chance: it
  // does where a removal meets a call that is running.
  VQSubject().NotifyObserver(0, nullptr, 0, 0);
  const long before = liveAllocations();
  {
    const std::unique_ptr<Operation> operation = matrix.make();
    operation->prepare();
    takeLog();
    forgetSeen();
    if (fault) {
      plan(*fault);
    }
    tell(report, "outcome", attemptOf(*operation));
    clearPlan();
    tell(report, "fired", std::to_string(fired()));
    tell(report, "log", takeLog());
    if (!fault) {
      tellPlaces(report);
    }
    tell(report, "again", attemptOf(*operation));
    tell(report, "logAgain", takeLog());
    operation->finish();
  }
  // A thread that is done with its work goes a moment later.
  static_cast<void>(test_support::waitUntil([] { return held().threads == 1; }, test_support::kDeadline / 4));
  const Held now = held();
  tell(report, "held",
       std::to_string(now.descriptors) + " " + std::to_string(now.mappings) + " " + std::to_string(now.threads) + " " +
           std::to_string(now.allocations - before));
  writeAll(output, report);
  if (wasAnotherClockUsed()) {
    _exit(6);
  }
  if (__lsan_do_recoverable_leak_check != nullptr && __lsan_do_recoverable_leak_check() != 0) {
    _exit(5);
  }
  _exit(0);
}

void take(Report& report, const std::string& line) {
  const std::size_t space = line.find(' ');
  const std::string key = line.substr(0, space);
  const std::string value = space == std::string::npos ? "" : line.substr(space + 1);
  if (key == "outcome") {
    report.outcome = value;
  } else if (key == "log") {
    report.log.push_back(value);
  } else if (key == "again") {
    report.again = value;
  } else if (key == "logAgain") {
    report.logAgain.push_back(value);
  } else if (key == "fired") {
    report.fired = static_cast<unsigned int>(std::stoul(value));
  } else if (key == "held") {
    std::istringstream(value) >> report.held.descriptors >> report.held.mappings >> report.held.threads >>
        report.held.allocations;
  } else if (key == "place") {
    const std::size_t call = value.find('\t');
    const std::size_t object = value.find('\t', call + 1);
    report.places.push_back({value.substr(call + 1, object - call - 1), value.substr(object + 1),
                             value[0] == '1' ? Who::kDelivery : Who::kCaller,
                             static_cast<unsigned int>(std::stoul(value.substr(2)))});
  }
}

// Until the process has closed its end. False where it has not after the deadline.
bool readAll(int input, std::string& text) {
  const double end = test_support::monotonicSeconds() + test_support::kDeadline;
  for (;;) {
    pollfd waiting = {input, POLLIN, 0};
    const double left = end - test_support::monotonicSeconds();
    if (left <= 0 || poll(&waiting, 1, static_cast<int>(left * 1000) + 1) <= 0) {
      return false;
    }
    char buffer[4096];
    const ssize_t count = read(input, buffer, sizeof buffer);
    if (count <= 0) {
      return true;
    }
    text.append(buffer, static_cast<std::size_t>(count));
  }
}

std::string endOf(pid_t process, bool isDone) {
  if (!isDone) {
    kill(process, SIGKILL);
  }
  int status = 0;
  while (waitpid(process, &status, 0) == -1 && errno == EINTR) {
  }
  if (!isDone) {
    return "hangs";
  }
  if (WIFSIGNALED(status)) {
    return std::string("is ended by ") + strsignal(WTERMSIG(status));
  }
  return WEXITSTATUS(status) == 0 ? "" : "ends with " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

Report runCase(const Matrix& matrix, const std::optional<Fault>& fault) {
  test_support::clearShm();
  int ends[2] = {-1, -1};
  Report report;
  if (pipe(ends) != 0) {
    report.end = "has no pipe";
    return report;
  }
  fflush(stdout);
  const pid_t process = fork();
  if (process == 0) {
    close(ends[0]);
    live(matrix, fault, ends[1]);
  }
  close(ends[1]);
  std::string text;
  const bool isDone = process != -1 && readAll(ends[0], text);
  close(ends[0]);
  report.end = process == -1 ? "cannot be forked" : endOf(process, isDone);
  for (const std::string& line : linesOf(text)) {
    take(report, line);
  }
  return report;
}

}  // namespace faults
