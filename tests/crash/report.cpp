#include "tests/crash/report.h"

#include <stdio.h>
#include <sys/utsname.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "tests/crash/plan.h"

namespace crash {
namespace {

std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      result += '\\';
    }
    result += static_cast<unsigned char>(c) < ' ' ? ' ' : c;
  }
  return result + "\"";
}

std::string number(double value) {
  char text[32];
  snprintf(text, sizeof text, "%.4g", value);
  return text;
}

std::string jsonOf(const OperationResult& result) {
  std::string outcomes;
  for (const auto& outcome : result.outcomes) {
    outcomes += (outcomes.empty() ? "" : ", ") + quoted(outcome.first) + ": " + std::to_string(outcome.second);
  }
  std::string faults;
  for (const Fault& fault : result.faults) {
    faults += (faults.empty() ? "" : ", ") + std::string("{\"instructions\": ") + std::to_string(fault.instructions) +
              ", \"at\": " + quoted(fault.position) + ", \"what\": " + quoted(fault.what) + "}";
  }
  return "{\"name\": " + quoted(result.name) + ",\n     \"allowed\": " + quoted(result.allowed) +
         ",\n     \"instructions\": " + std::to_string(result.instructions) +
         ", \"critical\": " + std::to_string(result.critical) + ", \"planned\": " + std::to_string(result.planned) +
         ", \"kills\": " + std::to_string(result.kills) + ", \"with_lock\": " + std::to_string(result.withLock) +
         ", \"waited_for\": " + std::to_string(result.waitedFor) +
         ", \"finished\": " + std::to_string(result.finished) + ", \"strayed\": " + std::to_string(result.strayed) +
         ", \"missed\": " + std::to_string(result.missed.size()) + ", \"retries\": " + std::to_string(result.retries) +
         ", \"longest_recovery_ms\": " + number(result.longestRecovery * 1e3) + ",\n     \"outcomes\": {" + outcomes +
         "},\n     \"faults\": [" + faults + "]}";
}

std::string machine() {
  utsname system = {};
  uname(&system);
  return std::string(system.machine) + ", " + std::to_string(sysconf(_SC_NPROCESSORS_ONLN)) + " processors, " +
         system.sysname + " " + system.release;
}

std::string today() {
  const time_t seconds = time(nullptr);
  tm parts = {};
  gmtime_r(&seconds, &parts);
  char text[16];
  strftime(text, sizeof text, "%Y-%m-%d", &parts);
  return text;
}

}  // namespace

void printRow(const OperationResult& result) {
  printf("%-48s %7zu instructions %6zu kills, %5zu with a lock, %5zu waited for, %4zu strayed, %3zu missed %7.1f ms\n",
         result.name.c_str(), result.instructions, result.kills, result.withLock, result.waitedFor, result.strayed,
         result.missed.size(), result.longestRecovery * 1e3);
  for (const auto& outcome : result.outcomes) {
    printf("    %7zu  %s\n", outcome.second, outcome.first.c_str());
  }
  for (const Fault& fault : result.faults) {
    printf("    FAULT    after %zu instructions, before %s: %s\n", fault.instructions, fault.position.c_str(),
           fault.what.c_str());
  }
  if (result.faults.empty() && (result.kills != result.planned || result.finished == 0)) {
    printf("    FAULT    %zu victims instead of %zu, %zu of them at the end\n", result.kills, result.planned,
           result.finished);
  }
  fflush(stdout);
}

void printSum(const std::vector<OperationResult>& results, double seconds) {
  std::size_t kills = 0;
  std::size_t faults = 0;
  double longest = 0;
  for (const OperationResult& result : results) {
    kills += result.kills;
    faults += result.faults.size();
    longest = std::max(longest, result.longestRecovery);
  }
  printf("%zu operations, %zu kills, %zu faults, longest recovery %.1f ms, %.0f s\n", results.size(), kills, faults,
         longest * 1e3, seconds);
}

bool writeJson(const std::string& path, const std::vector<OperationResult>& results, const SweepOptions& options,
               double seconds) {
  std::string operations;
  for (const OperationResult& result : results) {
    operations += (operations.empty() ? "" : ",\n    ") + jsonOf(result);
  }
  std::ofstream file(path);
  file << "{\"program\": \"crash_sweep\", \"date\": " << quoted(today()) << ", \"machine\": " << quoted(machine())
       << ",\n  \"build\": " << quoted(CRASH_BUILD_TYPE) << ", \"jobs\": " << options.jobs
       << ", \"most_kills\": " << options.mostKills << ", \"seconds\": " << number(seconds)
       << ", \"runtime_stride\": " << kRuntimeStride << ",\n  \"operations\": [\n    " << operations << "]}\n";
  return file.good();
}

}  // namespace crash
