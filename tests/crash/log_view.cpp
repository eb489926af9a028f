#include "tests/crash/log_view.h"

#include <fcntl.h>
#include <linux/futex.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include "tests/crash/board.h"
#include "tests/support/shm_files.h"

using vqframework::AttachedPlace;
using vqframework::MessageLogObject;
using vqframework::MessageSlot;

namespace crash {
namespace {

constexpr std::uint64_t kChannelGroups = 1U << 2U | 1U << 3U | 1U << 4U | 1U << 5U;

}  // namespace

LogView::LogView() {
  if (test_support::shmSize(vqframework::kMessageLogName) != sizeof(MessageLogObject)) {
    return;
  }
  const int fd = open(test_support::shmFile(vqframework::kMessageLogName).c_str(), O_RDONLY | O_CLOEXEC);
  void* const memory = mmap(nullptr, sizeof(MessageLogObject), PROT_READ, MAP_SHARED, fd, 0);
  close(fd);
  if (memory != MAP_FAILED) {
    log_ = static_cast<const MessageLogObject*>(memory);
  }
}

LogView::~LogView() {
  if (log_ != nullptr) {
    munmap(const_cast<MessageLogObject*>(log_), sizeof(MessageLogObject));
  }
}

bool LogView::isWhole() const {
  return log_ != nullptr && log_->header.isReady == 1;
}

std::uint32_t LogView::hashOf(const MessageSlot& slot) {
  unsigned char payload[sizeof slot.payload];
  for (std::size_t word = 0; word < vqframework::kMessageWords; ++word) {
    const vqframework::MessageWord value = slot.payload[word];
    memcpy(payload + word * sizeof value, &value, sizeof value);
  }
  return crash::hashOf(payload, sizeOf(slot));
}

bool LogView::isOfTheChannel(const MessageSlot& slot) {
  return (slot.size & vqframework::kControlMessage) == 0 && slot.id >= 2 && slot.id <= 5;
}

const AttachedPlace* LogView::placeOf(pid_t process) const {
  for (const AttachedPlace& place : log_->places) {
    if (place.pid == static_cast<std::uint32_t>(process)) {
      return &place;
    }
  }
  return nullptr;
}

bool LogView::hasReadAll(const AttachedPlace& place) const {
  for (std::uint64_t sequence = place.position; sequence < head(); ++sequence) {
    if (isOfTheChannel(slot(sequence)) || slot(sequence).pid == place.pid) {
      return false;
    }
  }
  return true;
}

bool LogView::isWakeOwed() const {
  std::uint32_t lockWord = 0;
  memcpy(&lockWord, &log_->postingLock, sizeof lockWord);  // the first word of a mutex is what the kernel looks at
  return (log_->owed & kChannelGroups) != 0 || (lockWord & FUTEX_OWNER_DIED) != 0;
}

bool LogView::areAllAsleep(unsigned int receivers) const {
  unsigned int listed = 0;
  for (const AttachedPlace& place : log_->places) {
    if (place.pid != 0) {
      ++listed;
      if (place.idCount == 0 || !hasReadAll(place)) {
        return false;
      }
    }
  }
  return listed == receivers && log_->sleepers >> vqframework::kGroupCount == receivers;
}

}  // namespace crash
