// The stage: what one measurement needs, and nothing else, in processes of their own.
//
// It has an empty /dev/shm, an empty /tmp and message queues of its own, so that nothing of an earlier measurement or
// of a running system is met. Everything that was started on it is gone when the measurement is over.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace bench {

struct Role {
  std::string name;
  int processor = 0;
  std::function<void()> main;
  bool isBackground = false;  // is there until the others have ended, and is killed then
};

// `prepare` runs before the roles do, in the process that they are forked from: it makes what they inherit and starts
// daemons (startDaemon). Throws where a role fails, or has not ended after `seconds`.
void runOnStage(const std::function<void()>& prepare, const std::vector<Role>& roles, unsigned int seconds = 120);

// For `prepare`: a program that runs until the stage is over, on this processor. What it says is printed if a role
// fails.
pid_t startDaemon(int processor, const std::vector<std::string>& command);

// Those that `prepare` has started.
const std::vector<pid_t>& daemonsOnStage();

// For `prepare` and roles: writes a small file.
void writeFile(const std::string& path, const std::string& text);

}  // namespace bench
