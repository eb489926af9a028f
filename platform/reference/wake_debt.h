// Wake-ups that a thread owes for messages it posted while it held named locks.
//
// A receiver that is woken while the sender still holds the segment's lock runs into that lock and sleeps again: twice
// the switches for one message. So posting only notes whom to wake, and the outermost unlock pays.
#pragma once

#include <cstdint>

namespace vqframework {

// Every named lock reports here, once for each lock and unlock that took effect.
void namedLockEntered();
void namedLockLeft();

// Whether the calling thread holds one.
bool holdsNamedLock();

// Gives the processor away once, now or at the outermost unlock, after the wake-ups.
void oweYield();

// Wakes the sleepers of these groups (one bit each) now, or at the outermost unlock of this thread.
void oweWakes(std::uint32_t groups);

}  // namespace vqframework
