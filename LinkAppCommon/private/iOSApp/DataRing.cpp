#include "DataRing.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "SegmentRecord.h"

namespace {

constexpr std::uint32_t kSlotCount = iOSAppCommonDataList::kSlotCount;
constexpr std::uint32_t kSlotBytes = iOSAppCommonDataList::kSlotBytes;

// Null where the slot cannot be reached.
const iOSAppCommonDataSlot* findSlot(const iOSAppCommonLocalMem& endpoint, std::uint32_t slotIndex) {
  const iOSAppCommonDataList* const ring = segmentRecord(endpoint);
  return ring != nullptr && slotIndex < kSlotCount ? &ring->slot[slotIndex] : nullptr;
}

// Read once and then trusted. A size that no writer makes counts as never written.
std::uint32_t sizeOf(const iOSAppCommonDataSlot& slot) {
  const std::uint32_t size = __atomic_load_n(&slot.size, __ATOMIC_RELAXED);
  return size <= kSlotBytes ? size : 0;
}

// In pieces: for more than 2 KiB the C library turns to a string instruction, which is not faster and counts as one
// instruction a byte where the cost of a message is watched.
void clear(std::uint8_t* bytes, std::size_t count) {
  constexpr std::size_t kPiece = 2048;
  for (std::size_t done = 0; done < count; done += kPiece) {
    memset(bytes + done, 0, std::min(kPiece, count - done));
  }
}

}  // namespace

bool writeToRing(iOSAppCommonLocalMem& endpoint, std::uint32_t appId, const unsigned char* data, std::uint32_t size) {
  iOSAppCommonDataList* const ring = segmentRecord(endpoint);
  if (ring == nullptr || data == nullptr || size == 0 || size > kSlotBytes) {
    return false;
  }
  VQSyncGuard guard(endpoint);
  // Atomic, since endpoints that start meanwhile reset it without the lock; modulo, since any process can write it.
  const std::uint32_t index = __atomic_load_n(&ring->writeIndex, __ATOMIC_RELAXED) % kSlotCount;
  memcpy(ring->slot[index].data, data, size);
  __atomic_store_n(&ring->slot[index].size, size, __ATOMIC_RELAXED);
  __atomic_store_n(&ring->writeIndex, (index + 1) % kSlotCount, __ATOMIC_RELAXED);

  // Under the lock: announcements come in the order of the slots, and a woken reader meets a whole slot.
  const iOSAppCommonDataNotify announcement = {endpoint.deviceId, appId, index};
  endpoint.notifier.NotifyDataUpdate(endpoint.notifyId, &announcement, sizeof(announcement));
  return true;
}

std::uint32_t readSizeFromRing(const iOSAppCommonLocalMem& endpoint, std::uint32_t slotIndex) {
  const iOSAppCommonDataSlot* const slot = findSlot(endpoint, slotIndex);
  if (slot == nullptr) {
    return 0;
  }
  VQSyncGuard guard(endpoint);
  return sizeOf(*slot);
}

bool readSlotFromRing(const iOSAppCommonLocalMem& endpoint, std::uint32_t slotIndex, SlotCopy& copy) {
  const iOSAppCommonDataSlot* const slot = findSlot(endpoint, slotIndex);
  if (slot == nullptr) {
    return false;
  }
  std::uint32_t size = 0;
  {
    VQSyncGuard guard(endpoint);
    size = sizeOf(*slot);
    memcpy(copy.bytes, slot->data, size);
  }
  if (copy.used > size) {
    clear(copy.bytes + size, copy.used - size);
  }
  copy.used = size;
  return true;
}
