// A /dev/shm of the demo's own, so that it meets no running system and leaves nothing behind.
#pragma once

#include <string>

namespace demo {

// To be called before any thread exists; processes that are started afterwards share the folder. Without privileges
// this takes a user namespace. False with the reason where the machine forbids it.
bool enterPrivateShm(std::string& reason);

// The way out where it is forbidden. Waits until no other demo uses the machine's /dev/shm. False with the reason,
// above all when objects of the channel are there: a system may be running.
bool takeMachineShm(std::string& reason);

// After the demo in the machine's /dev/shm: removes the channel's objects, which were all made by it.
void clearMachineShm();

}  // namespace demo
