// What processes take up, counted by the kernel page by page.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace storm {

struct Footprint {
  std::string name;              // of the process
  std::uint64_t memoryKib = 0;   // shared memory, too, but not the unchanged pages of program and libraries: the kernel
                                 // gives them by the dozen, and takes them back, as it likes
  std::uint64_t privateKib = 0;  // heap, stacks, changed data: pages that no file and no shared memory stands behind
  std::uint64_t heapBytes = 0;   // handed out by the C library and not given back; 0 = not known
  std::uint64_t descriptors = 0;
  std::uint64_t threads = 0;
};

// Throws where the process is not there.
Footprint footprintOf(const std::string& name, pid_t pid);

// What lies in /dev/shm.
struct SharedObjects {
  std::uint64_t count = 0;
  std::uint64_t bytes = 0;   // as their sizes say
  std::uint64_t blocks = 0;  // of 512 bytes that are taken up
};

SharedObjects sharedObjects();

// Bytes of this process's heap in use; 0 where the C library does not tell.
std::uint64_t heapInUse();

}  // namespace storm
