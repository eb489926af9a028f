// Shared memory of this process alone: shm_open and shm_unlink of a target that links this never reach /dev/shm.
//
// A target is fast because of it, needs no right to make mount namespaces, and leaves nothing behind.
#pragma once

#include <cstddef>
#include <string>

namespace fuzz {

// Sets the size of the object, which is made where it is not there.
void resizeObject(const std::string& name, std::size_t size);

}  // namespace fuzz
