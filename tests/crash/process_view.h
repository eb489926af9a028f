// Threads of another process, looked at from outside.
#pragma once

#include <sys/types.h>

#include <functional>
#include <vector>

namespace crash {

std::vector<pid_t> threadsOf(pid_t process);
unsigned int threadCountOf(pid_t process);
// 0 where it has none, or has just started it.
pid_t deliveryThreadOf(pid_t process);
bool isAsleep(pid_t process, pid_t thread);

// For conditions that nobody tells of: looks again and again.
[[nodiscard]] bool lookUntil(const std::function<bool()>& condition, double seconds);

}  // namespace crash
