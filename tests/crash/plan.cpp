#include "tests/crash/plan.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <map>

namespace crash {
namespace {

// Deaths inside of a string instruction, and rounds that are stepped for them at most.
constexpr unsigned int kDeathsInside = 15;
constexpr std::uint64_t kMostRounds = 4096;
// One victim goes on until the operation is over, also where its way is longer than the recorded one.
constexpr std::size_t kBehindTheEnd = 100000;

// Where the victim, a fork of this process, has its code: at the same address.
const unsigned char* codeAt(std::uint64_t address) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): it came as a number
  return reinterpret_cast<const unsigned char*>(static_cast<std::uintptr_t>(address));
}

std::string fileNameOf(std::uint64_t address) {
  Dl_info info = {};
  if (dladdr(codeAt(address), &info) == 0 || info.dli_fname == nullptr) {
    return "";
  }
  const std::string path = info.dli_fname;
  return path.substr(path.rfind('/') + 1);
}

// Memory, streams, strings and their like, and what finds functions at their first call.
bool isOfTheRuntime(const std::string& file) {
  for (const char* const name : {"libc.", "libstdc++", "libgcc_s", "ld-linux", "linux-vdso"}) {
    if (file.rfind(name, 0) == 0) {
      return true;
    }
  }
  return false;
}

bool isSystemCall(std::uint64_t address) {
  const unsigned char* const code = codeAt(address);
  return code[0] == 0x0F && code[1] == 0x05;
}

// Whether to die between the instructions before and after it.
std::vector<bool> criticalPlaces(const Operation& operation, const Trace& trace) {
  const std::size_t count = trace.at.size();
  if (operation.density != Density::kLibraries) {
    return std::vector<bool>(count + 1, operation.density == Density::kEveryInstruction);
  }
  std::map<std::uint64_t, bool> known;
  const auto isCritical = [&](std::size_t index) {
    const auto entry = known.emplace(trace.at[index], false);
    if (entry.second) {
      entry.first->second = isSystemCall(trace.at[index]) || !isOfTheRuntime(fileNameOf(trace.at[index]));
    }
    return entry.first->second;
  };
  std::vector<bool> places(count + 1, true);
  for (std::size_t done = 1; done < count; ++done) {
    places[done] = isCritical(done - 1) || isCritical(done);
  }
  return places;
}

std::vector<Target> thinned(const std::vector<Target>& targets, std::size_t most) {
  if (most == 0 || targets.size() <= most) {
    return targets;
  }
  std::vector<Target> rest;
  for (std::size_t i = 0; i < most; ++i) {
    rest.push_back(targets[most == 1 ? 0 : i * (targets.size() - 1) / (most - 1)]);
  }
  return rest;
}

std::string demangled(const char* name) {
  int status = 0;
  char* const text = abi::__cxa_demangle(name, nullptr, nullptr, &status);
  std::string result = status == 0 ? text : name;
  free(text);
  return result;
}

std::string hex(std::uint64_t number) {
  char text[32];
  snprintf(text, sizeof text, "+0x%llx", static_cast<unsigned long long>(number));
  return text;
}

}  // namespace

Plan planFor(const Operation& operation, const Trace& trace, std::size_t most) {
  const std::vector<bool> critical = criticalPlaces(operation, trace);
  const std::size_t count = trace.at.size();
  const bool isSample = operation.density == Density::kSample;
  const std::size_t stride = isSample ? std::max<std::size_t>(count / kSampleTargets, 1) : kRuntimeStride;
  Plan plan;
  for (std::size_t done = 0; done < count; ++done) {
    if (critical[done] || done % stride == 0) {
      plan.targets.push_back({done, 0});
    }
    plan.critical += critical[done] ? 1U : 0U;
  }
  for (const Trace::LongRepeat& repeat : trace.longRepeats) {
    for (unsigned int death = 1; death <= kDeathsInside; ++death) {
      const std::uint64_t rounds = std::min(repeat.rounds, kMostRounds) * death / (kDeathsInside + 1);
      plan.targets.push_back({repeat.place, static_cast<unsigned int>(rounds)});
    }
  }
  std::stable_sort(plan.targets.begin(), plan.targets.end(),
                   [](const Target& a, const Target& b) { return a.instructions < b.instructions; });
  plan.targets.push_back({count + kBehindTheEnd, 0});
  plan.targets = thinned(plan.targets, most);
  return plan;
}

std::string describeAddress(std::uint64_t address) {
  Dl_info info = {};
  if (address == 0 || dladdr(codeAt(address), &info) == 0) {
    return "the end";
  }
  std::string inFile = fileNameOf(address) + hex(address - reinterpret_cast<std::uintptr_t>(info.dli_fbase));
  if (info.dli_sname == nullptr) {
    return inFile;
  }
  return demangled(info.dli_sname) + hex(address - reinterpret_cast<std::uintptr_t>(info.dli_saddr)) + " in " + inFile;
}

}  // namespace crash
