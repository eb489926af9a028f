// crash_sweep: kills processes after every instruction of what they do with the channel, and looks what becomes of the
// others. script/crash runs it.
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/crash/report.h"
#include "tests/crash/settings.h"
#include "tests/crash/sweep.h"
#include "tests/support/private_shm.h"
#include "tests/support/shm_files.h"
#include "tests/support/wait_until.h"

namespace {

constexpr const char* kUsage =
    "crash_sweep [--kills N] [--jobs N] [--deadline S] [--operation TEXT] [--json FILE] [--list]\n"
    "  --kills N         at most so many of each operation, spread evenly; without it, all\n"
    "  --jobs N          processes that sweep at the same time; without it, four for each processor: most of them "
    "wait\n"
    "  --deadline S      seconds after which something counts as hanging; without it, 20\n"
    "  --operation TEXT  only operations with this text in their names\n"
    "  --json FILE       writes the results there\n"
    "  --list            names the operations\n";

struct Options {
  crash::SweepOptions sweep;
  std::string operation;
  std::string json;
  bool isList = false;
};

Options parse(int argc, char** argv) {
  Options options;
  options.sweep.jobs = 4 * static_cast<unsigned int>(std::max(sysconf(_SC_NPROCESSORS_ONLN), 1L));
  for (int i = 1; i < argc; ++i) {
    const std::string name = argv[i];
    if (name == "--list") {
      options.isList = true;
      continue;
    }
    const char* const value = i + 1 < argc ? argv[++i] : "";
    if (name == "--kills") {
      options.sweep.mostKills = std::strtoul(value, nullptr, 10);
    } else if (name == "--jobs") {
      options.sweep.jobs = static_cast<unsigned int>(std::strtoul(value, nullptr, 10));
    } else if (name == "--deadline") {
      options.sweep.deadline = std::strtod(value, nullptr);
    } else if (name == "--operation") {
      options.operation = value;
    } else if (name == "--json") {
      options.json = value;
    } else {
      throw std::invalid_argument(name);
    }
  }
  if (options.sweep.jobs == 0) {
    throw std::invalid_argument("--jobs 0");
  }
  return options;
}

std::vector<crash::Operation> chosen(const std::string& text) {
  std::vector<crash::Operation> operations;
  for (const crash::Operation& operation : crash::allOperations()) {
    if (operation.name.find(text) != std::string::npos) {
      operations.push_back(operation);
    }
  }
  return operations;
}

// The loader reads it at the start of a program only: functions are found then, and not while somebody is stepped.
void startAnewWithFunctionsBound(char** argv) {
  if (getenv("LD_BIND_NOW") == nullptr) {
    setenv("LD_BIND_NOW", "1", 1);
    execv("/proc/self/exe", argv);
  }
}

int run(const Options& options) {
  const std::vector<crash::Operation> operations = chosen(options.operation);
  if (options.isList) {
    for (const crash::Operation& operation : operations) {
      printf("%s\n", operation.name.c_str());
    }
    return 0;
  }
  const double begin = test_support::monotonicSeconds();
  const std::vector<crash::OperationResult> results = crash::sweep(operations, options.sweep, &crash::printRow);
  const double seconds = test_support::monotonicSeconds() - begin;
  crash::printSum(results, seconds);
  if (!options.json.empty() && !crash::writeJson(options.json, results, options.sweep, seconds)) {
    fprintf(stderr, "%s cannot be written\n", options.json.c_str());
    return 1;
  }
  return crash::isClean(results) && !results.empty() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && (strcmp(argv[1], "--help") == 0 || strcmp(argv[1], "-h") == 0)) {
    fputs(kUsage, stdout);
    return 0;
  }
  try {
    const Options options = parse(argc, argv);
    startAnewWithFunctionsBound(argv);
    test_support::enterPrivateShm(argv);
    setenv("VQ_SETTINGS_DIR", test_support::shmFile(crash::kSettingsFolder).c_str(), 1);
    setenv("VQDBG", "off", 0);
    // A receiver that stays awake needs no waking: each one sleeps, so that each poster has to.
    setenv("VQ_NOTIFIER_POLL", "off", 1);
    return run(options);
  } catch (const std::invalid_argument& error) {
    fprintf(stderr, "crash_sweep: %s?\n%s", error.what(), kUsage);
  } catch (const std::exception& error) {
    fprintf(stderr, "crash_sweep: %s\n", error.what());
  }
  return 2;
}
