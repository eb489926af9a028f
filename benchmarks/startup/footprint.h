// What a process takes up.
#pragma once

namespace bench {

struct Footprint {
  // Of memory that is there, in KiB.
  double privateMemory = 0;
  double sharedMemory = 0;  // with other processes, too
  double fairShare = 0;     // private memory, and of each shared page the part that falls to this process
  double threads = 0;
  double descriptors = 0;
  double objects = 0;  // of shared memory, mapped
};

// Of this process.
Footprint footprint();

}  // namespace bench
