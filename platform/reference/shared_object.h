// An object in shared memory that is whole before anybody uses it, whoever dies on the way.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

namespace vqframework {

// Every shared object of the framework begins with this. A process whose library lays objects out differently must
// not touch them; it finds out here.
struct SharedHeader {
  std::uint32_t magic;
  std::uint32_t layoutVersion;
  std::uint32_t wordSize;   // sizeof(void*) of whoever made it
  std::uint32_t mutexSize;  // sizeof(pthread_mutex_t), which differs between C libraries
  std::uint64_t objectSize;
  std::atomic<std::uint32_t> isReady;  // 1 = made whole; stored last
  std::uint32_t reserved;
};
static_assert(sizeof(SharedHeader) == 32, "layout");

struct SharedObjectKind {
  std::uint32_t magic;
  std::uint32_t layoutVersion;
  std::size_t size;
  // The object is all zero; the header is filled in afterwards. 0, or the error number of pthread_mutex_init.
  int (*initialize)(void* object);
};

// Opens "/" + `name`, or creates it with mode 0664 less the umask. Returns its address, valid until unmapObject.
// Null with the reason in `error` when it cannot be had. Its pages are reserved, so that a full file system shows here
// and not as a signal later. Not for two threads at once with one name.
void* mapObject(const std::string& name, const SharedObjectKind& kind, std::string& error);

void unmapObject(void* object, std::size_t size);

}  // namespace vqframework
