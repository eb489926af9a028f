#include "reset/headers.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <system_error>

#include "platform/descriptor.h"
#include "platform/reference/message_log_layout.h"
#include "platform/reference/named_lock.h"
#include "reset/segments.h"

namespace reset {
namespace {

using vqframework::SharedHeader;

platform::Descriptor openObject(const std::string& object, int flags) {
  return platform::Descriptor(open(("/dev/shm/" + object).c_str(), flags | O_CLOEXEC));
}

[[noreturn]] void refuse(const std::string& object) {
  throw std::runtime_error("/dev/shm/" + object + ": " + std::generic_category().message(errno));
}

bool isRefused(const std::string& object, std::uint32_t magic, std::uint32_t version, std::size_t size) {
  const platform::Descriptor fd = openObject(object, O_RDONLY | O_NONBLOCK);
  SharedHeader header = {};
  if (fd.get() == -1 || pread(fd.get(), &header, sizeof header, 0) != static_cast<ssize_t>(sizeof header)) {
    return false;
  }
  return header.isReady.load() != 0 &&
         (header.magic != magic || header.layoutVersion != version || header.wordSize != sizeof(void*) ||
          header.mutexSize != sizeof(pthread_mutex_t) || header.objectSize != size);
}

// As whoever makes an object whole holds it.
void lockForSetup(int fd, const std::string& object) {
  struct flock range = {};
  range.l_type = F_WRLCK;
  range.l_whence = SEEK_SET;
  if (fcntl(fd, F_SETLK, &range) != 0) {
    refuse(object);
  }
}

}  // namespace

std::vector<std::string> refusedObjects() {
  std::vector<std::string> refused;
  for (const Segment& segment : segments()) {
    const std::string lock = std::string(segment.name) + ".lock";
    if (isRefused(lock, vqframework::kLockMagic, vqframework::kLockVersion, sizeof(vqframework::LockObject))) {
      refused.push_back(lock);
    }
  }
  if (isRefused(vqframework::kMessageLogName, vqframework::kMessageLogMagic, vqframework::kMessageLogVersion,
                sizeof(vqframework::MessageLogObject))) {
    refused.emplace_back(vqframework::kMessageLogName);
  }
  return refused;
}

void makeBlank(const std::string& object) {
  const platform::Descriptor fd = openObject(object, O_RDWR);
  struct stat status = {};
  if (fd.get() == -1 || fstat(fd.get(), &status) != 0) {
    refuse(object);
  }
  lockForSetup(fd.get(), object);
  // From the front: that it is ready stands in its first bytes.
  const std::string zeros(std::size_t{64} * 1024, '\0');
  for (off_t at = 0; at < status.st_size;) {
    const auto size = std::min(zeros.size(), static_cast<std::size_t>(status.st_size - at));
    const ssize_t count = pwrite(fd.get(), zeros.data(), size, at);
    if (count == -1) {
      refuse(object);
    }
    at += count;
  }
}

}  // namespace reset
