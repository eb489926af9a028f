// A storm of signals over this process: several kinds, from timers, to handlers that do not restart what they
// interrupt.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace storm {

// From now on, for the whole life of the process.
void begin();

// How many have come so far.
std::uint32_t signals();
// The object in /dev/shm whose first word says it of that process.
std::string countOf(pid_t process);

}  // namespace storm
