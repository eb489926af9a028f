// Whoever opens a segment makes it empty, also one that others use.
#include <fcntl.h>
#include <sys/mman.h>

#include <cstring>

#include "tests/conformance/wrong/original.h"

extern "C" __attribute__((visibility("default"))) int shm_open(const char* name, int oflag, mode_t mode) {
  static auto* const open = wrong::original<int(const char*, int, mode_t)>("shm_open");
  const bool isSegment = strncmp(name, "/conformance.", 13) == 0 && strstr(name, ".lock") == nullptr;
  // The tests' own look opens without O_CREAT.
  return open(name, isSegment && (oflag & O_CREAT) != 0 ? oflag | O_TRUNC : oflag, mode);
}
