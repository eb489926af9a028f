// Faults and a record of the libc calls that a segment makes. The executable's own shm_open, ftruncate, posix_fallocate
// and mmap forward to libc; while a LibcFaults is alive they answer as it says.
//
// Threads: one LibcFaults at a time, and segments are made on its own thread only.
#pragma once

#include <deque>
#include <string>
#include <vector>

class LibcFaults {
 public:
  enum class Call { shmOpen, ftruncate, fallocate, mmap };

  struct ShmOpen {
    std::string name;
    int flags;
    unsigned int mode;
  };

  LibcFaults();
  ~LibcFaults();
  LibcFaults(const LibcFaults&) = delete;
  LibcFaults& operator=(const LibcFaults&) = delete;

  // The next calls fail with these errors, one each; 0 lets one through. (Of mmap, shared mappings only.)
  void fail(Call call, std::deque<int> errors);
  // Every shm_open of the object `name` fails.
  void failShmOpenOf(const std::string& name, int error);

  std::vector<ShmOpen> shmOpens;
  unsigned int resizes = 0;  // ftruncate and posix_fallocate together

  // For the interposed functions: the error to answer with, 0 = forward.
  int nextError(Call call);
  int shmOpenError(const char* name, int flags, unsigned int mode);

 private:
  std::deque<int> scripts_[4];
  std::string failingName_;
  int failingError_ = 0;
};
