#include "benchmarks/idle/watch.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace bench {
namespace {

std::uint64_t switchesOf(const std::filesystem::path& thread) {
  std::ifstream file(thread / "status");
  std::uint64_t switches = 0;
  unsigned int found = 0;
  for (std::string line; std::getline(file, line);) {
    if (line.find("voluntary_ctxt_switches:") != std::string::npos) {  // and the nonvoluntary ones
      switches += std::stoull(line.substr(line.find(':') + 1));
      ++found;
    }
  }
  if (found != 2) {
    throw std::runtime_error("the kernel does not tell of switches");
  }
  return switches;
}

std::uint64_t cpuOf(const std::filesystem::path& thread) {
  std::ifstream file(thread / "schedstat");
  std::uint64_t nanoseconds = 0;
  if (!(file >> nanoseconds)) {
    throw std::runtime_error("the kernel does not tell what a thread runs");
  }
  return nanoseconds;
}

std::string nameOf(const std::filesystem::path& thread) {
  std::ifstream file(thread / "comm");
  std::string name;
  std::getline(file, name);
  return name;
}

const ThreadTally* find(const Tally& tally, const ThreadTally& thread) {
  const auto found = std::find_if(tally.begin(), tally.end(),
                                  [&thread](const ThreadTally& other) { return other.thread == thread.thread; });
  return found != tally.end() ? &*found : nullptr;
}

}  // namespace

Tally tallyOf(const Crew& crew) {
  Tally tally;
  for (const pid_t process : crew.members()) {
    for (const auto& entry : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
      const std::filesystem::path& thread = entry.path();
      tally.push_back(
          {process, std::stoi(thread.filename().string()), nameOf(thread), switchesOf(thread), cpuOf(thread)});
    }
  }
  return tally;
}

Tally activity(const Tally& before, const Tally& after) {
  Tally result;
  for (const ThreadTally& thread : after) {
    const ThreadTally* const earlier = find(before, thread);
    ThreadTally done = thread;
    done.switches -= earlier != nullptr ? earlier->switches : 0;
    done.cpu -= earlier != nullptr ? earlier->cpu : 0;
    if (done.switches != 0 || done.cpu != 0 || earlier == nullptr) {
      result.push_back(done);
    }
  }
  for (const ThreadTally& thread : before) {
    if (find(after, thread) == nullptr) {
      result.push_back({thread.process, thread.thread, thread.name + " (ended)", 1, 0});
    }
  }
  return result;
}

std::uint64_t switchesIn(const Tally& tally) {
  std::uint64_t sum = 0;
  for (const ThreadTally& thread : tally) {
    sum += thread.switches;
  }
  return sum;
}

double cpuMicrosecondsIn(const Tally& tally) {
  std::uint64_t sum = 0;
  for (const ThreadTally& thread : tally) {
    sum += thread.cpu;
  }
  return static_cast<double>(sum) / 1000;
}

std::string describe(const Tally& tally) {
  std::string text;
  for (const ThreadTally& thread : tally) {
    text += "\n  process " + std::to_string(thread.process) + ", thread " + thread.name + ": " +
            std::to_string(thread.switches) + " switches, " + std::to_string(thread.cpu) + " ns";
  }
  return text;
}

}  // namespace bench
