// A storm of signals over this process: several kinds, from timers, to handlers that do not restart what they
// interrupt.
#pragma once

namespace storm {

// From now on, for the whole life of the process.
void begin();

// How many have come so far.
unsigned long signals();

}  // namespace storm
