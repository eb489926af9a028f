// Who uses the channel.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace reset {

struct AttachedProcess {
  pid_t pid = 0;
  std::string name;     // the kernel's
  std::string command;  // as it was started; empty where that cannot be read
};

// Every other process that has one of these objects of /dev/shm in its memory, whether it has done anything with it or
// not; and those that the notifier's table lists, since other users' memory can be looked into by root alone.
std::vector<AttachedProcess> attachedProcesses(const std::vector<std::string>& objects);

}  // namespace reset
