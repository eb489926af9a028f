#include "benchmarks/support/usage.h"

#include <time.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "benchmarks/support/clock.h"
#include "benchmarks/support/stage.h"

namespace bench {
namespace {

double switchesOfThread(const std::filesystem::path& thread) {
  std::ifstream file(thread / "status");
  double switches = 0;
  for (std::string line; std::getline(file, line);) {
    if (line.find("voluntary_ctxt_switches:") != std::string::npos) {  // and the nonvoluntary ones
      switches += std::stod(line.substr(line.find(':') + 1));
    }
  }
  return switches;
}

}  // namespace

double cpuMicrosecondsOf(pid_t process) {
  clockid_t clock = 0;
  if (clock_getcpuclockid(process, &clock) != 0) {
    throw std::runtime_error("a process is gone too early");
  }
  return static_cast<double>(nanosecondsOf(clock)) / 1000;
}

Usage usageOf(pid_t process) {
  Usage usage;
  usage.cpuMicroseconds = cpuMicrosecondsOf(process);
  for (const auto& thread : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
    usage.switches += switchesOfThread(thread.path());
  }
  return usage;
}

void Crew::join() {
  const std::uint32_t place = count_++;
  if (place >= kMost) {
    throw std::runtime_error("too many processes");
  }
  members_[place] = getpid();
}

std::vector<pid_t> Crew::members() const {
  return {members_, members_ + count_};
}

double Crew::cpuMicroseconds() const {
  double sum = 0;
  for (std::uint32_t i = 0; i < count_; ++i) {
    sum += cpuMicrosecondsOf(members_[i]);
  }
  for (const pid_t daemon : daemonsOnStage()) {
    sum += cpuMicrosecondsOf(daemon);
  }
  return sum;
}

Usage Crew::usage() const {
  Usage sum;
  const auto add = [&sum](pid_t process) {
    const Usage usage = usageOf(process);
    sum.cpuMicroseconds += usage.cpuMicroseconds;
    sum.switches += usage.switches;
  };
  for (std::uint32_t i = 0; i < count_; ++i) {
    add(members_[i]);
  }
  for (const pid_t daemon : daemonsOnStage()) {
    add(daemon);
  }
  return sum;
}

}  // namespace bench
