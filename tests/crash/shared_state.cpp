#include "tests/crash/shared_state.h"

#include <fcntl.h>
#include <linux/futex.h>
#include <unistd.h>

#include <optional>

#include "platform/reference/message_log_layout.h"
#include "platform/reference/named_lock.h"
#include "tests/crash/operation.h"
#include "tests/support/shm_files.h"

using test_support::shmSize;
using test_support::shmWord;
using vqframework::kMessageLogName;
using vqframework::LockObject;
using vqframework::MessageLogObject;
using vqframework::SharedHeader;

namespace crash {
namespace {

ObjectState stateOf(const std::string& name, std::size_t fullSize) {
  const std::optional<std::size_t> size = shmSize(name);
  if (!size) {
    return ObjectState::kMissing;
  }
  if (*size == 0) {
    return ObjectState::kWithoutSize;
  }
  if (*size != fullSize) {
    throw NotAllowed(name + " has " + std::to_string(*size) + " bytes");
  }
  return shmWord(name, offsetof(SharedHeader, isReady)) == 1U ? ObjectState::kWhole : ObjectState::kUnfinished;
}

struct LockWord {
  std::string object;
  std::uint32_t value;  // thread number of the holder; 0 = free
  std::uint32_t owner;  // as the C library has it; a mutex that is lost for ever is free with an owner
};

// The first word of a mutex is what the kernel looks at.
std::vector<LockWord> lockWords() {
  std::vector<LockWord> words;
  const auto add = [&words](const std::string& object, std::size_t offset) {
    constexpr std::size_t kOwner = offsetof(pthread_mutex_t, __data.__owner);
    const std::optional<std::uint32_t> word = shmWord(object, offset);
    const std::optional<std::uint32_t> owner = shmWord(object, offset + kOwner);
    if (word && owner) {
      words.push_back({object, *word, *owner});
    }
  };
  for (const SegmentName& segment : kSegments) {
    add(lockOf(segment), offsetof(LockObject, mutex));
  }
  add(kMessageLogName, offsetof(MessageLogObject, postingLock));
  return words;
}

std::string faultOfSegment(const SegmentName& segment) {
  if (stateOfLock(segment) != ObjectState::kWhole) {
    return lockOf(segment) + " is not whole";
  }
  if (shmSize(segment.name) != segment.bytes) {
    return std::string(segment.name) + " has not its size";
  }
  if (shmWord(segment.name, 0) != segment.recordBytes) {
    return std::string(segment.name) + " does not say its size";
  }
  return "";
}

}  // namespace

std::string lockOf(const SegmentName& segment) {
  return std::string(segment.name) + ".lock";
}

ObjectState stateOfLock(const SegmentName& segment) {
  return stateOf(lockOf(segment), sizeof(LockObject));
}

ObjectState stateOfLog() {
  return stateOf(kMessageLogName, sizeof(MessageLogObject));
}

std::vector<unsigned char> bytesOf(const SegmentName& segment, std::size_t offset, std::size_t count) {
  std::vector<unsigned char> bytes(count);
  const int fd = open(test_support::shmFile(segment.name).c_str(), O_RDONLY | O_CLOEXEC);
  const ssize_t read = fd == -1 ? -1 : pread(fd, bytes.data(), count, static_cast<off_t>(offset));
  if (fd != -1) {
    close(fd);
  }
  bytes.resize(read == static_cast<ssize_t>(count) ? count : 0);
  return bytes;
}

std::vector<std::string> locksHeldBy(pid_t thread) {
  std::vector<std::string> held;
  for (const LockWord& word : lockWords()) {
    if ((word.value & FUTEX_TID_MASK) == static_cast<std::uint32_t>(thread)) {
      held.push_back(word.object);
    }
  }
  return held;
}

bool isLockWaitedFor(const std::string& object) {
  for (const LockWord& word : lockWords()) {
    if (word.object == object) {
      return (word.value & FUTEX_WAITERS) != 0;
    }
  }
  return false;
}

std::string faultOfObjects() {
  for (const SegmentName& segment : kSegments) {
    std::string fault = faultOfSegment(segment);
    if (!fault.empty()) {
      return fault;
    }
  }
  if (stateOfLog() != ObjectState::kWhole) {
    return std::string(kMessageLogName) + " is not whole";
  }
  for (const LockWord& word : lockWords()) {
    if (word.value != 0 || word.owner != 0) {
      return "the lock in " + word.object + " is not free";
    }
  }
  return "";
}

}  // namespace crash
