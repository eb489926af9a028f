#include "tests/storm/log_view.h"

#include <fcntl.h>
#include <linux/futex.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>

#include "LinkAppCommon/iOSAppRecords.h"
#include "tests/storm/journal.h"
#include "tests/support/shm_files.h"

using vqframework::AttachedPlace;
using vqframework::kMessageWords;
using vqframework::kSlotCount;
using vqframework::MessageLogObject;
using vqframework::MessageSlot;
using vqframework::MessageWord;

namespace storm {
namespace {

constexpr std::size_t kLockObjectSize = 88;
constexpr std::size_t kHolderOffset = 72;
constexpr std::uint32_t kSizeMask = 0xFFFF;

// Null where it is not there, or not whole yet.
const void* mapObject(const std::string& name, std::size_t size) {
  const int fd = ::open(test_support::shmFile(name).c_str(), O_RDONLY | O_CLOEXEC);
  struct stat status = {};
  if (fd == -1 || fstat(fd, &status) != 0 || static_cast<std::size_t>(status.st_size) < size) {
    close(fd);
    return nullptr;
  }
  void* const object = mmap(nullptr, size, PROT_READ, MAP_SHARED, fd, 0);
  close(fd);
  return object == MAP_FAILED ? nullptr : object;
}

struct Payload {
  alignas(8) unsigned char bytes[VQSharedMemNotifier::kMaxPayload];
  std::uint32_t size;
};

Payload payloadOf(const MessageSlot& slot) {
  Payload payload = {};
  payload.size = slot.size.load(std::memory_order_relaxed) & kSizeMask;
  for (std::size_t word = 0; word < kMessageWords; ++word) {
    const MessageWord value = slot.payload[word].load(std::memory_order_relaxed);
    memcpy(payload.bytes + word * sizeof value, &value, sizeof value);
  }
  return payload;
}

void fillFromStatus(LogEntry& entry, const Payload& payload) {
  iosapp_def_::ConnectStatusNotify message = {};
  memcpy(&message, payload.bytes, sizeof message);
  entry.kind = message.notifyType;
  entry.app = message.appId;
  entry.sum = checksumOf(message.playbackAppName, strnlen(message.playbackAppName, sizeof message.playbackAppName));
}

void fillFromPayload(LogEntry& entry, const Payload& payload) {
  if (entry.id == kFromHU || entry.id == kFromDevice) {
    iOSAppCommonDataNotify announcement = {};
    memcpy(&announcement, payload.bytes, sizeof announcement);
    entry.app = announcement.appId;
    entry.slot = announcement.slotIndex;
  } else if (entry.id == kStatus) {
    fillFromStatus(entry, payload);
  } else if (entry.id == kTable) {
    std::uint32_t index = 0;
    memcpy(&index, payload.bytes, sizeof index);
    entry.app = index + 1;
  } else if (payload.size <= sizeof payload.bytes) {
    entry.sum = checksumOf(payload.bytes, payload.size);
  }
}

}  // namespace

bool LogView::open() {
  if (log_ != nullptr) {
    return true;
  }
  const void* const object = mapObject(vqframework::kMessageLogName, sizeof(MessageLogObject));
  if (object == nullptr) {
    return false;
  }
  log_ = static_cast<const MessageLogObject*>(object);
  if (log_->header.isReady.load(std::memory_order_acquire) == 0) {
    munmap(const_cast<void*>(object), sizeof(MessageLogObject));
    log_ = nullptr;
  }
  return log_ != nullptr;
}

LogView::~LogView() {
  if (log_ != nullptr) {
    munmap(const_cast<MessageLogObject*>(log_), sizeof *log_);
  }
}

std::uint64_t LogView::head() const {
  return log_->head.load(std::memory_order_acquire);
}

std::optional<LogEntry> LogView::read(std::uint64_t sequence) const {
  const MessageSlot& slot = log_->slots[sequence % kSlotCount];
  if (slot.sequence.load(std::memory_order_acquire) != sequence + 1) {
    return std::nullopt;
  }
  LogEntry entry;
  entry.sequence = sequence;
  entry.time = slot.time.load(std::memory_order_relaxed);
  entry.id = slot.id.load(std::memory_order_relaxed);
  entry.pid = slot.pid.load(std::memory_order_relaxed);
  entry.isControl = (slot.size.load(std::memory_order_relaxed) & vqframework::kControlMessage) != 0;
  const Payload payload = payloadOf(slot);
  std::atomic_thread_fence(std::memory_order_acquire);
  if (slot.sequence.load(std::memory_order_relaxed) != sequence + 1) {
    return std::nullopt;
  }
  if (!entry.isControl) {
    fillFromPayload(entry, payload);
  }
  return entry;
}

std::vector<Place> LogView::places() const {
  std::vector<Place> places;
  for (const AttachedPlace& place : log_->places) {
    const auto pid = static_cast<pid_t>(place.pid.load(std::memory_order_acquire));
    if (pid != 0) {
      places.push_back({pid, place.position.load(), place.lost.load()});
    }
  }
  return places;
}

std::optional<std::uint64_t> LogView::positionOf(pid_t pid) const {
  for (const AttachedPlace& place : log_->places) {
    if (place.pid.load(std::memory_order_acquire) == static_cast<std::uint32_t>(pid)) {
      return place.position.load();
    }
  }
  return std::nullopt;
}

pid_t LogView::poster() const {
  return static_cast<pid_t>(
      static_cast<std::uint32_t>(__atomic_load_n(&log_->postingLock.__data.__lock, __ATOMIC_RELAXED)) & FUTEX_TID_MASK);
}

bool LogView::hasPosterDied() const {
  return (static_cast<std::uint32_t>(__atomic_load_n(&log_->postingLock.__data.__lock, __ATOMIC_RELAXED)) &
          FUTEX_OWNER_DIED) != 0;
}

std::uint32_t LogView::sleepers() const {
  return log_->sleepers.load() / (1U << vqframework::kGroupCount);
}

LockView::~LockView() {
  if (object_ != nullptr) {
    munmap(const_cast<void*>(object_), kLockObjectSize);
  }
}

pid_t LockView::holder() {
  if (object_ == nullptr) {
    object_ = mapObject(name_, kLockObjectSize);
  }
  if (object_ == nullptr) {
    return 0;
  }
  const void* const word = static_cast<const char*>(object_) + kHolderOffset;
  return static_cast<pid_t>(__atomic_load_n(static_cast<const std::uint32_t*>(word), __ATOMIC_RELAXED));
}

}  // namespace storm
