#include "tests/crash/sweep.h"

#include <errno.h>
#include <sched.h>
#include <stdio.h>
#include <string.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "tests/crash/board.h"
#include "tests/crash/forked.h"
#include "tests/crash/fresh_pair.h"
#include "tests/crash/plan.h"
#include "tests/crash/round.h"
#include "tests/crash/stepper.h"

namespace crash {
namespace {

// Recorded once, in the process that all victims are forked from: addresses are the same in all of them.
struct Recorded {
  Trace trace;
  Plan plan;
};

Recorded record(const Operation& operation, const SweepOptions& options) {
  Board& board = makeBoard();
  Recorded recorded;
  constexpr std::size_t kLongWay = 10000;  // takes its time, and a wait more or less makes little of it
  for (int i = 0; i < Stepper::kRecordings && recorded.trace.at.size() < kLongWay; ++i) {
    Trace trace = Round(board, operation, options.deadline).record();
    if (i == 0 || trace.at.size() < recorded.trace.at.size()) {
      recorded.trace = std::move(trace);
    }
  }
  if (recorded.trace.at.empty()) {
    throw std::runtime_error(operation.name + ": not one instruction");
  }
  recorded.plan = planFor(operation, recorded.trace, options.mostKills);
  freeBoard(board);
  return recorded;
}

// A processor and a /dev/shm of its own.
void settleDown(unsigned int job, unsigned int jobs) {
  if (jobs == 1) {
    return;
  }
  if (unshare(CLONE_NEWNS) != 0 || mount("tmpfs", "/dev/shm", "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777") != 0) {
    throw std::runtime_error(std::string("no /dev/shm for a second job: ") + strerror(errno));
  }
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(job % static_cast<unsigned int>(std::max(sysconf(_SC_NPROCESSORS_ONLN), 1L)), &set);
  sched_setaffinity(0, sizeof set, &set);  // where it is refused, the machine is only slower
}

struct Killed {
  Verdict verdict;
  bool isRetry = false;
};

// A victim that did not come as far as the recorded one may have taken another way, past the breakpoint.
Killed killOne(Board& board, const Operation& operation, const Recorded& recorded, const Target& target,
               double deadline) {
  Killed killed;
  for (const bool isRetry : {false, true}) {
    killed.isRetry = isRetry;
    try {
      killed.verdict = Round(board, operation, deadline).run(target, recorded.trace, isRetry);
      return killed;
    } catch (const std::exception& error) {
      killed.verdict = Verdict();
      killed.verdict.outcome = std::string("stepping: ") + error.what();
    }
  }
  return killed;
}

// One line to the parent, written at once.
//   kill OPERATION INSTRUCTIONS ALLOWED LOCK WAITED_FOR FINISHED STRAYED RETRY SECONDS POSITION OUTCOME
//   done OPERATION
void write(int pipe, const std::string& line) {
  const std::string whole = line + "\n";
  if (::write(pipe, whole.data(), whole.size()) != static_cast<ssize_t>(whole.size())) {
    _exit(1);  // the parent is gone
  }
}

std::string lineOf(std::size_t operation, const Target& target, const Killed& killed) {
  std::ostringstream line;
  const Verdict& verdict = killed.verdict;
  line << "kill " << operation << ' ' << target.instructions << ' ' << verdict.isAllowed << ' ' << verdict.hasHeldLock
       << ' ' << verdict.hasBeenWaitedFor << ' ' << verdict.isFinished << ' ' << verdict.hasStrayed << ' '
       << killed.isRetry << ' ' << verdict.recoverySeconds << ' ' << verdict.position << ' ' << verdict.outcome;
  return line.str();
}

void sweepShare(const std::vector<Operation>& operations, const std::vector<Recorded>& recorded,
                const SweepOptions& options, unsigned int job, int pipe) {
  settleDown(job, options.jobs);
  Board& board = makeBoard();
  for (std::size_t i = 0; i < operations.size(); ++i) {
    const std::vector<Target>& targets = recorded[i].plan.targets;
    std::size_t faults = 0;
    for (std::size_t place = job; place < targets.size() && faults < options.mostFaults; place += options.jobs) {
      const Killed killed = killOne(board, operations[i], recorded[i], targets[place], options.deadline);
      faults += killed.verdict.isAllowed ? 0 : 1;
      write(pipe, lineOf(i, targets[place], killed));
    }
    write(pipe, "done " + std::to_string(i));
  }
}

void add(OperationResult& result, std::istringstream& line) {
  std::size_t instructions = 0;
  Verdict verdict;
  bool isRetry = false;
  line >> instructions >> verdict.isAllowed >> verdict.hasHeldLock >> verdict.hasBeenWaitedFor >> verdict.isFinished >>
      verdict.hasStrayed >> isRetry >> verdict.recoverySeconds >> verdict.position >> std::ws;
  std::getline(line, verdict.outcome);
  ++result.kills;
  result.withLock += verdict.hasHeldLock ? 1 : 0;
  result.waitedFor += verdict.hasBeenWaitedFor ? 1 : 0;
  result.finished += verdict.isFinished ? 1 : 0;
  result.strayed += verdict.hasStrayed ? 1 : 0;
  result.retries += isRetry ? 1 : 0;
  result.longestRecovery = std::max(result.longestRecovery, verdict.recoverySeconds);
  result.missed.erase(verdict.position);
  if (verdict.isAllowed) {
    ++result.outcomes[verdict.outcome];
  } else {
    result.faults.push_back({instructions, describeAddress(verdict.position), verdict.outcome});
  }
}

void collect(FILE* lines, std::vector<OperationResult>& results, const SweepOptions& options,
             void (*onResult)(const OperationResult&)) {
  std::vector<unsigned int> jobsDone(results.size());
  char text[1024];
  while (fgets(text, sizeof text, lines) != nullptr) {
    std::istringstream line(std::string(text, strcspn(text, "\n")));
    std::string word;
    std::size_t operation = 0;
    line >> word >> operation;
    if (word == "kill") {
      add(results.at(operation), line);
    } else if (++jobsDone.at(operation) == options.jobs) {
      onResult(results[operation]);
    }
  }
}

}  // namespace

std::vector<OperationResult> sweep(const std::vector<Operation>& operations, const SweepOptions& options,
                                   void (*onResult)(const OperationResult&)) {
  prepareMessages();
  std::vector<Recorded> recorded;
  std::vector<OperationResult> results;
  for (const Operation& operation : operations) {
    recorded.push_back(record(operation, options));
    OperationResult result;
    result.name = operation.name;
    result.allowed = operation.allowed;
    result.instructions = recorded.back().trace.at.size();
    result.critical = recorded.back().plan.critical;
    result.planned = recorded.back().plan.targets.size();
    for (const Target& target : recorded.back().plan.targets) {
      result.missed.insert(addressAt(target, recorded.back().trace));
    }
    results.push_back(result);
  }

  int ends[2] = {-1, -1};
  if (pipe(ends) != 0) {
    throw std::runtime_error("no pipe");
  }
  std::vector<std::unique_ptr<Forked>> jobs;
  for (unsigned int job = 0; job < options.jobs; ++job) {
    jobs.push_back(std::make_unique<Forked>([&, job] {
      close(ends[0]);
      sweepShare(operations, recorded, options, job, ends[1]);
    }));
  }
  close(ends[1]);
  FILE* const lines = fdopen(ends[0], "r");
  collect(lines, results, options, onResult);
  fclose(lines);
  for (const std::unique_ptr<Forked>& job : jobs) {
    if (!job->endsWell(options.deadline)) {
      throw std::runtime_error("a process that sweeps has not ended well");
    }
  }
  return results;
}

bool isClean(const std::vector<OperationResult>& results) {
  return std::all_of(results.begin(), results.end(), [](const OperationResult& result) {
    // One victim at least has come to the end, and has done what the operation is for.
    return result.faults.empty() && result.kills == result.planned && result.finished != 0;
  });
}

}  // namespace crash
