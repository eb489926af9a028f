// The sweep: every operation, one victim for each place to die at, on several processors at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/crash/operation.h"

namespace crash {

struct SweepOptions {
  std::size_t mostKills = 0;   // of each operation; 0 = all
  unsigned int jobs = 1;       // processes that sweep; more than one need namespaces
  double deadline = 20;        // seconds until something counts as hanging
  std::size_t mostFaults = 5;  // of one operation and job: then the rest of it is left out
};

struct Fault {
  std::size_t instructions;
  std::string position;  // of the instruction that was not executed any more
  std::string what;
};

struct OperationResult {
  std::string name;
  std::string allowed;
  std::size_t instructions = 0;
  std::size_t critical = 0;  // after so many of them every victim dies, in a full sweep
  std::size_t planned = 0;
  std::size_t kills = 0;
  std::size_t withLock = 0;   // of those
  std::size_t waitedFor = 0;  // of those with a lock: somebody slept until he would get it
  std::size_t finished = 0;   // died behind the end of the operation
  std::size_t strayed = 0;    // died elsewhere than the recorded one would have after as many instructions
  std::size_t retries = 0;    // victims that took another way than the one that was recorded, and were stepped anew
  std::set<std::uint64_t> missed;  // addresses of instructions that somebody was to die before, and nobody did
  std::map<std::string, std::size_t> outcomes;
  double longestRecovery = 0;  // seconds
  std::vector<Fault> faults;
};

// In the order of the operations; `onResult` is called as they are finished.
std::vector<OperationResult> sweep(const std::vector<Operation>& operations, const SweepOptions& options,
                                   void (*onResult)(const OperationResult&));

bool isClean(const std::vector<OperationResult>& results);

}  // namespace crash
