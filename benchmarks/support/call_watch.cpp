#include "benchmarks/support/call_watch.h"

#include <errno.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>

namespace bench {
namespace {

void check(bool isDone, const char* what) {
  if (!isDone) {
    throw std::runtime_error(std::string("counting system calls: ") + what + ": " + strerror(errno));
  }
}

pid_t processOf(pid_t thread) {
  std::ifstream file("/proc/" + std::to_string(thread) + "/status");
  for (std::string line; std::getline(file, line);) {
    if (line.rfind("Tgid:", 0) == 0) {
      return static_cast<pid_t>(std::stol(line.substr(5)));
    }
  }
  return 0;  // it has ended meanwhile
}

class Watcher {
 public:
  explicit Watcher(const std::vector<WatchedProcess*>& processes) : processes_(processes) {}

  void begin() {
    for (const WatchedProcess* const process : processes_) {
      check(ptrace(PTRACE_SEIZE, process->pid.load(), nullptr, PTRACE_O_TRACESECCOMP | PTRACE_O_TRACECLONE) == 0,
            "attach");
    }
  }

  void run() {
    for (std::size_t running = processes_.size(); running != 0;) {
      int status = 0;
      const pid_t thread = waitpid(-1, &status, __WALL);
      check(thread != -1, "wait");
      if (WIFSTOPPED(status)) {
        onStop(thread, status);
      } else if (processWith(thread) != nullptr) {
        --running;
      }
    }
  }

 private:
  WatchedProcess* processWith(pid_t pid) const {
    const auto found = std::find_if(processes_.begin(), processes_.end(),
                                    [pid](const WatchedProcess* process) { return process->pid == pid; });
    return found != processes_.end() ? *found : nullptr;
  }

  void onStop(pid_t thread, int status) {
    const int event = status >> 16;
    if (event == PTRACE_EVENT_SECCOMP) {
      count(thread);
    }
    // What stops it for any other reason than a signal of its own is over with this.
    ptrace(PTRACE_CONT, thread, nullptr, event == 0 ? WSTOPSIG(status) : 0);
  }

  void count(pid_t thread) {
    WatchedProcess* const process = ownerOf(thread);
    if (process != nullptr && process->isCounting) {
      ++process->calls;
    }
  }

  WatchedProcess* ownerOf(pid_t thread) {
    const auto known = owners_.find(thread);
    if (known == owners_.end()) {
      return owners_[thread] = processWith(processOf(thread));
    }
    return known->second;
  }

  const std::vector<WatchedProcess*>& processes_;
  std::map<pid_t, WatchedProcess*> owners_;
};

}  // namespace

void letWatch(WatchedProcess& self, Watch& watch) {
  self.pid = getpid();
  watch.here.advance();
  watch.begun.waitFor(1);
  sock_filter everything = BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRACE);
  const sock_fprog filter = {1, &everything};
  check(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0, "privileges");
  check(syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &filter) == 0, "filter");
}

void watchCalls(const std::vector<WatchedProcess*>& processes, Watch& watch) {
  watch.here.waitFor(static_cast<std::uint32_t>(processes.size()));
  Watcher watcher(processes);
  watcher.begin();
  watch.begun.advance();
  watcher.run();
}

}  // namespace bench
