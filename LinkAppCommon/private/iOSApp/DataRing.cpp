#include "DataRing.h"

#include <cstring>
#include <new>
#include <utility>

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

std::uint32_t readSize(const iOSAppCommonLocalMem& endpoint, std::uint32_t slotIndex) {
  const iOSAppCommonDataSlot* const slot = findSlot(endpoint, slotIndex);
  if (slot == nullptr) {
    return 0;
  }
  VQSyncGuard guard(endpoint);
  return sizeOf(*slot);
}

bool copySlot(const iOSAppCommonLocalMem& endpoint, std::uint32_t slotIndex, std::uint8_t* destination) {
  const iOSAppCommonDataSlot* const slot = findSlot(endpoint, slotIndex);
  if (slot == nullptr) {
    return false;
  }
  VQSyncGuard guard(endpoint);
  memcpy(destination, slot->data, sizeOf(*slot));
  return true;
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

RingMessage readFromRing(const iOSAppCommonLocalMem& endpoint, std::uint32_t slotIndex) {
  // The size is read twice, under two holds of the lock, and the first one is reported: a writer that laps the reader
  // in between is seen so. The array has room for whatever the second one says.
  RingMessage message;
  const std::uint32_t size = readSize(endpoint, slotIndex);
  if (size == 0) {
    return message;
  }
  std::unique_ptr<std::uint8_t[]> data(new (std::nothrow) std::uint8_t[kSlotBytes]());
  if (data == nullptr || !copySlot(endpoint, slotIndex, data.get())) {
    return message;
  }
  message.data = std::move(data);
  message.size = size;
  return message;
}
