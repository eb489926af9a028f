// Processes, as /proc shows them to this user.
//
// Whoever is not root sees the memory maps of his own processes only; those that could not be looked into are counted.
// Processes of another PID namespace cannot be seen at all, and numbers in shared memory may mean theirs.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "inspect/object.h"

namespace inspect {

constexpr const char* kProc = "/proc";

struct Process {
  std::uint32_t pid = 0;
  bool exists = false;
  char state = '?';     // as in /proc/PID/stat: R runs, S sleeps, T stopped, Z dead but not reaped, ...
  std::string name;     // the kernel's, 15 characters
  std::string command;  // as it was started; empty where that cannot be read
  uid_t user = 0;
  std::uint64_t startTime = 0;  // clock ticks since boot; tells it from a later one of the same number

  bool isStopped() const { return state == 'T' || state == 't'; }
  bool isDead() const { return !exists || state == 'Z' || state == 'X'; }
};

Process readProcess(const std::string& proc, std::uint32_t pid);

// Whether the process that `pid` meant at `monotonicNanoseconds` has ended, though its number may be in use again. Errs
// towards false.
bool hasEndedSince(const Process& process, std::uint64_t monotonicNanoseconds);

struct MappingProcess {
  Process process;
  std::set<std::string> objects;  // that it has mapped, of those that were asked for
  std::set<std::string>
      removed;  // that it has mapped, but that are not what has that name now: nobody else meets it there
};

struct MappingProcesses {
  std::vector<MappingProcess> processes;  // by pid
  std::size_t unseen = 0;                 // processes whose maps this user may not read
};

// Looks through /proc/*/maps for objects of the folder.
MappingProcesses findMappings(const std::string& proc, const std::string& folder,
                              const std::vector<ObjectFacts>& objects);

}  // namespace inspect
