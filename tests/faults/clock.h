// The clock as the code under test sees it.
#pragma once

#include <time.h>

namespace faults {

// What the clock does from now on: seconds ahead or behind, 0 for neither, or it stands still at 0.
void bendClock(long seconds);
void stopClock();

// Whether a watched thread has asked for, or waited by, any clock but the monotonic one.
bool wasAnotherClockUsed();

// For the interposed functions. Of watched threads only.
void noteClock(clockid_t clock);
void bend(clockid_t clock, timespec& time);

}  // namespace faults
