// A /dev/shm of the demo's own, so that it meets no running system and leaves nothing behind.
#pragma once

#include <string>

namespace demo {

// To be called before any thread exists; processes that are started afterwards share the folder. As an ordinary user
// this takes a user namespace. False with the reason where the machine forbids it.
bool enterPrivateShm(std::string& reason);

// Whether the machine's /dev/shm holds objects of the channel or of its framework.
bool isChannelInUse();

}  // namespace demo
