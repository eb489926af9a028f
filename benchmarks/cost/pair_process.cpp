#include "benchmarks/cost/pair_process.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>
#include <stdexcept>

namespace bench {
namespace {

// Beside this program.
std::string pathOf(const std::string& program) {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path() / program;
}

std::vector<std::string> commandOf(const PairJob& job) {
  std::vector<std::string> command;
  if (job.way == Way::kCallgrind) {
    command = {"valgrind",
               "--quiet",
               "--tool=callgrind",
               "--callgrind-out-file=/dev/shm/callgrind.%p",
               "--zero-before=costCountingBegins",
               "--dump-before=costCountingEnds",
               pathOf("bench_cost_callgrind"),
               "callgrind"};
  } else {
    command = {pathOf("bench_cost_interposed"), job.way == Way::kWatched ? "watched" : "plain"};
  }
  command.insert(command.end(), {job.isStatus ? "status" : "data", std::to_string(job.bytes),
                                 std::to_string(job.kind.apps), std::to_string(job.count)});
  if (!job.kind.environment.empty()) {
    command.push_back(job.kind.environment);
  }
  return command;
}

struct Ending {
  bool isWell = false;
  std::string output;
};

[[noreturn]] void become(const std::vector<std::string>& command, int output, bool isQuiet) {
  std::vector<char*> argv;
  argv.reserve(command.size() + 1);
  for (const std::string& word : command) {
    argv.push_back(const_cast<char*>(word.c_str()));  // execvp leaves them as they are
  }
  argv.push_back(nullptr);
  dup2(output, STDOUT_FILENO);
  if (isQuiet) {
    dup2(output, STDERR_FILENO);
  }
  execvp(argv[0], argv.data());
  perror(argv[0]);
  _exit(127);
}

Ending run(const std::vector<std::string>& command, bool isQuiet) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    throw std::runtime_error("no pipe");
  }
  fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    become(command, ends[1], isQuiet);
  }
  close(ends[1]);
  Ending ending;
  char buffer[512];
  for (ssize_t size = 0; (size = read(ends[0], buffer, sizeof buffer)) > 0;) {
    ending.output.append(buffer, static_cast<std::size_t>(size));
  }
  close(ends[0]);
  int status = 0;
  ending.isWell = child != -1 && waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
  return ending;
}

}  // namespace

bool hasCallgrind() {
  const std::vector<std::string> trial = {
      "valgrind", "--quiet", "--tool=callgrind", "--callgrind-out-file=/dev/null", pathOf("bench_cost_callgrind"),
      "--help"};
  return run(trial, true).isWell;
}

std::vector<PairFigure> measurePair(const PairJob& job) {
  const std::vector<std::string> command = commandOf(job);
  const Ending ending = run(command, false);
  if (!ending.isWell) {
    throw std::runtime_error(command[0] + " failed");
  }
  std::istringstream output(ending.output);
  std::vector<PairFigure> figures;
  for (PairFigure figure; output >> figure.name >> figure.value;) {
    figures.push_back(figure);
  }
  return figures;
}

}  // namespace bench
